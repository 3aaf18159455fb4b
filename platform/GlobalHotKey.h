#pragma once
// One system-wide shortcut that calls `onTrigger` whichever application is in front.
#include "platform/HotKeyBackend.h"

#include <QObject>

class GlobalHotKey : public QObject {
    Q_OBJECT
public:
    static constexpr quint32 identifier = 1;
    // Super+Shift+V: Ctrl+Shift+V is already the terminals' paste.
    static constexpr Qt::Key defaultKey = Qt::Key_V;
    static constexpr Qt::KeyboardModifiers defaultModifiers{Qt::MetaModifier | Qt::ShiftModifier};

    explicit GlobalHotKey(HotKeyBackend &backend, QObject *parent = nullptr);
    ~GlobalHotKey() override;
    static GlobalHotKey &shared();

    // Replaces any earlier registration of this object.
    void registerHotKey(Qt::Key key, Qt::KeyboardModifiers modifiers);
    bool isRegistered() const { return m_hotKeyRef.has_value(); }

    // Set by the owner before registering; called on the main thread after the platform's
    // handler has returned, once per press.
    std::function<void()> onTrigger;

private:
    HotKeyBackend &m_backend;
    std::optional<HotKeyBackend::Handle> m_hotKeyRef;
    std::optional<HotKeyBackend::Handle> m_eventHandler;
};

// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "platform/HotKeyBackend.h"

#include <QAbstractNativeEventFilter>
#include <QHash>
#include <QString>
#include <QTimer>

struct xcb_connection_t;

// XGrabKey on the root window of Qt's display, also with the NumLock and CapsLock variants;
// presses arrive through Qt's native event filter on the main thread.
class X11HotKeyBackend final : public HotKeyBackend, private QAbstractNativeEventFilter {
public:
    X11HotKeyBackend();
    ~X11HotKeyBackend() override;

    std::optional<Handle> installHandler(std::function<void(quint32 id)> handler) override;
    void removeHandler(Handle handler) override;
    Registration registerHotKey(Qt::Key key, Qt::KeyboardModifiers modifiers, quint32 id) override;
    void unregisterHotKey(Handle hotKey) override;

private:
    struct Grab {
        quint8 keycode = 0;
        quint16 modifiers = 0;
        QList<quint16> variants; // the modifier masks actually grabbed
        quint32 id = 0;
        bool down = false;       // between a press and its release, to drop auto-repeat
        quint32 lastPressTime = 0;
    };

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;
    void dispatch(Grab &grab, quint32 time);
    void watchReleases();
    static void ungrab(xcb_connection_t *c, const Grab &grab);
    static QString describe(Qt::Key key, Qt::KeyboardModifiers modifiers);

    HotKeyHandlers m_handlers;
    QHash<Handle, Grab> m_grabs;
    quint16 m_ignoredModifiers = 0; // CapsLock and NumLock
    Handle m_nextHandle = 1;
    QTimer m_releaseWatch; // runs only while a hot key is held
};

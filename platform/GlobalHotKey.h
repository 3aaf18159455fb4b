// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// One system-wide shortcut that calls `onTrigger` whichever application is in front.
#include "platform/HotKeyBackend.h"

#include <QKeyCombination>
#include <QObject>
#include <QStringList>

class GlobalHotKey : public QObject {
    Q_OBJECT
public:
    enum class Status { none, registered, taken, unavailable };

    static constexpr quint32 identifier = 1;
    // Super+Shift+V: Ctrl+Shift+V is already the terminals' paste.
    static constexpr QKeyCombination defaultCombination{Qt::MetaModifier | Qt::ShiftModifier, Qt::Key_V};

    explicit GlobalHotKey(HotKeyBackend &backend, QObject *parent = nullptr);
    ~GlobalHotKey() override;
    static GlobalHotKey &shared();

    // A combination in Qt's portable text ("Ctrl+Alt+V", "Meta+Shift+V"; "Super" reads as
    // "Meta"): one key that is not itself a modifier, held with at least one of Ctrl, Alt and
    // Super. Anything else (several chords, Shift alone, a bare key) is nullopt.
    static std::optional<QKeyCombination> parse(const QString &text);
    static bool isAcceptable(QKeyCombination combination);
    static QString portableText(QKeyCombination combination);
    // As the interface names it: modifiers in a fixed order, Super for Meta ("Super", "Shift", "V").
    static QStringList displayParts(QKeyCombination combination);
    static QString displayText(QKeyCombination combination) { return displayParts(combination).join(QLatin1Char('+')); }

    // Releases the current combination, then grabs `combination`; the same combination again
    // is kept as it is while it is registered and tried again when it was not. While suspended
    // the grab waits for the suspension to end.
    void registerHotKey(QKeyCombination combination);
    // While suspended nothing is grabbed, so the combination's presses reach the focused window
    // (the hot-key recorder records them instead of the palette opening); the end of the
    // suspension grabs the last registered combination again. Status and combination stay.
    void setSuspended(bool suspended);
    // Releases the grab and asks the back end again for the last registered combination (unless
    // suspended): for a back end that learns only later that an earlier grab cannot work.
    void registerAgain();
    QKeyCombination combination() const { return m_combination; }
    Status status() const { return m_status; }
    bool isRegistered() const { return m_status == Status::registered; }

    // Set by the owner before registering; called on the main thread after the platform's
    // handler has returned, once per press.
    std::function<void()> onTrigger;

signals:
    // After every registration attempt that changed the combination or the status.
    void statusChanged();

private:
    void installHandler();
    void releaseGrab();

    HotKeyBackend &m_backend;
    std::optional<HotKeyBackend::Handle> m_hotKeyRef;
    std::optional<HotKeyBackend::Handle> m_eventHandler;
    QKeyCombination m_combination = defaultCombination;
    Status m_status = Status::none;
    std::optional<QKeyCombination> m_wanted; // the last registered, grabbed unless suspended
    bool m_suspended = false;
};

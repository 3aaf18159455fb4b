// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// A private Wayland desktop for end-to-end tests: a headless sway (no bar, no wallpaper) with
// its own runtime directory, and the real `stashwell` and its clients started inside it. sway
// refuses to run as root, so under root everything here runs as the unprivileged user "nobody"
// (setpriv) in a temporary home that user owns; otherwise as the current user.
#include "e2e/E2ESession.h"

// Its environment is Wayland only: no X11 display and no session bus.
class WaylandSession : public E2ESession {
public:
    WaylandSession();
    QByteArray swayLog() const; // the end of sway's standard error

    // wl-copy puts `data` on the clipboard as `type` and serves it from the background.
    bool copy(const QByteArray &data, const QString &type = QStringLiteral("text/plain;charset=utf-8")) const;
    QByteArray paste() const; // wl-paste --no-newline
    bool recordCopy(const QString &text) const
    {
        return copy(text.toUtf8()) && waitFor([&] { return texts().value(0) == text; });
    }

    // The views (windows) of `swaymsg -t get_tree` with their fields ("id", "app_id", "pid",
    // "focused", "visible", "name", "rect", ...).
    QList<QJsonObject> views() const;
    QString focusedAppId() const; // "" when nothing has the focus
    bool swaymsg(const QString &command) const;

    // A small Qt window (QT_QPA_PLATFORM=wayland) with one text field and the desktop-entry ID
    // `appId`: it reports its text as it changes and copies on request (fieldCopy). nullptr
    // unless it has the keyboard focus.
    QProcess *startField(const QString &appId);
    QString fieldText() const { return readField(), m_fieldText; } // what the field shows now
    // foot (app_id "foot", a terminal: pastes take Ctrl+Shift+V) running `cat` in raw mode into
    // terminalOutput(); nullptr unless it has the keyboard focus.
    QProcess *startTerminal();
    QString terminalOutput() const { return m_home.path() + QStringLiteral("/terminal-output"); }

    // The field's application copies (Ctrl+C) with the keyboard focus: every type with its data.
    // A type with `stall` as data is offered and never written.
    bool fieldCopy(const QList<std::pair<QString, QByteArray>> &types);
    // True once someone asked the field for a type it never writes.
    bool waitForFieldRequest() const
    {
        return waitFor([&] { return readField(), m_fieldRequests > 0; });
    }

    // Keys into whatever has the keyboard focus, through wtype's virtual keyboard: "-k Return",
    // "bravo", "-M ctrl c -m ctrl".
    void typeKeys(const QStringList &wtypeArgs) const;

    // stashwell's visible windows (views).
    QList<QJsonObject> stashwellViews() const;
    // Stashwell's start-up notices (no tray, hot-key advice) take the focus on Wayland: closes them.
    bool closeNotices();
    bool paletteShown() const;
    bool waitForPalette(bool shown, int timeoutMs = 5000) const
    {
        return waitFor([&] { return paletteShown() == shown; }, timeoutMs);
    }

    // Written as the session's user (owned by it).
    void writeFile(const QString &path, const QByteArray &bytes) const override;

private:
    void addDesktopEnvironment(QProcessEnvironment &env) const override;
    QStringList asUser(const QString &program, const QStringList &args) const override;
    void giveToUser(const QString &path) const;
    QString reachable(const QString &binary) const;
    bool startSway();
    void readField() const;

    QString m_waylandDisplay, m_swaySocket;
    QString m_fieldBin; // as the session's user can run it
    QProcess *m_field = nullptr;
    mutable QString m_fieldText;
    mutable bool m_fieldFocused = false, m_fieldPending = false;
    mutable int m_fieldCopies = 0, m_fieldRequests = 0;
};

// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// A private X11 desktop for end-to-end tests: Xvfb + openbox + a tray on a free display (or
// the tray later), temporary XDG directories, and the real `stashwell` binary started inside it.
#include "e2e/E2ESession.h"

#include <QRect>

class XSession : public E2ESession {
public:
    enum class Tray { atStart, later }; // later: once the test calls startTray
    explicit XSession(Tray tray = Tray::atStart);
    QString display() const { return m_display; }

    // A memory figure of stashwell from /proc/<pid>/status in KiB ("VmRSS", "VmHWM"); -1 when unreadable.
    qint64 stashwellMemoryKiB(const char *field);

    QString diagnosticsDir() const { return dataDir() + QStringLiteral("/com.norvane.Stashwell"); }
    // Runs a client to completion (xclip, xdotool, ...); returns its standard output.
    QByteArray run(const QString &program, const QStringList &args, const QByteArray &input = {}) const
    {
        return runClient(program, args, input).out;
    }
    // Presses keys one after the other: "super+shift+v", "Down Down Return".
    void key(const QString &keys) const { run("xdotool", QStringList{"key", "--delay", "40"} + keys.split(' ')); }
    void type(const QString &text) const { run("xdotool", {"type", "--delay", "30", text}); }
    void click(const QPoint &at, int button) const
    {
        run("xdotool", {"mousemove", QString::number(at.x()), QString::number(at.y()), "click", QString::number(button)});
    }
    // Another application copies: xclip takes the CLIPBOARD selection with one type.
    void xclipCopy(const QByteArray &data, const QString &type = QStringLiteral("UTF8_STRING")) const
    {
        run("xclip", {"-selection", "clipboard", "-t", type, "-i"}, data);
    }
    // An application that offers several types at once (as browsers and password managers do).
    void copyTypes(const QList<std::pair<QString, QByteArray>> &types) const;
    // xclip copies `text`; true once stashwell recorded it as the newest entry.
    bool recordCopy(const QString &text) const
    {
        xclipCopy(text.toUtf8());
        return waitFor([&] { return texts().value(0) == text; });
    }

    QString activeWindow() const { return QString::fromLatin1(run("xdotool", {"getactivewindow"}).trimmed()); }
    // Activates `window` and waits until it holds the keyboard focus (a window manager can call a
    // window active before the focus moved, and a key typed then goes elsewhere); whether it does.
    bool focus(const QString &window) const;
    // A zenity entry dialog, the paste target (replacing the last one); nullptr unless it became
    // the active window with the keyboard focus.
    QProcess *startZenityEntry();
    // Once stashwell reported a paste and the entry shows `expected` (at most 10 s), submits it:
    // what the entry held.
    QString submitPaste(QProcess *zenity, const QString &expected);

    // The session's system tray (trayer, XEmbed) at the top right, up before stashwell starts
    // unless the session began with Tray::later (stashwell then shows a notice that nothing
    // shows it runs). True while it is up.
    bool startTray();
    struct Window {
        QString id;
        QRect frame; // on screen
    };
    // Every visible window of stashwell, tray icon included.
    QList<Window> stashwellWindows() const;
    Window stashwellWindow(bool trayIcon) const; // the first tray icon or other one, or none
    QString stashwellTrayIcon() const { return stashwellWindow(true).id; } // "" until it docked
    QPoint stashwellTrayIconCentre() const { return stashwellWindow(true).frame.center(); }
    // A visible stashwell window other than its tray icon (the palette, a menu, a dialog).
    QRect stashwellPopup() const { return stashwellWindow(false).frame; } // null while none is shown
    bool stashwellHasVisiblePopup() const { return !stashwellPopup().isNull(); }
    bool waitForPopup(bool shown, int timeoutMs = 5000) const
    {
        return waitFor([&] { return stashwellHasVisiblePopup() == shown; }, timeoutMs);
    }
    // stashwell's visible notice windows (window role "notice").
    QStringList stashwellNotices() const;
    // A shown top-level window of the running stashwell by its object name, as `stashwell
    // test-widgets` describes it (size, shown labels and buttons); empty while it is not shown.
    QJsonObject shownWindow(const QString &objectName) const;
    // One of its shown labels and buttons by object name; empty when none is shown.
    static QJsonObject shownWidget(const QJsonObject &window, const QString &name);

    // Opt-in, before startStashwell: a private session bus that every program started from here
    // uses, with gnome-keyring-daemon's Secret Service on it (an unlocked login keyring).
    bool startSecretService();
    // The addresses stashwell asked the desktop to open (the session's xdg-open only records them).
    QStringList openedUrls() const;

private:
    void addDesktopEnvironment(QProcessEnvironment &env) const override;
    QStringList stashwellWindowIds() const; // visible ones
    QString openedUrlsFile() const { return m_home.path() + QStringLiteral("/opened-urls"); }

    QString m_display;
    QString m_busAddress; // empty until startSecretService
    QProcess *m_zenity = nullptr, *m_tray = nullptr;
    qsizetype m_pastesBefore = 0; // paste reports when the current zenity came up
};

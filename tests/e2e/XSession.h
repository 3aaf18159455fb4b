// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// A private X11 desktop for end-to-end tests: Xvfb + openbox + a tray on a free display,
// temporary XDG directories, and the real `stashwell` binary started inside it.
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QRect>
#include <QTemporaryDir>
#include <functional>
#include <memory>

class XSession {
public:
    XSession();
    ~XSession();
    bool isUp() const { return m_up; }
    QString display() const { return m_display; }

    // Polls `condition`, processing events, until it holds or `timeoutMs` passed; whether it held.
    static bool waitFor(const std::function<bool()> &condition, int timeoutMs = 5000);
    // A memory figure of stashwell from /proc/<pid>/status in KiB ("VmRSS", "VmHWM"); -1 when unreadable.
    qint64 stashwellMemoryKiB(const char *field);

    QString dataDir() const { return m_home.path() + QStringLiteral("/data"); } // XDG_DATA_HOME
    QString configDir() const { return m_home.path() + QStringLiteral("/config"); }
    QString historyDir() const { return dataDir() + QStringLiteral("/Stashwell"); }
    QString diagnosticsDir() const { return dataDir() + QStringLiteral("/com.norvane.Stashwell"); }
    // With `extraEnv` ("NAME=value") added; logging rules add up.
    QProcessEnvironment environment(const QStringList &extraEnv = {}) const;

    // Runs a client to completion (xclip, xdotool, ...); returns its standard output.
    QByteArray run(const QString &program, const QStringList &args, const QByteArray &input = {}) const;
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

    // True once the launch is over (a second process gets an answer). Usage events are logged.
    bool startStashwell(const QStringList &extraEnv = {});
    int stopStashwell(); // SIGTERM, returns the exit code (-1 after a crash)
    QProcess *stashwell() { return m_app.get(); }
    QByteArray stashwellStderr();
    // Wait for stashwell to end by itself: its exit code (-1 after a crash or while it runs), or
    // the signal that ended it (0 when it exited or runs).
    int waitForStashwellExit(int timeoutMs) { return waitForStashwellEnd(timeoutMs, QProcess::NormalExit, -1); }
    int waitForStashwellCrash(int timeoutMs) { return waitForStashwellEnd(timeoutMs, QProcess::CrashExit, 0); }
    struct Run { // a second `stashwell` process, run to completion
        int exitCode = -1;
        QByteArray out, err;
    };
    Run runStashwellCommand(const QStringList &args, const QStringList &extraEnv = {}) const;

    QJsonArray history() const; // as saved
    QStringList texts() const;  // the saved entries' texts, newest first
    template <typename Pred> QJsonArray waitForHistory(Pred ready, int timeoutMs = 5000) const
    {
        QJsonArray items;
        waitFor([&] { return ready(items = history()); }, timeoutMs);
        return items;
    }

    void writeFile(const QString &path, const QByteArray &bytes) const;
    QJsonObject defaults() const;                      // defaults.json as saved
    void setDefaults(const QJsonObject &values) const; // merged into defaults.json

    QString activeWindow() const { return QString::fromLatin1(run("xdotool", {"getactivewindow"}).trimmed()); }
    // A zenity entry dialog, the paste target (replacing the last one); nullptr unless it became
    // the active window with the keyboard focus.
    QProcess *startZenityEntry();
    // Once stashwell reported a paste and the entry shows `expected` (at most 10 s), submits it:
    // what the entry held.
    QString submitPaste(QProcess *zenity, const QString &expected);

    // The session's system tray (trayer, XEmbed) at the top right, up before stashwell starts (or
    // it shows a notice that nothing shows it runs). True while it is up.
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

    // Opt-in, before startStashwell: a private session bus that every program started from here
    // uses, with gnome-keyring-daemon's Secret Service on it (an unlocked login keyring).
    bool startSecretService();
    // The addresses stashwell asked the desktop to open (the session's xdg-open only records them).
    QStringList openedUrls() const;

private:
    QProcess *start(const QString &program, const QStringList &args) const; // ended with the session
    // Once stashwell ended: its exit code if it ended `how` (the signal after a crash), else `otherwise`.
    int waitForStashwellEnd(int timeoutMs, QProcess::ExitStatus how, int otherwise);
    QString defaultsFile() const { return configDir() + QStringLiteral("/Stashwell/defaults.json"); }
    QString runtimeDir() const { return m_home.path() + QStringLiteral("/runtime"); }
    QString openedUrlsFile() const { return m_home.path() + QStringLiteral("/opened-urls"); }

    QTemporaryDir m_home;
    QString m_display;
    QString m_busAddress; // empty until startSecretService
    std::unique_ptr<QProcess> m_app;
    mutable QList<QProcess *> m_processes; // the X server, its clients, the session bus
    QProcess *m_zenity = nullptr, *m_tray = nullptr;
    qsizetype m_pastesBefore = 0; // paste reports when the current zenity came up
    QByteArray m_stderr;
    bool m_up = false;
};

#pragma once
// A private X11 desktop for end-to-end tests: Xvfb + openbox on a free display,
// temporary XDG directories, and the real `stashwell` binary started inside it.
#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QPoint>
#include <QRect>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <memory>

class XSession {
public:
    XSession();
    ~XSession();
    bool isUp() const { return m_up; }

    QString display() const { return m_display; }
    QString dataDir() const { return m_home.path() + QStringLiteral("/data"); }
    QString configDir() const { return m_home.path() + QStringLiteral("/config"); }
    QString historyDir() const { return dataDir() + QStringLiteral("/Stashwell"); }
    QString defaultsFile() const { return configDir() + QStringLiteral("/Stashwell/defaults.json"); }
    QProcessEnvironment environment() const;

    // Runs a client to completion (xclip, xdotool, ...); returns its standard output.
    QByteArray run(const QString &program, const QStringList &args, const QByteArray &input = {},
                   int *exitCode = nullptr) const;
    // Another application copies: xclip takes the CLIPBOARD selection with one type.
    void xclipCopy(const QByteArray &data, const QString &type = QStringLiteral("UTF8_STRING")) const;
    // An application that offers several types at once (as browsers and password managers do).
    void copyTypes(const QList<std::pair<QString, QByteArray>> &types) const;

    bool startStashwell(const QStringList &extraEnv = {});
    int stopStashwell(); // SIGTERM, returns the exit code
    QProcess *stashwell() { return m_app.get(); }
    QByteArray stashwellStderr();

    // The saved history, waiting up to `timeoutMs` for `ready` to hold.
    QJsonArray history() const;
    template <typename Pred> QJsonArray waitForHistory(Pred ready, int timeoutMs = 5000) const;

    void writeFile(const QString &path, const QByteArray &bytes) const;
    void setDefaults(const QJsonObject &values) const; // merged into defaults.json

    // Window state as the window manager sees it.
    QString activeWindow() const; // _NET_ACTIVE_WINDOW
    bool stashwellHasVisibleWindow() const;
    // A zenity entry dialog, the paste target; its standard output is what was entered.
    QProcess *startZenityEntry();
    void screenshot(const QString &path) const;
    // Waits for stashwell to end by itself; the signal that ended it (0 when it exited or is still running).
    int waitForStashwellCrash(int timeoutMs);
    QString diagnosticsDir() const { return dataDir() + QStringLiteral("/com.norvane.Stashwell"); }

    // A system tray (trayer, XEmbed) docked at the top right; start it before stashwell so
    // that its tray icon embeds. True once the tray's window is up.
    bool startTray();
    // The embedded tray icon window of stashwell ("" until it docked) and its centre on screen.
    QString stashwellTrayIcon() const;
    QPoint stashwellTrayIconCentre() const;
    // A visible stashwell window other than its tray icon (the palette, a menu, a dialog).
    bool stashwellHasVisiblePopup() const;
    QRect stashwellPopup() const; // its frame on screen, null while none is shown
    // Every visible window of stashwell (tray icon included) and its frame on screen.
    struct Window {
        QString id;
        QRect frame;
    };
    QList<Window> stashwellWindows() const;
    // A second `stashwell` process with these arguments, run to completion.
    struct Run {
        int exitCode = -1;
        QByteArray out, err;
    };
    Run runStashwellCommand(const QStringList &args, const QStringList &extraEnv = {}) const;
    // Waits for stashwell to end by itself (`stashwell quit`): its exit code, -1 after a
    // crash or when it still runs (then it keeps running).
    int waitForStashwellExit(int timeoutMs);

    // Opt-in, before startStashwell: a Secret Service of this session's own for the keychain
    // (Part 6.3): a private D-Bus session bus (nothing on it is started on demand) with
    // gnome-keyring-daemon, whose login keyring in dataDir() is unlocked with a fixed password.
    // Every program started from here then uses that bus. True once the service is on the bus.
    bool startSecretService();
    // The addresses stashwell asked the desktop to open, oldest first: the `xdg-open` found
    // first in PATH only records them, so no test ever starts a browser.
    QStringList openedUrls() const;

private:
    void startDaemon(std::unique_ptr<QProcess> &process, const QString &program, const QStringList &args);
    void installFakeXdgOpen() const;
    QString binDir() const { return m_home.path() + QStringLiteral("/bin"); }
    QString openedUrlsFile() const { return m_home.path() + QStringLiteral("/opened-urls"); }

    QTemporaryDir m_home;
    QString m_display;
    QString m_busAddress; // empty until startSecretService
    std::unique_ptr<QProcess> m_xvfb, m_wm, m_app, m_bus, m_keyring;
    mutable QList<QProcess *> m_owners;
    QList<QProcess *> m_clients;
    QByteArray m_stderr;
    bool m_up = false;
};

#include <QTest>
template <typename Pred> QJsonArray XSession::waitForHistory(Pred ready, int timeoutMs) const
{
    QJsonArray items;
    for (int waited = 0; waited <= timeoutMs; waited += 50) {
        items = history();
        if (ready(items))
            return items;
        QTest::qWait(50);
    }
    return items;
}

// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// What every private desktop of the end-to-end tests shares: a temporary home with XDG
// directories, the clients and the real `stashwell` started inside it, and the files it saves.
// A desktop adds its display server and its environment.
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <functional>
#include <memory>

class E2ESession {
public:
    E2ESession(const E2ESession &) = delete;
    E2ESession &operator=(const E2ESession &) = delete;
    virtual ~E2ESession(); // stops stashwell, then ends the started processes, the last started first
    bool isUp() const { return m_up; }

    // Polls `condition`, processing events, until it holds or `timeoutMs` passed; whether it held.
    static bool waitFor(const std::function<bool()> &condition, int timeoutMs = 5000);

    QString dataDir() const { return m_home.path() + QStringLiteral("/data"); } // XDG_DATA_HOME
    QString configDir() const { return m_home.path() + QStringLiteral("/config"); }
    QString historyDir() const { return dataDir() + QStringLiteral("/Stashwell"); }
    // The session's environment with `extraEnv` ("NAME=value") added; logging rules add up.
    QProcessEnvironment environment(const QStringList &extraEnv = {}) const;

    struct Run { // a process run to completion
        int exitCode = -1;
        QByteArray out, err;
    };
    // Any client in the session's environment, run to completion (at most 15 s).
    Run runClient(const QString &program, const QStringList &args, const QByteArray &input = {}) const;

    // True once the launch is over (a second process gets an answer). Usage events are logged.
    bool startStashwell(const QStringList &extraEnv = {});
    int stopStashwell(); // SIGTERM, returns the exit code (-1 after a crash)
    QProcess *stashwell() { return m_app.get(); }
    QByteArray stashwellStderr();
    // Wait for stashwell to end by itself: its exit code (-1 after a crash or while it runs), or
    // the signal that ended it (0 when it exited or runs).
    int waitForStashwellExit(int timeoutMs) { return waitForStashwellEnd(timeoutMs, QProcess::NormalExit, -1); }
    int waitForStashwellCrash(int timeoutMs) { return waitForStashwellEnd(timeoutMs, QProcess::CrashExit, 0); }
    Run runStashwellCommand(const QStringList &args, const QStringList &extraEnv = {}) const;

    QJsonArray history() const; // as saved
    QStringList texts() const;  // the saved entries' texts, newest first
    QByteArray everythingStored() const; // the history and every side file, as bytes
    template <typename Pred> QJsonArray waitForHistory(Pred ready, int timeoutMs = 5000) const
    {
        QJsonArray items;
        waitFor([&] { return ready(items = history()); }, timeoutMs);
        return items;
    }
    // The newest entry, once its `field` has `value` (at most 5 s).
    QJsonObject newestWith(const char *field, const QString &value) const
    {
        return waitForHistory([&](const QJsonArray &items) { return items[0][QLatin1String(field)] == value; })[0]
            .toObject();
    }

    // Parent directories included; readable by the programs started here.
    virtual void writeFile(const QString &path, const QByteArray &bytes) const;
    QJsonObject defaults() const;                      // defaults.json as saved
    void setDefaults(const QJsonObject &values) const; // merged into defaults.json

protected:
    E2ESession();
    // The desktop's own variables, set after the shared ones.
    virtual void addDesktopEnvironment(QProcessEnvironment &env) const = 0;
    // The command line that runs `program` as the session's user.
    virtual QStringList asUser(const QString &program, const QStringList &args) const
    {
        return QStringList{program} + args;
    }
    QProcess *start(const QString &program, const QStringList &args) const; // ended with the session
    QString runtimeDir() const { return m_home.path() + QStringLiteral("/runtime"); }

    QTemporaryDir m_home;
    QString m_stashwellBin = QStringLiteral(STASHWELL_BIN); // as the session's user can run it
    std::unique_ptr<QProcess> m_app;
    mutable QList<QProcess *> m_processes; // the display server and the clients
    bool m_up = false;

private:
    static Run execute(const QStringList &command, const QProcessEnvironment &env, const QByteArray &input);
    // Once stashwell ended: its exit code if it ended `how` (the signal after a crash), else `otherwise`.
    int waitForStashwellEnd(int timeoutMs, QProcess::ExitStatus how, int otherwise);
    QString defaultsFile() const { return configDir() + QStringLiteral("/Stashwell/defaults.json"); }

    QByteArray m_stderr;
};

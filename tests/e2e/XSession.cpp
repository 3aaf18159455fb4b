// SPDX-License-Identifier: GPL-3.0-or-later
#include "e2e/XSession.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QMap>
#include <QTest>

namespace {

XSession::Run execute(const QString &program, const QStringList &args, const QProcessEnvironment &env,
                      const QByteArray &input)
{
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(program, args);
    p.write(input);
    p.closeWriteChannel();
    if (!p.waitForFinished(15000))
        p.kill();
    const bool exited = p.error() == QProcess::UnknownError && p.exitStatus() == QProcess::NormalExit;
    return {exited ? p.exitCode() : -1, p.readAllStandardOutput(), p.readAllStandardError()};
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

qint64 XSession::stashwellMemoryKiB(const char *field)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(m_app ? m_app->processId() : 0));
    if (!m_app || !status.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray prefix = QByteArray(field) + ':';
    for (const QByteArray &line : status.readAll().split('\n'))
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed().split(' ').value(0).toLongLong();
    return -1;
}

bool XSession::waitFor(const std::function<bool()> &condition, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QTest::qWait(25);
    }
    return true;
}

XSession::XSession()
{
    const auto ownerOnly = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
    for (const QString &dir : {dataDir(), configDir(), runtimeDir()})
        QDir().mkpath(dir);
    QFile::setPermissions(runtimeDir(), ownerOnly);
    // The desktop's xdg-open only records the address.
    const QString xdgOpen = m_home.path() + QStringLiteral("/bin/xdg-open");
    writeFile(xdgOpen, QStringLiteral("#!/bin/sh\nprintf '%s\\n' \"$1\" >> '%1'\n").arg(openedUrlsFile()).toUtf8());
    QFile::setPermissions(xdgOpen, ownerOnly);
    // Xvfb takes a free display and prints its number once it serves it. Without -noreset it would
    // reset whenever its last client leaves (a probe before openbox connected) and refuse
    // connections meanwhile: openbox could not start.
    QProcess *xvfb = start(QStringLiteral("Xvfb"),
                           {"-displayfd", "1", "-noreset", "-screen", "0", "1280x800x24", "-nolisten", "tcp"});
    if (waitFor([&] { return xvfb->canReadLine() || xvfb->state() != QProcess::Running; }, 10000) && xvfb->canReadLine())
        m_display = QLatin1Char(':') + QString::fromLatin1(xvfb->readLine().trimmed());
    start(QStringLiteral("openbox"), {QStringLiteral("--sm-disable")});
    // The first-run guide is a test of its own; elsewhere it would take the focus.
    setDefaults({{"onboardingCompleted", true}});
    // openbox is up once it owns the window-manager selection.
    m_up = !m_display.isEmpty()
        && waitFor([&] { return run("xprop", {"-root", "_NET_SUPPORTING_WM_CHECK"}).contains("window id"); }, 10000)
        && startTray();
}

XSession::~XSession()
{
    stopStashwell();
    // The last started ends first; the X server last.
    for (auto it = m_processes.crbegin(); it != m_processes.crend(); ++it) {
        (*it)->terminate();
        (*it)->waitForFinished(3000);
        delete *it; // killed if it still runs
    }
}

QProcessEnvironment XSession::environment(const QStringList &extraEnv) const
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    const QString path = m_home.path() + QStringLiteral("/bin:") + env.value(QStringLiteral("PATH"));
    for (const auto &[name, value] : {std::pair{"DISPLAY", m_display}, {"QT_QPA_PLATFORM", QStringLiteral("xcb")},
                                      {"HOME", m_home.path()}, {"XDG_DATA_HOME", dataDir()}, {"XDG_CONFIG_HOME", configDir()},
                                      {"XDG_RUNTIME_DIR", runtimeDir()}, {"PATH", path}, {"NO_AT_BRIDGE", "1"}})
        env.insert(QLatin1String(name), value);
    for (const char *name : {"WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "STASHWELL_SERVICE_URL"})
        env.remove(QLatin1String(name));
    if (!m_busAddress.isEmpty())
        env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_busAddress);
    for (const QString &pair : extraEnv) {
        const QString name = pair.section(QLatin1Char('='), 0, 0);
        const QString value = pair.section(QLatin1Char('='), 1);
        const bool moreRules = name == QLatin1String("QT_LOGGING_RULES") && env.contains(name);
        env.insert(name, moreRules ? env.value(name) + QLatin1Char(';') + value : value);
    }
    return env;
}

QStringList XSession::openedUrls() const
{
    return QString::fromUtf8(contents(openedUrlsFile())).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

bool XSession::startSecretService()
{
    // The session's own bus configuration: no service directories, so nothing (portals,
    // accessibility, another keyring) is activated behind the test's back.
    const QString config = m_home.path() + QStringLiteral("/session-bus.conf");
    writeFile(config, QStringLiteral("<busconfig><type>session</type><listen>unix:dir=%1</listen>\n"
                                     "<auth>EXTERNAL</auth><policy context=\"default\">\n"
                                     "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>\n"
                                     "<allow own=\"*\"/></policy></busconfig>\n")
                          .arg(runtimeDir())
                          .toUtf8());
    QProcess *bus = start(QStringLiteral("dbus-daemon"), {"--config-file=" + config, "--nofork", "--print-address=1"});
    // The address is printed once the bus listens.
    if (!waitFor([&] { return bus->canReadLine(); }, 10000))
        return false;
    m_busAddress = QString::fromUtf8(bus->readLine()).trimmed();

    QProcess *keyring = start(QStringLiteral("gnome-keyring-daemon"), {"--foreground", "--unlock", "--components=secrets"});
    // --unlock reads the login keyring's password from standard input (and creates the keyring).
    keyring->write("stashwell-test");
    keyring->closeWriteChannel();
    const auto onTheBus = [&] {
        return run("dbus-send", {"--session", "--print-reply", "--reply-timeout=2000", "--dest=org.freedesktop.DBus", "/",
                                 "org.freedesktop.DBus.NameHasOwner", "string:org.freedesktop.secrets"})
            .contains("boolean true");
    };
    return waitFor([&] { return keyring->state() != QProcess::Running || onTheBus(); }, 10000)
        && keyring->state() == QProcess::Running;
}

QProcess *XSession::start(const QString &program, const QStringList &args) const
{
    auto *process = new QProcess;
    process->setProcessEnvironment(environment());
    process->start(program, args);
    process->waitForStarted(5000);
    m_processes << process;
    return process;
}

QByteArray XSession::run(const QString &program, const QStringList &args, const QByteArray &input) const
{
    return execute(program, args, environment(), input).out;
}

void XSession::copyTypes(const QList<std::pair<QString, QByteArray>> &types) const
{
    QStringList args;
    for (const auto &[type, data] : types) {
        const QString path = m_home.path() + QStringLiteral("/owner-%1").arg(args.size());
        writeFile(path, data);
        args << type + QLatin1Char('=') + path;
    }
    // It says "owned" once it holds the selection.
    QProcess *owner = start(QStringLiteral(STASHWELL_CLIP_OWNER), args);
    waitFor([&] { return owner->canReadLine() || owner->state() != QProcess::Running; }, 10000);
}

bool XSession::startStashwell(const QStringList &extraEnv)
{
    m_app = std::make_unique<QProcess>();
    m_app->setProcessEnvironment(environment(QStringList{"QT_LOGGING_RULES=stashwell.usage.info=true"} + extraEnv));
    m_app->setStandardOutputFile(QProcess::nullDevice());
    m_stderr.clear();
    m_app->start(QStringLiteral(STASHWELL_BIN), {});
    // It answers a second process once the launch is over and its event loop runs.
    const auto answers = [&] { return runStashwellCommand({"list"}).exitCode == 0; };
    return m_app->waitForStarted(5000) && waitFor([&] { return m_app->state() != QProcess::Running || answers(); }, 20000)
        && m_app->state() == QProcess::Running;
}

int XSession::stopStashwell()
{
    if (m_app)
        m_app->terminate(); // SIGTERM
    const int code = waitForStashwellExit(10000);
    m_app.reset(); // killed if it still runs
    return code;
}

QByteArray XSession::stashwellStderr()
{
    if (m_app)
        m_stderr += m_app->readAllStandardError();
    return m_stderr;
}

int XSession::waitForStashwellEnd(int timeoutMs, QProcess::ExitStatus how, int otherwise)
{
    if (!m_app || (m_app->state() != QProcess::NotRunning && !m_app->waitForFinished(timeoutMs)))
        return otherwise;
    m_stderr += m_app->readAllStandardError();
    const int result = m_app->exitStatus() == how ? m_app->exitCode() : otherwise;
    m_app.reset(); // ended: nothing left to stop
    return result;
}

XSession::Run XSession::runStashwellCommand(const QStringList &args, const QStringList &extraEnv) const
{
    return execute(QStringLiteral(STASHWELL_BIN), args, environment(extraEnv), {});
}

QJsonArray XSession::history() const
{
    return QJsonDocument::fromJson(contents(historyDir() + QStringLiteral("/history.json"))).array();
}

QStringList XSession::texts() const
{
    QStringList list;
    for (const QJsonValue &item : history())
        list << item[QLatin1String("text")].toString();
    return list;
}

void XSession::writeFile(const QString &path, const QByteArray &bytes) const
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(bytes);
}

QJsonObject XSession::defaults() const
{
    return QJsonDocument::fromJson(contents(defaultsFile())).object();
}

void XSession::setDefaults(const QJsonObject &values) const
{
    QJsonObject merged = defaults();
    for (auto it = values.begin(); it != values.end(); ++it)
        merged.insert(it.key(), it.value());
    writeFile(defaultsFile(), QJsonDocument(merged).toJson());
}

QProcess *XSession::startZenityEntry()
{
    if (m_zenity)
        m_zenity->kill();
    m_zenity = start(QStringLiteral("zenity"), {"--entry", "--title=Paste target", "--text=Paste here"});
    m_pastesBefore = stashwellStderr().count("paste.result");
    // Ready once it is the active window and holds the keyboard focus (xdotool names the focused
    // window's top level): a key typed before can go elsewhere. Both are asked in one call.
    const QByteArray pid = QByteArray::number(m_zenity->processId());
    const bool ready = waitFor([&] {
        return run("xdotool", {"getactivewindow", "getwindowpid", "getwindowfocus", "getwindowpid"}) == pid + '\n' + pid + '\n';
    }, 10000);
    return ready ? m_zenity : nullptr;
}

QString XSession::submitPaste(QProcess *zenity, const QString &expected)
{
    // Stashwell reports a paste once its keys are posted; the entry then fetches the clipboard.
    // Ctrl+A selects what the entry holds, which makes it the PRIMARY selection: readable before
    // the dialog is submitted.
    waitFor([&] {
        if (stashwellStderr().count("paste.result") <= m_pastesBefore)
            return false;
        key(QStringLiteral("ctrl+a"));
        return run("xclip", {"-o", "-selection", "primary"}) == expected.toUtf8();
    }, 10000);
    key(QStringLiteral("Return"));
    zenity->waitForFinished(5000);
    return QString::fromUtf8(zenity->readAllStandardOutput()).trimmed();
}

bool XSession::startTray()
{
    const auto up = [&] {
        return m_tray && m_tray->state() == QProcess::Running
            && !run("xdotool", {"search", "--onlyvisible", "--class", "trayer"}).isEmpty();
    };
    // trayer now and then stays unmapped on a fresh server: another one is tried then.
    for (int attempt = 0; attempt < 3 && !up(); ++attempt) {
        if (m_tray)
            m_tray->kill();
        m_tray = start("trayer", {"--edge", "top", "--align", "right", "--widthtype", "request", "--height", "28",
                                  "--SetDockType", "true", "--SetPartialStrut", "false", "--transparent", "false",
                                  "--tint", "0x2b2b2b", "--expand", "true"});
        waitFor([&] { return m_tray->state() != QProcess::Running || up(); }, 4000);
    }
    return up();
}

QList<XSession::Window> XSession::stashwellWindows() const
{
    QList<Window> windows;
    if (!m_app)
        return windows;
    const QByteArray ids = run("xdotool", {"search", "--onlyvisible", "--pid", QString::number(m_app->processId())});
    for (const QByteArray &id : ids.split('\n')) {
            if (id.isEmpty())
            continue;
        // `getwindowgeometry --shell`: X, Y (on the screen), WIDTH, HEIGHT, one per line.
        QMap<QByteArray, int> g;
        for (const QByteArray &line : run("xdotool", {"getwindowgeometry", "--shell", id}).split('\n'))
            g.insert(line.left(line.indexOf('=')), line.mid(line.indexOf('=') + 1).toInt());
        windows.append({QString::fromLatin1(id), QRect(g.value("X"), g.value("Y"), g.value("WIDTH"), g.value("HEIGHT"))});
    }
    return windows;
}

XSession::Window XSession::stashwellWindow(bool trayIcon) const
{
    for (const Window &window : stashwellWindows())
        if ((window.frame.width() <= 64 && window.frame.height() <= 64) == trayIcon)
            return window;
    return {};
}

#include "e2e/XSession.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QMap>
#include <QThread>
#include <csignal>

namespace {

QString freeDisplay()
{
    for (int n = 40 + int(QCoreApplication::applicationPid() % 50);; ++n)
        if (!QFile::exists(QStringLiteral("/tmp/.X%1-lock").arg(n))
            && !QFile::exists(QStringLiteral("/tmp/.X11-unix/X%1").arg(n)))
            return QStringLiteral(":%1").arg(n);
}

bool waitFor(const std::function<bool()> &condition, int timeoutMs)
{
    for (int waited = 0; waited < timeoutMs; waited += 25) {
        if (condition())
            return true;
        QTest::qWait(25);
    }
    return condition();
}

} // namespace

XSession::XSession()
{
    QDir().mkpath(dataDir());
    QDir().mkpath(configDir());
    installFakeXdgOpen();
    QDir().mkpath(m_home.path() + QStringLiteral("/runtime"));
    QFile::setPermissions(m_home.path() + QStringLiteral("/runtime"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    // Parallel tests may race for a display number: an Xvfb that exits lost it, try another.
    bool serving = false;
    for (int attempt = 0; attempt < 5 && !serving; ++attempt) {
        m_display = freeDisplay();
        startDaemon(m_xvfb, QStringLiteral("Xvfb"),
                    {m_display, QStringLiteral("-screen"), QStringLiteral("0"), QStringLiteral("1280x800x24"),
                     QStringLiteral("-nolisten"), QStringLiteral("tcp")});
        const QString socket = QStringLiteral("/tmp/.X11-unix/X") + m_display.mid(1);
        serving = waitFor([&] { return QFileInfo::exists(socket) || m_xvfb->state() != QProcess::Running; }, 10000)
            && m_xvfb->state() == QProcess::Running;
    }
    if (!serving)
        return;
    startDaemon(m_wm, QStringLiteral("openbox"), {QStringLiteral("--sm-disable")});
    // The first-run guide is a test of its own; elsewhere it would take the focus.
    setDefaults({{"onboardingCompleted", true}});
    // openbox is up once it owns the window-manager selection.
    m_up = waitFor([&] { return !run(QStringLiteral("xprop"), {"-root", "_NET_SUPPORTING_WM_CHECK"}).contains("not found"); },
                   10000);
}

XSession::~XSession()
{
    if (m_app)
        stopStashwell();
    for (QProcess *owner : std::as_const(m_owners) + m_clients) {
        owner->kill();
        owner->waitForFinished(1000);
        delete owner;
    }
    for (auto *p : {m_keyring.get(), m_bus.get(), m_wm.get(), m_xvfb.get()}) {
        if (p) {
            p->terminate();
            if (!p->waitForFinished(3000))
                p->kill();
        }
    }
}

QProcessEnvironment XSession::environment() const
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("DISPLAY"), m_display);
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    env.insert(QStringLiteral("HOME"), m_home.path());
    env.insert(QStringLiteral("XDG_DATA_HOME"), dataDir());
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), configDir());
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_home.path() + QStringLiteral("/runtime"));
    env.insert(QStringLiteral("PATH"), binDir() + QLatin1Char(':') + env.value(QStringLiteral("PATH")));
    env.remove(QStringLiteral("WAYLAND_DISPLAY"));
    env.remove(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
    if (!m_busAddress.isEmpty())
        env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_busAddress);
    env.remove(QStringLiteral("STASHWELL_SERVICE_URL"));
    return env;
}

void XSession::installFakeXdgOpen() const
{
    const QString script = binDir() + QStringLiteral("/xdg-open");
    writeFile(script, QStringLiteral("#!/bin/sh\nprintf '%s\\n' \"$1\" >> '%1'\n").arg(openedUrlsFile()).toUtf8());
    QFile::setPermissions(script, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

QStringList XSession::openedUrls() const
{
    QFile file(openedUrlsFile());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
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
                          .arg(m_home.path() + QStringLiteral("/runtime"))
                          .toUtf8());
    m_bus = std::make_unique<QProcess>();
    m_bus->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_bus->start(QStringLiteral("dbus-daemon"), {"--config-file=" + config, "--nofork", "--print-address=1"});
    // The address is printed once the bus listens.
    while (!m_bus->canReadLine() && m_bus->waitForReadyRead(10000)) {
    }
    m_busAddress = QString::fromUtf8(m_bus->readLine()).trimmed();
    if (m_busAddress.isEmpty())
        return false;

    m_keyring = std::make_unique<QProcess>();
    m_keyring->setProcessEnvironment(environment());
    m_keyring->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_keyring->setStandardOutputFile(QProcess::nullDevice());
    // --unlock reads the login keyring's password from standard input (and creates the keyring).
    m_keyring->start(QStringLiteral("gnome-keyring-daemon"), {"--foreground", "--unlock", "--components=secrets"});
    m_keyring->waitForStarted(5000);
    m_keyring->write("stashwell-test");
    m_keyring->closeWriteChannel();
    const auto onTheBus = [&] {
        return run(QStringLiteral("dbus-send"),
                   {"--session", "--print-reply", "--reply-timeout=2000", "--dest=org.freedesktop.DBus", "/",
                    "org.freedesktop.DBus.NameHasOwner", "string:org.freedesktop.secrets"})
            .contains("boolean true");
    };
    return waitFor([&] { return m_keyring->state() != QProcess::Running || onTheBus(); }, 10000)
        && m_keyring->state() == QProcess::Running;
}

void XSession::startDaemon(std::unique_ptr<QProcess> &process, const QString &program, const QStringList &args)
{
    process = std::make_unique<QProcess>();
    process->setProcessEnvironment(environment());
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process->setStandardOutputFile(QProcess::nullDevice());
    process->start(program, args);
    process->waitForStarted(5000);
}

QByteArray XSession::run(const QString &program, const QStringList &args, const QByteArray &input, int *exitCode) const
{
    QProcess p;
    p.setProcessEnvironment(environment());
    p.start(program, args);
    p.write(input);
    p.closeWriteChannel();
    p.waitForFinished(10000);
    if (exitCode)
        *exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    return p.readAllStandardOutput();
}

void XSession::xclipCopy(const QByteArray &data, const QString &type) const
{
    // xclip forks a child that owns the selection until another client takes it.
    run(QStringLiteral("xclip"), {"-selection", "clipboard", "-t", type, "-i"}, data);
}

void XSession::copyTypes(const QList<std::pair<QString, QByteArray>> &types) const
{
    QStringList args;
    for (const auto &[type, data] : types) {
        const QString path = m_home.path() + QStringLiteral("/owner-%1").arg(args.size());
        writeFile(path, data);
        args << type + QLatin1Char('=') + path;
    }
    auto *owner = new QProcess;
    owner->setProcessEnvironment(environment());
    owner->setProcessChannelMode(QProcess::ForwardedChannels);
    owner->start(QStringLiteral(STASHWELL_CLIP_OWNER), args);
    owner->waitForReadyRead(5000); // it says "owned" once it holds the selection
    m_owners << owner;
}

bool XSession::startStashwell(const QStringList &extraEnv)
{
    m_app = std::make_unique<QProcess>();
    QProcessEnvironment env = environment();
    for (const QString &pair : extraEnv)
        env.insert(pair.section(QLatin1Char('='), 0, 0), pair.section(QLatin1Char('='), 1));
    m_app->setProcessEnvironment(env);
    m_app->setStandardOutputFile(QProcess::nullDevice());
    m_stderr.clear();
    QObject::connect(m_app.get(), &QProcess::readyReadStandardError, m_app.get(),
                     [this] { m_stderr += m_app->readAllStandardError(); });
    m_app->start(QStringLiteral(STASHWELL_BIN), {});
    if (!m_app->waitForStarted(5000))
        return false;
    // The store creates its directories when the monitor starts; a few polls later it is watching.
    const bool ready = waitFor([&] { return QFileInfo::exists(historyDir() + QStringLiteral("/thumbs")); }, 10000);
    QTest::qWait(400);
    return ready && m_app->state() == QProcess::Running;
}

int XSession::stopStashwell()
{
    if (!m_app)
        return -1;
    m_app->terminate(); // SIGTERM; nothing when it has ended already (no kill(0, ...))
    if (m_app->state() != QProcess::NotRunning && !m_app->waitForFinished(10000))
        m_app->kill();
    m_stderr += m_app->readAllStandardError();
    const int code = m_app->exitStatus() == QProcess::NormalExit ? m_app->exitCode() : -1;
    m_app.reset();
    return code;
}

QByteArray XSession::stashwellStderr()
{
    if (m_app)
        m_stderr += m_app->readAllStandardError();
    return m_stderr;
}

QJsonArray XSession::history() const
{
    QFile file(historyDir() + QStringLiteral("/history.json"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).array();
}

void XSession::writeFile(const QString &path, const QByteArray &bytes) const
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(bytes);
}

void XSession::setDefaults(const QJsonObject &values) const
{
    QFile file(defaultsFile());
    QJsonObject merged = file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
    file.close();
    for (auto it = values.begin(); it != values.end(); ++it)
        merged.insert(it.key(), it.value());
    writeFile(defaultsFile(), QJsonDocument(merged).toJson());
}

QString XSession::activeWindow() const
{
    return QString::fromUtf8(run(QStringLiteral("xprop"), {"-root", "_NET_ACTIVE_WINDOW"})).section(QLatin1Char('#'), 1).trimmed();
}

bool XSession::stashwellHasVisibleWindow() const
{
    return !stashwellWindows().isEmpty();
}

QProcess *XSession::startZenityEntry()
{
    const QString before = activeWindow();
    auto *zenity = new QProcess;
    zenity->setProcessEnvironment(environment());
    zenity->start(QStringLiteral("zenity"), {"--entry", "--title=Paste target", "--text=Paste here"});
    m_clients << zenity;
    // Ready once the window manager made it the active window.
    waitFor([&] { return activeWindow() != before && !activeWindow().startsWith(QLatin1String("0x0")); }, 10000);
    QTest::qWait(300);
    return zenity;
}

void XSession::screenshot(const QString &path) const
{
    run(QStringLiteral(STASHWELL_SCREENSHOT), {path});
}

int XSession::waitForStashwellCrash(int timeoutMs)
{
    if (!m_app || !m_app->waitForFinished(timeoutMs))
        return 0;
    m_stderr += m_app->readAllStandardError();
    const int signal = m_app->exitStatus() == QProcess::CrashExit ? m_app->exitCode() : 0;
    m_app.reset(); // ended: nothing left to stop
    return signal;
}

bool XSession::startTray()
{
    // trayer (GTK) now and then fails to come up on a fresh server: give it a few tries.
    for (int attempt = 0; attempt < 3; ++attempt) {
        auto *tray = new QProcess;
        tray->setProcessEnvironment(environment());
        tray->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        tray->setStandardOutputFile(QProcess::nullDevice());
        tray->start(QStringLiteral("trayer"), {"--edge", "top", "--align", "right", "--widthtype", "request",
                                              "--height", "28", "--SetDockType", "true", "--SetPartialStrut", "false",
                                              "--transparent", "false", "--tint", "0x2b2b2b", "--expand", "true"});
        m_clients << tray;
        const bool up = tray->waitForStarted(5000) && waitFor([&] {
            return tray->state() != QProcess::Running
                || !run(QStringLiteral("xdotool"), {"search", "--class", "trayer"}).trimmed().isEmpty();
        }, 8000);
        if (up && tray->state() == QProcess::Running)
            return true;
        tray->kill();
        tray->waitForFinished(1000);
    }
    return false;
}

namespace {

constexpr int trayIconMaxSide = 64;

bool isTrayIconSized(const QRect &frame)
{
    return frame.width() <= trayIconMaxSide && frame.height() <= trayIconMaxSide;
}

} // namespace

QList<XSession::Window> XSession::stashwellWindows() const
{
    QList<Window> windows;
    if (!m_app)
        return windows;
    const QByteArray ids =
        run(QStringLiteral("xdotool"), {"search", "--onlyvisible", "--pid", QString::number(m_app->processId())});
    for (const QByteArray &id : ids.split('\n')) {
        if (id.trimmed().isEmpty())
            continue;
        // `getwindowgeometry --shell`: X, Y (on the screen), WIDTH, HEIGHT, one per line.
        QMap<QByteArray, int> g;
        for (const QByteArray &line : run(QStringLiteral("xdotool"), {"getwindowgeometry", "--shell", id.trimmed()}).split('\n'))
            if (line.contains('='))
                g.insert(line.left(line.indexOf('=')), line.mid(line.indexOf('=') + 1).toInt());
        windows.append({QString::fromLatin1(id.trimmed()), QRect(g.value("X"), g.value("Y"), g.value("WIDTH"), g.value("HEIGHT"))});
    }
    return windows;
}

QString XSession::stashwellTrayIcon() const
{
    for (const Window &window : stashwellWindows())
        if (isTrayIconSized(window.frame))
            return window.id;
    return {};
}

QPoint XSession::stashwellTrayIconCentre() const
{
    for (const Window &window : stashwellWindows())
        if (isTrayIconSized(window.frame))
            return window.frame.center();
    return {};
}

QRect XSession::stashwellPopup() const
{
    for (const Window &window : stashwellWindows())
        if (!isTrayIconSized(window.frame))
            return window.frame;
    return {};
}

bool XSession::stashwellHasVisiblePopup() const
{
    return !stashwellPopup().isNull();
}

XSession::Run XSession::runStashwellCommand(const QStringList &args, const QStringList &extraEnv) const
{
    QProcess p;
    QProcessEnvironment env = environment();
    for (const QString &pair : extraEnv)
        env.insert(pair.section(QLatin1Char('='), 0, 0), pair.section(QLatin1Char('='), 1));
    p.setProcessEnvironment(env);
    p.start(QStringLiteral(STASHWELL_BIN), args);
    p.closeWriteChannel();
    Run result;
    if (!p.waitForFinished(15000))
        p.kill();
    result.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    result.out = p.readAllStandardOutput();
    result.err = p.readAllStandardError();
    return result;
}

int XSession::waitForStashwellExit(int timeoutMs)
{
    if (!m_app)
        return -1;
    if (m_app->state() != QProcess::NotRunning && !m_app->waitForFinished(timeoutMs))
        return -1;
    m_stderr += m_app->readAllStandardError();
    const int code = m_app->exitStatus() == QProcess::NormalExit ? m_app->exitCode() : -1;
    m_app.reset(); // ended: nothing left to stop
    return code;
}

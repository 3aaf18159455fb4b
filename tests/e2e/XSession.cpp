// SPDX-License-Identifier: GPL-3.0-or-later
#include "e2e/XSession.h"
#include "fakes/TestFiles.h"

#include <QFile>
#include <QJsonDocument>
#include <QMap>

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

XSession::XSession(Tray tray)
{
    // The desktop's xdg-open only records the address.
    const QString xdgOpen = m_home.path() + QStringLiteral("/bin/xdg-open");
    writeFile(xdgOpen, QStringLiteral("#!/bin/sh\nprintf '%s\\n' \"$1\" >> '%1'\n").arg(openedUrlsFile()).toUtf8());
    QFile::setPermissions(xdgOpen, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    // Xvfb takes a free display and prints its number once it serves it. Without -noreset it would
    // reset whenever its last client leaves (a probe before openbox connected) and refuse
    // connections meanwhile: openbox could not start.
    QProcess *xvfb = start(QStringLiteral("Xvfb"),
                           {"-displayfd", "1", "-noreset", "-screen", "0", "1280x800x24", "-nolisten", "tcp"});
    if (waitFor([&] { return xvfb->canReadLine() || xvfb->state() != QProcess::Running; }, 10000) && xvfb->canReadLine())
        m_display = QLatin1Char(':') + QString::fromLatin1(xvfb->readLine().trimmed());
    start(QStringLiteral("openbox"), {QStringLiteral("--sm-disable")});
    // openbox is up once it owns the window-manager selection.
    m_up = !m_display.isEmpty()
        && waitFor([&] { return run("xprop", {"-root", "_NET_SUPPORTING_WM_CHECK"}).contains("window id"); }, 10000)
        && (tray == Tray::later || startTray());
}

void XSession::addDesktopEnvironment(QProcessEnvironment &env) const
{
    const QString path = m_home.path() + QStringLiteral("/bin:") + env.value(QStringLiteral("PATH"));
    for (const auto &[name, value] : {std::pair{"DISPLAY", m_display}, {"QT_QPA_PLATFORM", QStringLiteral("xcb")}, 
                                      {"PATH", path}})
        env.insert(QLatin1String(name), value);
    env.remove(QStringLiteral("WAYLAND_DISPLAY"));
    if (!m_busAddress.isEmpty())
        env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_busAddress);
}

QStringList XSession::openedUrls() const
{
    return QString::fromUtf8(readFile(openedUrlsFile())).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
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

bool XSession::focus(const QString &window) const
{
    run("xdotool", {"windowactivate", "--sync", window});
    return waitFor([&] { return QString::fromLatin1(run("xdotool", {"getwindowfocus"}).trimmed()) == window; });
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

QStringList XSession::stashwellWindowIds() const
{
    if (!m_app)
        return {};
    const QByteArray ids = run("xdotool", {"search", "--onlyvisible", "--pid", QString::number(m_app->processId())});
    return QString::fromLatin1(ids).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

QList<XSession::Window> XSession::stashwellWindows() const
{
    QList<Window> windows;
    for (const QString &id : stashwellWindowIds()) {
        // `getwindowgeometry --shell`: X, Y (on the screen), WIDTH, HEIGHT, one per line.
        QMap<QByteArray, int> g;
        for (const QByteArray &line : run("xdotool", {"getwindowgeometry", "--shell", id}).split('\n'))
            g.insert(line.left(line.indexOf('=')), line.mid(line.indexOf('=') + 1).toInt());
        windows.append({id, QRect(g.value("X"), g.value("Y"), g.value("WIDTH"), g.value("HEIGHT"))});
    }
    return windows;
}

QStringList XSession::stashwellNotices() const
{
    QStringList ids = stashwellWindowIds();
    ids.removeIf([&](const QString &id) {
        return !run("xprop", {"-id", id, "WM_WINDOW_ROLE"}).contains("\"notice\"");
    });
    return ids;
}

QJsonObject XSession::shownWindow(const QString &objectName) const
{
    const QByteArray dump = runStashwellCommand({QStringLiteral("test-widgets")}).out;
    for (const QJsonValue window : QJsonDocument::fromJson(dump).array())
        if (window[QLatin1String("name")] == objectName)
            return window.toObject();
    return {};
}

QJsonObject XSession::shownWidget(const QJsonObject &window, const QString &name)
{
    for (const QJsonValue widget : window[QLatin1String("widgets")].toArray())
        if (widget[QLatin1String("name")] == name)
            return widget.toObject();
    return {};
}

XSession::Window XSession::stashwellWindow(bool trayIcon) const
{
    for (const Window &window : stashwellWindows())
        if ((window.frame.width() <= 64 && window.frame.height() <= 64) == trayIcon)
            return window;
    return {};
}

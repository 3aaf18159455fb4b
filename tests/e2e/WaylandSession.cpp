// SPDX-License-Identifier: GPL-3.0-or-later
#include "e2e/WaylandSession.h"
#include "fakes/TestFiles.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

#include <pwd.h>
#include <unistd.h>

namespace {

// Who runs the session: "nobody" under root (sway will not run as root), else nobody else.
std::optional<std::pair<uid_t, gid_t>> otherUser()
{
    if (geteuid() != 0)
        return std::nullopt;
    const passwd *user = getpwnam("nobody");
    return user ? std::optional(std::pair(user->pw_uid, user->pw_gid)) : std::nullopt;
}

void collectViews(const QJsonObject &node, QList<QJsonObject> &views)
{
    if (node.contains(QLatin1String("pid")))
        views << node;
    for (const char *children : {"nodes", "floating_nodes"})
        for (const QJsonValue &child : node[QLatin1String(children)].toArray())
            collectViews(child.toObject(), views);
}

} // namespace

WaylandSession::WaylandSession()
{
    // No bar, no wallpaper, no XWayland; a window that asks for the focus gets it.
    writeFile(m_home.path() + QStringLiteral("/sway.conf"),
              "output HEADLESS-1 resolution 1280x800\n"
              "xwayland disable\n"
              "focus_on_window_activation focus\n");
    m_stashwellBin = reachable(QStringLiteral(STASHWELL_BIN));
    m_fieldBin = reachable(QStringLiteral(STASHWELL_WAYLAND_FIELD));
    giveToUser(m_home.path());
    m_up = startSway();
}

QByteArray WaylandSession::swayLog() const
{
    return readFile(m_home.path() + QStringLiteral("/sway.log")).right(2000);
}

bool WaylandSession::startSway()
{
    QProcessEnvironment env = environment({"WLR_BACKENDS=headless", "WLR_LIBINPUT_NO_DEVICES=1", "WLR_RENDERER=pixman"});
    for (const char *name : {"WAYLAND_DISPLAY", "SWAYSOCK"})
        env.remove(QLatin1String(name));
    auto *sway = new QProcess;
    sway->setProcessEnvironment(env);
    sway->setStandardOutputFile(QProcess::nullDevice());
    sway->setStandardErrorFile(m_home.path() + QStringLiteral("/sway.log"));
    const QStringList command = asUser(QStringLiteral("sway"), {"-c", m_home.path() + QStringLiteral("/sway.conf")});
    sway->start(command.first(), command.mid(1));
    sway->waitForStarted(5000);
    m_processes << sway;
    // Up once both its sockets are in the runtime directory and its IPC answers.
    const auto socket = [&](const QString &pattern) {
        QDirIterator it(runtimeDir(), {pattern}, QDir::System);
        return it.hasNext() ? QFileInfo(it.next()).fileName() : QString();
    };
    return waitFor([&] {
        if (sway->state() != QProcess::Running)
            return true;
        m_waylandDisplay = socket(QStringLiteral("wayland-[0-9]"));
        const QString ipc = socket(QStringLiteral("sway-ipc.*.sock"));
        m_swaySocket = ipc.isEmpty() ? QString() : runtimeDir() + QLatin1Char('/') + ipc;
        return !m_waylandDisplay.isEmpty() && !m_swaySocket.isEmpty() && swaymsg(QStringLiteral("nop"));
    }, 15000) && sway->state() == QProcess::Running;
}

QStringList WaylandSession::asUser(const QString &program, const QStringList &args) const
{
    const auto user = otherUser();
    if (!user)
        return QStringList{program} + args;
    return QStringList{QStringLiteral("setpriv"), QStringLiteral("--reuid=%1").arg(user->first),
                       QStringLiteral("--regid=%1").arg(user->second), QStringLiteral("--clear-groups"),
                       QStringLiteral("--"), program}
        + args;
}

QString WaylandSession::reachable(const QString &binary) const
{
    // The build tree may lie where the session's user cannot go (under /root): a copy in its home.
    if (!otherUser())
        return binary;
    const QString copy = m_home.path() + QStringLiteral("/bin/") + QFileInfo(binary).fileName();
    QDir().mkpath(QFileInfo(copy).path());
    QFile::copy(binary, copy);
    return copy;
}

void WaylandSession::giveToUser(const QString &path) const
{
    const auto user = otherUser();
    if (!user)
        return;
    // The path and every directory up to the home, which the session's user owns.
    for (QString p = path; p.startsWith(m_home.path()); p = QFileInfo(p).path())
        if (::chown(QFile::encodeName(p).constData(), user->first, user->second) != 0 || p == m_home.path())
            break;
    QDirIterator it(path, QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        if (::chown(QFile::encodeName(it.next()).constData(), user->first, user->second) != 0)
            qWarning("chown %s failed", qPrintable(it.filePath()));
}

void WaylandSession::addDesktopEnvironment(QProcessEnvironment &env) const
{
    for (const char *name : {"DISPLAY", "XAUTHORITY", "QT_QPA_PLATFORMTHEME"})
        env.remove(QLatin1String(name));
    for (const auto &[name, value] :
         {std::pair{"WAYLAND_DISPLAY", m_waylandDisplay}, {"SWAYSOCK", m_swaySocket}, {"QT_QPA_PLATFORM", "wayland"},
          {"XDG_SESSION_TYPE", "wayland"}, {"XDG_CURRENT_DESKTOP", "sway"}})
        env.insert(QLatin1String(name), value);
}

bool WaylandSession::copy(const QByteArray &data, const QString &type) const
{
    // wl-copy returns once the selection is set and serves it from a child of its own.
    return runClient(QStringLiteral("wl-copy"), {QStringLiteral("--type"), type}, data).exitCode == 0;
}

QByteArray WaylandSession::paste() const
{
    return runClient(QStringLiteral("wl-paste"), {QStringLiteral("--no-newline")}).out;
}

bool WaylandSession::swaymsg(const QString &command) const
{
    const Run result = runClient(QStringLiteral("swaymsg"), {command});
    return result.exitCode == 0 && !result.out.contains("\"success\": false");
}

QList<QJsonObject> WaylandSession::views() const
{
    QList<QJsonObject> list;
    collectViews(QJsonDocument::fromJson(runClient(QStringLiteral("swaymsg"), {"-r", "-t", "get_tree"}).out).object(), list);
    return list;
}

QString WaylandSession::focusedAppId() const
{
    for (const QJsonObject &view : views())
        if (view[QLatin1String("focused")].toBool())
            return view[QLatin1String("app_id")].toString();
    return {};
}

QProcess *WaylandSession::startField(const QString &appId)
{
    if (m_field)
        m_field->kill();
    m_fieldText.clear();
    m_fieldFocused = false;
    m_fieldCopies = 0;
    m_fieldRequests = 0;
    m_field = start(m_fieldBin, {appId});
    // Ready once it says its field has the keyboard focus and sway agrees.
    const bool ready = waitFor([&] { return readField(), m_fieldFocused || m_field->state() != QProcess::Running; }, 10000)
        && m_fieldFocused && waitFor([&] { return focusedAppId() == appId; });
    return ready ? m_field : nullptr;
}

QProcess *WaylandSession::startTerminal()
{
    writeFile(terminalOutput(), {});
    const QString cat = QStringLiteral("stty raw -echo; exec cat > '%1'").arg(terminalOutput());
    QProcess *foot = start(QStringLiteral("foot"), {"--app-id=foot", "sh", "-c", cat});
    return waitFor([&] { return focusedAppId() == QLatin1String("foot"); }, 10000) ? foot : nullptr;
}

void WaylandSession::readField() const
{
    // One line per event: "focused", "pending", "copied", "request <type>" or "text <what it shows>".
    while (m_field && m_field->canReadLine()) {
        const QByteArray line = m_field->readLine().chopped(1);
        if (line.startsWith("text "))
            m_fieldText = QString::fromUtf8(line.mid(5));
        m_fieldFocused = m_fieldFocused || line == "focused";
        m_fieldCopies += line == "copied";
        m_fieldPending = m_fieldPending || line == "pending";
        m_fieldRequests += line.startsWith("request ");
    }
}

bool WaylandSession::fieldCopy(const QList<std::pair<QString, QByteArray>> &types)
{
    if (!m_field)
        return false;
    // One line of "type=data" words (the data in unpadded base64url, so the last "=" splits); the
    // field copies them at the next Ctrl+C.
    QByteArrayList words;
    for (const auto &[type, data] : types)
        words << type.toUtf8() + '=' + data.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    readField();
    const int before = m_fieldCopies;
    m_fieldPending = false;
    m_field->write(words.join(' ') + '\n');
    if (!waitFor([&] { return readField(), m_fieldPending; }))
        return false;
    typeKeys({"-M", "ctrl", "c", "-m", "ctrl"});
    return waitFor([&] { return readField(), m_fieldCopies > before; });
}

void WaylandSession::typeKeys(const QStringList &wtypeArgs) const
{
    // A lone Shift first: the first key of a new virtual keyboard can be lost.
    runClient(QStringLiteral("wtype"), QStringList{"-M", "shift", "-m", "shift"} + wtypeArgs);
}

QList<QJsonObject> WaylandSession::stashwellViews() const
{
    QList<QJsonObject> list;
    for (const QJsonObject &view : views())
        if (m_app && view[QLatin1String("pid")].toInteger() == m_app->processId() && view[QLatin1String("visible")].toBool())
            list << view;
    return list;
}

bool WaylandSession::closeNotices()
{
    // Right after the start every window of stashwell's is a notice.
    if (!waitFor([&] { return !stashwellViews().isEmpty(); }))
        return false;
    for (const QJsonObject &view : stashwellViews())
        swaymsg(QStringLiteral("[con_id=%1] kill").arg(view[QLatin1String("id")].toInteger()));
    return waitFor([&] { return stashwellViews().isEmpty(); });
}

bool WaylandSession::paletteShown() const
{
    return !stashwellViews().isEmpty();
}

void WaylandSession::writeFile(const QString &path, const QByteArray &bytes) const
{
    E2ESession::writeFile(path, bytes);
    giveToUser(path);
}

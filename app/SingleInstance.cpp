// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/SingleInstance.h"

#include "BuildInfo.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalServer>
#include <QLocalSocket>
#include <QLockFile>
#include <QRegularExpression>
#include <QTextStream>
#include <QDeadlineTimer>
#include <QScopeGuard>
#include <QTimer>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr qsizetype maxReplyBytes = 64 * 1024 * 1024;

// ":0.0" and ":0" are the same X server; a host part is kept ("localhost:10").
QString displayTag()
{
    QString display = qEnvironmentVariable("DISPLAY");
    if (display.isEmpty())
        display = qEnvironmentVariable("WAYLAND_DISPLAY");
    if (display.isEmpty())
        return QStringLiteral("none");
    const qsizetype colon = display.lastIndexOf(QLatin1Char(':'));
    if (colon >= 0) {
        const qsizetype dot = display.indexOf(QLatin1Char('.'), colon);
        if (dot > colon)
            display.truncate(dot);
    }
    display.replace(QRegularExpression(QStringLiteral("[^A-Za-z0-9.-]")), QStringLiteral("_"));
    display.remove(QRegularExpression(QStringLiteral("^_+")));
    return display.isEmpty() ? QStringLiteral("none") : display;
}

// Why `path` may not hold the socket and its lock; empty when it may.
QString whyNotPrivate(const QString &path)
{
    struct stat info {};
    if (::lstat(QFile::encodeName(path).constData(), &info) != 0)
        return QStringLiteral("%1: %2").arg(path, QString::fromLocal8Bit(std::strerror(errno)));
    if (S_ISLNK(info.st_mode))
        return QStringLiteral("%1 is a symbolic link").arg(path);
    if (!S_ISDIR(info.st_mode))
        return QStringLiteral("%1 is not a directory").arg(path);
    if (info.st_uid != ::getuid())
        return QStringLiteral("%1 belongs to another user (uid %2)").arg(path).arg(info.st_uid);
    if ((info.st_mode & 0777) != 0700)
        return QStringLiteral("%1 has mode %2, not 0700").arg(path).arg(info.st_mode & 0777, 4, 8, QLatin1Char('0'));
    return {};
}

// A directory of the fixed name that someone else made is refused rather than swapped for a
// random one, which the next `stashwell` could not find.
QString runtimeDir(QString *error)
{
    const QString xdg = qEnvironmentVariable("XDG_RUNTIME_DIR");
    const QString xdgProblem = !QDir::isAbsolutePath(xdg) ? QStringLiteral("XDG_RUNTIME_DIR is not set to a path")
                                                          : whyNotPrivate(xdg);
    if (xdgProblem.isEmpty())
        return xdg;
    const QString fallback = QDir::tempPath() + QStringLiteral("/stashwell-%1").arg(::getuid());
    ::mkdir(QFile::encodeName(fallback).constData(), 0700); // fails when it exists: then checked like any
    const QString fallbackProblem = whyNotPrivate(fallback);
    if (fallbackProblem.isEmpty())
        return fallback;
    if (error)
        *error = QStringLiteral("no private directory for the command socket: %1; %2. Set XDG_RUNTIME_DIR to a "
                                "directory of yours with mode 0700, or have %3 removed.")
                     .arg(xdgProblem, fallbackProblem, fallback);
    return {};
}

qint64 remaining(const QDeadlineTimer &deadline)
{
    return qMax<qint64>(0, deadline.remainingTime());
}

// A connected local stream socket, or -1. Plain POSIX: a second process talks to the
// running one before (and without) any application object or display connection.
int connectTo(const QString &path, int timeoutMs)
{
    const QByteArray name = QFile::encodeName(path);
    sockaddr_un address{};
    if (name.size() >= qsizetype(sizeof(address.sun_path)))
        return -1;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.constData(), name.size());
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0)
        return -1;
    const QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        if (::connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0)
            return fd;
        if ((errno != EAGAIN && errno != EINTR) || deadline.hasExpired())
            break;
        ::usleep(10000); // the listener's backlog is full: try again shortly
    }
    ::close(fd);
    return -1;
}

// Sends `request` and reads up to the first newline (or the end). nullopt when nobody listens.
std::optional<QByteArray> exchange(const QString &path, const QByteArray &request, int timeoutMs)
{
    const int fd = connectTo(path, timeoutMs);
    if (fd < 0)
        return std::nullopt;
    const QDeadlineTimer deadline(timeoutMs);
    const auto wait = [&](short events) {
        pollfd entry{fd, events, 0};
        return ::poll(&entry, 1, int(remaining(deadline))) > 0;
    };
    qsizetype sent = 0;
    while (sent < request.size() && wait(POLLOUT)) {
        const ssize_t n = ::send(fd, request.constData() + sent, size_t(request.size() - sent), MSG_NOSIGNAL);
        if (n < 0 && errno != EAGAIN && errno != EINTR)
            break;
        sent += qMax<ssize_t>(n, 0);
    }
    QByteArray reply;
    char buffer[65536];
    while (!reply.contains('\n') && reply.size() < maxReplyBytes && wait(POLLIN)) {
        const ssize_t n = ::recv(fd, buffer, sizeof(buffer), 0);
        if (n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR))
            break;
        reply.append(buffer, qMax<ssize_t>(n, 0));
    }
    ::close(fd);
    return reply;
}

} // namespace

int ShellReply::print(QTextStream &out, QTextStream &err) const
{
    (ok ? out : err) << CommandLine::printable(output);
    return ok ? 0 : usageError ? 2 : 1;
}

QByteArray ShellReply::toLine() const
{
    QJsonObject object{{QStringLiteral("ok"), ok}, {QStringLiteral("output"), output}};
    if (usageError)
        object.insert(QStringLiteral("usageError"), true);
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

std::optional<ShellReply> ShellReply::fromLine(const QByteArray &line)
{
    const QJsonObject object = QJsonDocument::fromJson(line).object();
    if (!object.value(QStringLiteral("ok")).isBool())
        return std::nullopt;
    return ShellReply{object.value(QStringLiteral("ok")).toBool(), object.value(QStringLiteral("output")).toString(),
                      object.value(QStringLiteral("usageError")).toBool()};
}

SingleInstance::SingleInstance(const QString &socketPath, QObject *parent)
    : QObject(parent)
    , m_path(socketPath)
{
}

SingleInstance::~SingleInstance()
{
    if (m_server)
        m_server->close(); // removes the socket file
}

QString SingleInstance::defaultSocketPath(QString *error)
{
    const QString dir = runtimeDir(error);
    return dir.isEmpty() ? dir : dir + QStringLiteral("/stashwell-%1-%2.sock").arg(::getuid()).arg(displayTag());
}

std::optional<int> SingleInstance::claim(const ShellCommand &command, QTextStream &out, QTextStream &err,
                                         const Handler &withoutInstance)
{
    if (command.kind == ShellCommand::Kind::help) {
        out << CommandLine::usage();
        return 0;
    }
    if (command.kind == ShellCommand::Kind::version) {
        out << "Stashwell " << BuildInfo::version << " (" << BuildInfo::buildNumber << ")\n";
        return 0;
    }
    // The lock, held until listen(), makes "nobody answers, so I listen" one step for
    // processes started together.
    m_lock = std::make_unique<QLockFile>(m_path + QStringLiteral(".lock"));
    if (!m_lock->tryLock(5000)) {
        m_lock.reset();
        err << "Stashwell is starting; try again.\n";
        return 1;
    }
    if (const auto reply = forward(command))
        return reply->print(out, err);
    if (command.kind == ShellCommand::Kind::config && withoutInstance)
        return withoutInstance(command).print(out, err);
    if (command.needsRunningInstance()) {
        err << "Stashwell is not running.\n";
        return 1;
    }
    return std::nullopt;
}

std::optional<ShellReply> SingleInstance::forward(const ShellCommand &command, int timeoutMs) const
{
    const auto reply = exchange(m_path, command.toRequest() + '\n', timeoutMs);
    if (!reply)
        return std::nullopt;
    if (auto parsed = ShellReply::fromLine(reply->left(reply->indexOf('\n'))))
        return parsed;
    return ShellReply{false, QStringLiteral("Stashwell is running but did not answer.\n")};
}

bool SingleInstance::listen()
{
    if (isListening())
        return true;
    const auto releaseLock = qScopeGuard([this] { m_lock.reset(); });
    if (connectTo(m_path, 500) >= 0)
        return false; // a live instance holds it
    QLocalServer::removeServer(m_path); // nobody answers: a file left by a crash
    auto *server = new QLocalServer(this);
    if (!server->listen(m_path)) {
        delete server;
        return false;
    }
    QFile::setPermissions(m_path, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    server->setMaxPendingConnections(maxClients);
    m_server = server;
    connect(m_server, &QLocalServer::newConnection, this, &SingleInstance::acceptClients);
    return true;
}

bool SingleInstance::isListening() const
{
    return m_server && m_server->isListening();
}

void SingleInstance::setHandler(Handler handler)
{
    m_handler = std::move(handler);
    if (!m_server)
        return;
    for (QLocalSocket *socket : m_server->findChildren<QLocalSocket *>())
        serve(socket);
}

void SingleInstance::acceptClients()
{
    while (QLocalSocket *socket = m_server->nextPendingConnection()) {
        if (m_clients >= maxClients) {
            emit clientRejected(QStringLiteral("too many clients"));
            socket->abort();
            socket->deleteLater();
            continue;
        }
        ++m_clients;
        connect(socket, &QObject::destroyed, this, [this] { --m_clients; });
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { serve(socket); });
        // A client gets this long for its request and for taking the reply.
        QTimer::singleShot(clientTimeoutMs, socket, [this, socket] {
            emit clientRejected(QStringLiteral("time-out"));
            socket->abort();
            socket->deleteLater();
        });
        serve(socket); // the request may already be here
    }
}

void SingleInstance::serve(QLocalSocket *socket)
{
    if (socket->property("served").toBool())
        return;
    if (!socket->canReadLine()) {
        if (socket->bytesAvailable() > maxRequestBytes) {
            emit clientRejected(QStringLiteral("request too long"));
            socket->abort();
            socket->deleteLater();
        }
        return;
    }
    if (!m_handler)
        return; // served by setHandler
    socket->setProperty("served", true);
    const QByteArray line = socket->readLine(maxRequestBytes + 1).trimmed();
    const auto command = ShellCommand::fromRequest(line);
    if (!command)
        emit clientRejected(QStringLiteral("not a request"));
    const ShellReply reply = command ? m_handler(*command) : ShellReply{false, QStringLiteral("Not a Stashwell request.\n")};
    socket->write(reply.toLine() + '\n');
    socket->flush();
    socket->disconnectFromServer(); // after the reply is written
}

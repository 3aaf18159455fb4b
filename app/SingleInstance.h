// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// One Stashwell per user and display, which also receives stashwell:// URLs and commands: the
// first process listens on a private local socket; a later one hands its command over it,
// prints the answer and exits. One JSON request line in, one JSON reply line out.
#include "app/CommandLine.h"

#include <QLockFile>
#include <QObject>
#include <QPointer>
#include <functional>
#include <memory>
#include <optional>

class QLocalServer;
class QLocalSocket;
class QTextStream;

struct ShellReply {
    bool ok = true;
    QString output{}; // printed by the second process: to stdout when ok, else to stderr
    // Not ok because the command was used wrongly (`config` with an unknown key or a value of
    // another type): the second process exits with 2, as for a bad command line, instead of 1.
    bool usageError = false;

    // Prints `output` (to `out` when ok, else to `err`) as CommandLine::printable makes it;
    // returns the exit status: 0 when ok, 2 for a usage error, else 1.
    int print(QTextStream &out, QTextStream &err) const;

    QByteArray toLine() const;
    static std::optional<ShellReply> fromLine(const QByteArray &line);
    bool operator==(const ShellReply &) const = default;
};

class SingleInstance : public QObject {
    Q_OBJECT
public:
    using Handler = std::function<ShellReply(const ShellCommand &)>;

    // Bad peers are cut off: a request line longer than this, more clients than this at
    // once, or a client that has not finished within the time-out.
    static constexpr qsizetype maxRequestBytes = 16 * 1024;
    static constexpr int maxClients = 16;
    static constexpr int clientTimeoutMs = 5000;

    // `socketPath`: an absolute path; see defaultSocketPath().
    explicit SingleInstance(const QString &socketPath, QObject *parent = nullptr);
    ~SingleInstance() override;

    // $XDG_RUNTIME_DIR/stashwell-<uid>-<display>.sock, else the same name in /tmp/stashwell-<uid>
    // (made when missing). Either directory only when it is this user's, mode 0700 and not a
    // symbolic link: whoever else can write there could answer in Stashwell's place or block
    // it. Empty, with `error` saying why, when neither is.
    static QString defaultSocketPath(QString *error = nullptr);

    // The start of main(), before the application object: help and version are answered
    // here; any other command goes to the running instance when there is one, else `config`
    // to `withoutInstance` when given (the preferences file itself; under the lock, so that
    // an instance starting meanwhile reads what it wrote). Returns the exit code when this
    // process is done; nullopt when it is to become the running instance: it then holds a
    // lock until listen(), so that two processes started together cannot both start.
    std::optional<int> claim(const ShellCommand &command, QTextStream &out, QTextStream &err,
                             const Handler &withoutInstance = {});

    // Client side: the running instance's reply, nullopt when no instance listens.
    std::optional<ShellReply> forward(const ShellCommand &command, int timeoutMs = 5000) const;

    // Server side, once the application object exists: takes the socket (true), unless a
    // live instance holds it. Requests that arrive before setHandler wait for it.
    bool listen();
    void setHandler(Handler handler);
    bool isListening() const;
    QString socketPath() const { return m_path; }

signals:
    void clientRejected(const QString &why); // diagnostics and tests

private:
    void acceptClients();
    void serve(QLocalSocket *socket);

    QString m_path;
    QLocalServer *m_server = nullptr;
    Handler m_handler;
    int m_clients = 0;
    std::unique_ptr<QLockFile> m_lock;
};

#pragma once
// The vendor's web service as tests see it: a small HTTP/1.1 server on 127.0.0.1 that records
// every request and answers with a scripted status. It runs on a thread of its own, so a test
// may block its main thread (the synchronous flush at quit) while the server answers.
#include <QByteArray>
#include <QHostAddress>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QMutex>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

struct HttpRequest {
    QByteArray method;
    QByteArray path;
    QMap<QByteArray, QByteArray> headers; // names in lower case
    QByteArray body;
    QJsonObject json() const { return QJsonDocument::fromJson(body).object(); }
};

// A scripted answer: a status and a body (sent as JSON when not empty).
struct HttpAnswer {
    int status = 200;
    QByteArray body;
    static HttpAnswer json(const QJsonObject &object, int status = 200)
    {
        return {status, QJsonDocument(object).toJson(QJsonDocument::Compact)};
    }
};

class LocalHttpServer {
public:
    LocalHttpServer()
    {
        m_context.moveToThread(&m_thread);
        m_thread.start();
        QMetaObject::invokeMethod(&m_context, [this] { listen(); }, Qt::BlockingQueuedConnection);
    }
    ~LocalHttpServer()
    {
        QMetaObject::invokeMethod(&m_context, [this] { qDeleteAll(m_context.children()); }, Qt::BlockingQueuedConnection);
        m_thread.quit();
        m_thread.wait();
    }

    quint16 port() const { return m_port; }
    QString rootURL() const { return QStringLiteral("http://127.0.0.1:%1").arg(m_port); }

    // The statuses of the next answers, in order; after them every answer has `defaultStatus`.
    void scriptStatuses(const QList<int> &statuses)
    {
        QMutexLocker lock(&m_lock);
        m_script = statuses;
    }
    void setDefaultStatus(int status)
    {
        QMutexLocker lock(&m_lock);
        m_defaultStatus = status;
    }
    // Like scriptStatuses, with bodies; appended after the answers still scripted.
    void scriptAnswers(const QList<HttpAnswer> &answers)
    {
        QMutexLocker lock(&m_lock);
        m_answers << answers;
    }
    // The answer to every "METHOD /path" request once the scripted ones are used up.
    void setRoute(const QByteArray &method, const QByteArray &path, const HttpAnswer &answer)
    {
        QMutexLocker lock(&m_lock);
        m_routes.insert(method + ' ' + path, answer);
    }
    // While held, requests are recorded but answered only at release.
    void hold()
    {
        QMutexLocker lock(&m_lock);
        m_holding = true;
    }
    void release()
    {
        {
            QMutexLocker lock(&m_lock);
            m_holding = false;
        }
        QMetaObject::invokeMethod(&m_context, [this] {
            const auto held = m_held;
            m_held.clear();
            for (const auto &socket : held)
                if (socket)
                    answer(socket);
        });
    }

    QList<HttpRequest> requests(const QByteArray &path = {}) const
    {
        QMutexLocker lock(&m_lock);
        QList<HttpRequest> matching;
        for (const HttpRequest &request : m_requests)
            if (path.isEmpty() || request.path == path)
                matching << request;
        return matching;
    }
    int count(const QByteArray &path = {}) const { return int(requests(path).size()); }
    void clear()
    {
        QMutexLocker lock(&m_lock);
        m_requests.clear();
    }

private:
    void listen()
    {
        auto *server = new QTcpServer(&m_context);
        server->listen(QHostAddress::LocalHost, 0);
        m_port = server->serverPort();
        QObject::connect(server, &QTcpServer::newConnection, server, [this, server] {
            while (QTcpSocket *socket = server->nextPendingConnection()) {
                socket->setParent(&m_context);
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { read(socket); });
                QObject::connect(socket, &QTcpSocket::disconnected, socket, [this, socket] {
                    m_buffers.remove(socket);
                    m_routeKeys.remove(socket);
                    socket->deleteLater();
                });
            }
        });
    }

    void read(QTcpSocket *socket)
    {
        QByteArray &buffer = m_buffers[socket];
        buffer += socket->readAll();
        const qsizetype headerEnd = buffer.indexOf("\r\n\r\n");
        if (headerEnd < 0)
            return;
        HttpRequest request;
        const QList<QByteArray> lines = buffer.left(headerEnd).split('\n');
        const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
        request.method = requestLine.value(0);
        request.path = requestLine.value(1);
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const qsizetype colon = lines[i].indexOf(':');
            if (colon > 0)
                request.headers.insert(lines[i].left(colon).trimmed().toLower(), lines[i].mid(colon + 1).trimmed());
        }
        const qsizetype length = request.headers.value("content-length", "0").toLongLong();
        if (buffer.size() < headerEnd + 4 + length)
            return;
        request.body = buffer.mid(headerEnd + 4, length);
        m_buffers.remove(socket);
        m_routeKeys.insert(socket, request.method + ' ' + request.path);
        bool holding;
        {
            QMutexLocker lock(&m_lock);
            m_requests << request;
            holding = m_holding;
        }
        if (holding)
            m_held << socket;
        else
            answer(socket);
    }

    void answer(QTcpSocket *socket)
    {
        HttpAnswer reply;
        {
            QMutexLocker lock(&m_lock);
            const QByteArray route = m_routeKeys.take(socket);
            if (!m_script.isEmpty())
                reply.status = m_script.takeFirst();
            else if (!m_answers.isEmpty())
                reply = m_answers.takeFirst();
            else
                reply = m_routes.value(route, HttpAnswer{m_defaultStatus, {}});
        }
        QByteArray head = QStringLiteral("HTTP/1.1 %1 Scripted\r\nContent-Length: %2\r\nConnection: close\r\n")
                              .arg(reply.status)
                              .arg(reply.body.size())
                              .toLatin1();
        if (!reply.body.isEmpty())
            head += "Content-Type: application/json\r\n";
        socket->write(head + "\r\n" + reply.body);
        socket->disconnectFromHost();
    }

    QThread m_thread;
    QObject m_context; // lives on m_thread; parent of the server and its sockets
    quint16 m_port = 0;
    QMap<QTcpSocket *, QByteArray> m_buffers;
    QList<QPointer<QTcpSocket>> m_held;
    mutable QMutex m_lock;
    QList<HttpRequest> m_requests;
    QList<int> m_script;
    QList<HttpAnswer> m_answers;
    QMap<QByteArray, HttpAnswer> m_routes;
    QMap<QTcpSocket *, QByteArray> m_routeKeys; // "METHOD /path" of each request not yet answered
    int m_defaultStatus = 200;
    bool m_holding = false;
};

// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The web service as tests see it: a small HTTP/1.1 server on 127.0.0.1 that records every
// request and answers as scripted. It runs on a thread of its own, so a test may block its
// main thread (the synchronous flush at quit) while the server answers.
#include <QJsonDocument>
#include <QJsonObject>
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

// A status and a body (sent as JSON when not empty).
struct HttpAnswer {
    int status = 200;
    QByteArray body;
    static HttpAnswer json(const QJsonObject &object, int status = 200)
    {
        return {status, QJsonDocument(object).toJson(QJsonDocument::Compact)};
    }
};

class LocalHttpServer {
    template <class F>
    auto locked(F f) const
    {
        QMutexLocker lock(&m_lock);
        return f();
    }

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

    QString rootURL() const { return QStringLiteral("http://127.0.0.1:%1").arg(m_port); }

    // The next answers, in order, whatever was asked.
    void scriptAnswers(const QList<HttpAnswer> &answers) { locked([&] { m_script << answers; }); }
    // Once the script is used up: the answer to every "METHOD /path" request, else 200.
    void setRoute(const QByteArray &method, const QByteArray &path, const HttpAnswer &answer)
    {
        locked([&] { m_routes.insert(method + ' ' + path, answer); });
    }
    // While held, requests are recorded but answered only at release.
    void hold() { locked([&] { m_holding = true; }); }
    void release()
    {
        locked([&] { m_holding = false; });
        QMetaObject::invokeMethod(&m_context, [this] {
            for (const auto &socket : std::exchange(m_held, {}))
                if (socket)
                    answer(socket);
        });
    }

    QList<HttpRequest> requests(const QByteArray &path = {}) const
    {
        QList<HttpRequest> matching = locked([&] { return m_requests; });
        matching.removeIf([&](const HttpRequest &request) { return !path.isEmpty() && request.path != path; });
        return matching;
    }
    int count(const QByteArray &path = {}) const { return int(requests(path).size()); }
    void clear() { locked([&] { m_requests.clear(); }); }

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
                QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }

    // Once a whole request has arrived: records it, then answers or holds it.
    void read(QTcpSocket *socket)
    {
        const QByteArray buffer = socket->property("buffer").toByteArray() + socket->readAll();
        socket->setProperty("buffer", buffer);
        const qsizetype headerEnd = buffer.indexOf("\r\n\r\n");
        HttpRequest request;
        const QList<QByteArray> lines = buffer.left(headerEnd).split('\n');
        request.method = lines.value(0).split(' ').value(0);
        request.path = lines.value(0).split(' ').value(1);
        for (const QByteArray &line : lines.mid(1)) {
            if (const qsizetype colon = line.indexOf(':'); colon > 0)
                request.headers.insert(line.left(colon).trimmed().toLower(), line.mid(colon + 1).trimmed());
        }
        const qsizetype length = request.headers.value("content-length", "0").toLongLong();
        if (headerEnd < 0 || buffer.size() < headerEnd + 4 + length)
            return;
        request.body = buffer.mid(headerEnd + 4, length);
        socket->setProperty("buffer", QByteArray());
        socket->setProperty("route", request.method + ' ' + request.path);
        const bool holding = locked([&] {
            m_requests << request;
            return m_holding;
        });
        if (holding)
            m_held << socket;
        else
            answer(socket);
    }

    void answer(QTcpSocket *socket)
    {
        const HttpAnswer reply = locked([&] {
            return !m_script.isEmpty() ? m_script.takeFirst()
                                       : m_routes.value(socket->property("route").toByteArray());
        });
        socket->write("HTTP/1.1 " + QByteArray::number(reply.status) + " Scripted\r\nContent-Length: "
                      + QByteArray::number(reply.body.size()) + "\r\nConnection: close\r\n"
                      + (reply.body.isEmpty() ? "" : "Content-Type: application/json\r\n") + "\r\n" + reply.body);
        socket->disconnectFromHost();
    }

    QThread m_thread;
    QObject m_context; // lives on m_thread; parent of the server and its sockets
    quint16 m_port = 0;
    mutable QMutex m_lock;
    QList<HttpRequest> m_requests;
    QList<HttpAnswer> m_script;
    QMap<QByteArray, HttpAnswer> m_routes;
    QList<QPointer<QTcpSocket>> m_held;
    bool m_holding = false;
};

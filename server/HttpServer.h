// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "server/HttpRequestParser.h"
#include "server/HttpResponse.h"

#include <QHostAddress>
#include <QHash>
#include <QObject>
#include <QTcpServer>
#include <functional>

// A small HTTP/1.1 server on QTcpServer: persistent connections, pipelining handled in
// order, "100-continue", chunked request bodies, and limits on head size, body size,
// idle time, the time to receive a request, and the number of open connections, in all
// and per client address. Handlers run on the event-loop thread.
class HttpServer : public QObject {
    Q_OBJECT
public:
    using Handler = std::function<HttpResponse(const HttpRequest &)>;
    struct Options {
        HttpRequestParser::Limits limits;
        int idleTimeoutMs = 30000;
        int requestTimeoutMs = 10000; // from a request's first byte to its last
        int maxConnections = 256;
        int maxConnectionsPerAddress = 16; // so one client cannot take every slot
    };

    HttpServer(Options options, Handler handler, QObject *parent = nullptr);

    bool listen(const QHostAddress &address, quint16 port);
    quint16 port() const { return m_server.serverPort(); }
    QString errorString() const { return m_server.errorString(); }

private:
    void acceptPending();

    Options m_options;
    Handler m_handler;
    QTcpServer m_server;
    int m_open = 0;
    QHash<QHostAddress, int> m_openPerAddress;
};

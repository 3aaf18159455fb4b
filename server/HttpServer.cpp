// SPDX-License-Identifier: GPL-3.0-or-later
#include "server/HttpServer.h"

#include "server/HttpConnection.h"

#include <QTcpSocket>

HttpServer::HttpServer(Options options, Handler handler, QObject *parent)
    : QObject(parent)
    , m_options(options)
    , m_handler(std::move(handler))
{
    m_server.setMaxPendingConnections(64);
    connect(&m_server, &QTcpServer::newConnection, this, &HttpServer::acceptPending);
}

bool HttpServer::listen(const QHostAddress &address, quint16 port)
{
    return m_server.listen(address, port);
}

void HttpServer::acceptPending()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        const QHostAddress peer = socket->peerAddress();
        if (m_open >= m_options.maxConnections || m_openPerAddress.value(peer) >= m_options.maxConnectionsPerAddress) {
            socket->abort();
            socket->deleteLater();
            continue;
        }
        ++m_open;
        ++m_openPerAddress[peer];
        auto *connection = new HttpConnection(socket, m_options, m_handler, this);
        connect(connection, &HttpConnection::closed, this, [this, peer] {
            --m_open;
            if (--m_openPerAddress[peer] == 0)
                m_openPerAddress.remove(peer);
        });
    }
}

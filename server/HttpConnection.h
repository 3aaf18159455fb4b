// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "server/HttpServer.h"

#include <QElapsedTimer>
#include <QTimer>

class QTcpSocket;

// One client connection: reads requests, answers them in order, and closes on request,
// on a framing error, when idle or when a request takes too long to arrive. After an error answer it keeps reading and discarding
// for a moment ("lingering close"), so the client receives the answer rather than a reset.
class HttpConnection : public QObject {
    Q_OBJECT
public:
    HttpConnection(QTcpSocket *socket, const HttpServer::Options &options,
                   const HttpServer::Handler &handler, QObject *parent);

signals:
    void closed();

private:
    void onReadyRead();
    void armTimer();
    void processBuffer();
    void answer(const HttpRequest &request);
    void answerError(int status, const QString &message);
    void startLingering();
    void onTimeout();
    void onBytesWritten();
    void finish();

    QTcpSocket *m_socket;
    HttpServer::Options m_options;
    HttpServer::Handler m_handler;
    HttpRequestParser m_parser;
    QByteArray m_buffer;
    QTimer m_timer;
    QElapsedTimer m_lingerClock;
    QElapsedTimer m_requestClock; // runs from the first byte of a request until it is complete
    bool m_closing = false;   // the last answer said "Connection: close"
    bool m_lingering = false; // write side shut; discarding input until the peer goes
    bool m_continueSent = false;
    bool m_finished = false;
};

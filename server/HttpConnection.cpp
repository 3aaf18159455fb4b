// SPDX-License-Identifier: GPL-3.0-or-later
#include "server/HttpConnection.h"

#include <QJsonObject>
#include <QTcpSocket>
#include <algorithm>
#include <sys/socket.h>

namespace {
constexpr int lingerIdleMs = 2000;
constexpr int lingerTotalMs = 5000;
constexpr qsizetype readChunk = 64 * 1024;
}

HttpConnection::HttpConnection(QTcpSocket *socket, const HttpServer::Options &options,
                               const HttpServer::Handler &handler, QObject *parent)
    : QObject(parent)
    , m_socket(socket)
    , m_options(options)
    , m_handler(handler)
    , m_parser(options.limits)
{
    socket->setParent(this);
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &HttpConnection::onTimeout);
    connect(socket, &QTcpSocket::readyRead, this, &HttpConnection::onReadyRead);
    connect(socket, &QTcpSocket::bytesWritten, this, &HttpConnection::onBytesWritten);
    connect(socket, &QTcpSocket::disconnected, this, &HttpConnection::finish);
    m_timer.start(m_options.idleTimeoutMs);
}

void HttpConnection::onReadyRead()
{
    if (m_lingering || m_closing) {
        m_socket->readAll(); // discard: the answer has been given
        if (m_lingering)
            m_timer.start(std::min<qint64>(lingerIdleMs, std::max<qint64>(0, lingerTotalMs - m_lingerClock.elapsed())));
        return;
    }
    if (!m_requestClock.isValid() && m_socket->bytesAvailable() > 0)
        m_requestClock.start();
    // Read in slices so one huge burst is checked against the limits as it arrives.
    while (m_socket->bytesAvailable() > 0 && !m_closing) {
        m_buffer += m_socket->read(readChunk);
        processBuffer();
    }
    if (!m_closing)
        armTimer();
}

void HttpConnection::armTimer()
{
    // Each byte restarts the idle wait, but a request must also arrive whole within the
    // request timeout of its first byte, however slowly it trickles in.
    qint64 wait = m_options.idleTimeoutMs;
    if (m_requestClock.isValid())
        wait = std::clamp<qint64>(m_options.requestTimeoutMs - m_requestClock.elapsed(), 0, wait);
    m_timer.start(static_cast<int>(wait));
}

void HttpConnection::processBuffer()
{
    while (!m_closing) {
        const auto result = m_parser.feed(m_buffer);
        if (result == HttpRequestParser::Result::Error) {
            answerError(m_parser.errorStatus(), m_parser.errorMessage());
            return;
        }
        if (result == HttpRequestParser::Result::NeedMore) {
            if (m_parser.awaitsContinue() && !m_continueSent) {
                m_socket->write("HTTP/1.1 100 Continue\r\n\r\n");
                m_continueSent = true;
            }
            return;
        }
        m_continueSent = false;
        answer(m_parser.takeRequest());
        if (m_buffer.isEmpty())
            m_requestClock.invalidate();
        else
            m_requestClock.start(); // the rest begins the next request
    }
}

void HttpConnection::answer(const HttpRequest &request)
{
    HttpResponse response;
    try {
        response = m_handler(request);
    } catch (...) {
        response = HttpResponse::error(500, QStringLiteral("internal"), QStringLiteral("internal error"));
    }
    const bool keepAlive = request.keepAlive() && response.status < 500;
    m_socket->write(response.serialize(keepAlive, request.method == "HEAD"));
    if (!keepAlive) {
        m_closing = true;
        m_buffer.clear();
        onBytesWritten();
    }
}

void HttpConnection::answerError(int status, const QString &message)
{
    const HttpResponse response = HttpResponse::error(status, QStringLiteral("bad_request"), message);
    m_socket->write(response.serialize(false, false));
    m_closing = true;
    m_buffer.clear();
    onBytesWritten();
}

void HttpConnection::onBytesWritten()
{
    if (m_closing && !m_lingering && m_socket->bytesToWrite() == 0)
        startLingering();
}

void HttpConnection::startLingering()
{
    // Closing at once while the client still sends would reset the connection and could
    // destroy the answer in flight; shut only the sending side and drain for a while.
    m_lingering = true;
    m_lingerClock.start();
    m_socket->flush();
    ::shutdown(static_cast<int>(m_socket->socketDescriptor()), SHUT_WR);
    m_socket->readAll();
    m_timer.start(lingerIdleMs);
}

void HttpConnection::onTimeout()
{
    // Out of time with part of a request received: say so. Idle, or only blank lines: just close.
    if (!m_lingering && !m_closing && !m_parser.idle()) {
        answerError(408, QStringLiteral("request not completed in time"));
        return;
    }
    m_socket->abort();
    finish();
}

void HttpConnection::finish()
{
    if (m_finished)
        return;
    m_finished = true;
    m_timer.stop();
    emit closed();
    deleteLater();
}

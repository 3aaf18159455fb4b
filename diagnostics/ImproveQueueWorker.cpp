// SPDX-License-Identifier: GPL-3.0-or-later
#include "diagnostics/ImproveQueueWorker.h"

#include "common/Clock.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>

ImproveQueueWorker::ImproveQueueWorker(Setup setup, Clock &clock)
    : m_setup(std::move(setup))
    , m_clock(clock)
    , m_file(m_setup.filePath)
{
}

void ImproveQueueWorker::append(const QByteArray &line)
{
    m_file.append(line);
    if (m_file.readLines().size() >= batchSize)
        flush();
}

void ImproveQueueWorker::flush(const Done &done, const TokenFetch &token)
{
    const auto finish = [&done] {
        if (done)
            done();
    };
    if (!m_setup.enabled() || m_inFlight) {
        finish();
        return;
    }
    const QList<QByteArray> lines = m_file.readLines();
    if (lines.isEmpty()) {
        finish();
        return;
    }
    const double cutoff = double(m_clock.now().toMSecsSinceEpoch()) / 1000.0 - maxAgeSeconds;
    QList<QByteArray> batch, remainder;
    for (const QByteArray &line : lines) {
        const auto t = ImproveEvents::eventTime(line);
        if (!t || *t < cutoff)
            continue; // corrupt or expired: dropped
        (batch.size() < batchSize ? batch : remainder).append(line);
    }
    if (batch.isEmpty()) {
        m_file.rewrite(remainder);
        finish();
        return;
    }
    const QByteArray body = ImproveEvents::uploadBody(m_setup.environment, batch);
    m_inFlight = true;
    (token ? token : m_setup.fetchToken)([=, this](const QString &bearer) {
        send(body, bearer, lines, remainder, done);
    });
}

void ImproveQueueWorker::send(const QByteArray &body, const QString &token, const QList<QByteArray> &sentPrefix,
                              const QList<QByteArray> &remainder, const Done &done)
{
    if (!m_network)
        m_network = new QNetworkAccessManager(this);
    QNetworkRequest request(m_setup.endpoint);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    if (!token.isEmpty())
        request.setRawHeader("Authorization", "Bearer " + token.toUtf8());
    request.setTransferTimeout(requestTimeoutMs);
    QNetworkReply *reply = m_network->post(request, body);
    connect(reply, &QNetworkReply::finished, this, [=, this] {
        reply->deleteLater();
        answered(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), sentPrefix, remainder);
        if (done)
            done();
    });
}

void ImproveQueueWorker::answered(int status, const QList<QByteArray> &sentPrefix, const QList<QByteArray> &remainder)
{
    m_inFlight = false;
    if (status < 200 || status > 499)
        return; // network failure or server error: the same events go again later
    // Keep the remainder and every line appended since the flush read the file. If the
    // file was cleared meanwhile, the lines that are there now are all newer.
    const QList<QByteArray> now = m_file.readLines();
    if (now.mid(0, sentPrefix.size()) != sentPrefix)
        return;
    m_file.rewrite(remainder + now.mid(sentPrefix.size()));
}

void ImproveQueueWorker::startTimer(int firstMs, int intervalMs)
{
    if (m_timer && m_timer->isActive())
        return;
    if (!m_timer) {
        m_timer = new QTimer(this);
        m_timer->setTimerType(Qt::PreciseTimer); // no leeway
        connect(m_timer, &QTimer::timeout, this, [this, intervalMs] {
            m_timer->setInterval(intervalMs);
            flush();
        });
    }
    m_timer->start(firstMs);
}

void ImproveQueueWorker::stopTimer()
{
    if (m_timer)
        m_timer->stop();
}

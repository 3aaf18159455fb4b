// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The usage reporter's private serial queue. Lives on its own thread; every access to
// the queue file and to `inFlight` happens here, and so does the upload, so that the
// synchronous flush at quit works while the main thread waits.
#include "diagnostics/ImproveEvents.h"
#include "diagnostics/ImproveQueueFile.h"

#include <QObject>
#include <QUrl>
#include <atomic>
#include <functional>

class Clock;
class QNetworkAccessManager;
class QTimer;

class ImproveQueueWorker : public QObject {
    Q_OBJECT
public:
    using Done = std::function<void()>;
    // Hands the bearer token ("" = none) to the continuation, on this worker's thread.
    using TokenFetch = std::function<void(std::function<void(const QString &token)>)>;

    struct Setup {
        QString filePath;
        QUrl endpoint;
        ImproveEvents::Environment environment;
        std::function<bool()> enabled; // thread-safe
        TokenFetch fetchToken;         // asks the main thread
    };
    ImproveQueueWorker(Setup setup, Clock &clock);

    static constexpr int batchSize = 200;
    static constexpr qint64 maxAgeSeconds = 604800;
    static constexpr int requestTimeoutMs = 20000;

    void append(const QByteArray &line);
    // Sends up to 200 events; `done` runs once the answer is processed or nothing is sent.
    void flush(const Done &done = {}, const TokenFetch &token = {});
    void clear() { m_file.remove(); }
    void startTimer(int firstMs, int intervalMs); // no effect while it runs
    void stopTimer();
    bool inFlight() const { return m_inFlight; }

private:
    // `sentPrefix`: every line the flush read, which a 2xx-4xx answer removes.
    void send(const QByteArray &body, const QString &token, const QList<QByteArray> &sentPrefix,
              const QList<QByteArray> &remainder, const Done &done);
    void answered(int status, const QList<QByteArray> &sentPrefix, const QList<QByteArray> &remainder);

    Setup m_setup;
    Clock &m_clock;
    ImproveQueueFile m_file;
    std::atomic<bool> m_inFlight = false;
    QNetworkAccessManager *m_network = nullptr;
    QTimer *m_timer = nullptr;
};

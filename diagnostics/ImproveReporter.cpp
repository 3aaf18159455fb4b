// SPDX-License-Identifier: GPL-3.0-or-later
#include "diagnostics/ImproveReporter.h"

#include "common/Clock.h"
#include "common/FileSafety.h"
#include "diagnostics/ImproveEvents.h"
#include "diagnostics/ImproveQueueWorker.h"

#include <QCoreApplication>
#include <QSemaphore>
#include <memory>

ImproveReporter::ImproveReporter(DefaultsStore &defaults, const QString &serviceRoot, const QString &directory,
                                 Clock &clock, ImproveReporterOptions options, QObject *parent)
    : QObject(parent)
    , m_config(defaults, serviceRoot)
    , m_clock(clock)
    , m_options(options)
    , m_filePath(directory + QStringLiteral("/improve-queue.jsonl"))
    , m_enabled(m_config.enabled())
{
    FileSafety::ensurePrivateDir(directory); // failure ignored: events are then lost

    ImproveQueueWorker::Setup setup;
    setup.filePath = m_filePath;
    setup.endpoint = m_config.endpoint();
    setup.environment = {m_config.installID(),        DiagnosticsConfig::appVersion(), DiagnosticsConfig::build(),
                         DiagnosticsConfig::osVersion(), DiagnosticsConfig::arch(),     DiagnosticsConfig::locale()};
    setup.enabled = [this] { return m_enabled.load(); };
    // The token is read on the main thread, then the worker goes on.
    setup.fetchToken = [this](std::function<void(const QString &)> next) {
        QMetaObject::invokeMethod(this, [this, next] {
            const QString token = currentToken();
            QMetaObject::invokeMethod(m_worker, [next, token] { next(token); });
        });
    };
    m_worker = new ImproveQueueWorker(std::move(setup), m_clock);
    m_worker->moveToThread(&m_thread);
    connect(&m_thread, &QThread::finished, m_worker, &QObject::deleteLater);
    m_thread.setObjectName(QStringLiteral("ImproveReporter"));
    m_thread.start(QThread::LowPriority); // utility quality of service
}

ImproveReporter::~ImproveReporter()
{
    m_thread.quit();
    m_thread.wait();
}

void ImproveReporter::start()
{
    m_started = true;
    const bool on = enabled();
    scheduleFlushes(on);
    if (!on)
        clearQueue();
}

// Only while reporting is on: otherwise a flush could send nothing, and its timer would still
// wake the process every quarter of an hour.
void ImproveReporter::scheduleFlushes(bool on)
{
    QMetaObject::invokeMethod(m_worker, [worker = m_worker, on, first = m_options.firstFlushMs,
                                         interval = m_options.flushIntervalMs] {
        if (on)
            worker->startTimer(first, interval);
        else
            worker->stopTimer();
    });
}

void ImproveReporter::record(const QString &name, const QVariantMap &properties)
{
    if (!enabled())
        return;
    const QByteArray line = ImproveEvents::eventLine(m_clock.now(), name, ImproveEvents::sanitize(properties));
    QMetaObject::invokeMethod(m_worker, [worker = m_worker, line] { worker->append(line); });
}

bool ImproveReporter::flushNow(bool sync)
{
    if (!sync) {
        QMetaObject::invokeMethod(m_worker, [worker = m_worker] { worker->flush(); });
        return true;
    }
    // The main thread is about to wait: take the token now instead of asking it later.
    const QString token = currentToken();
    auto done = std::make_shared<QSemaphore>();
    QMetaObject::invokeMethod(m_worker, [worker = m_worker, done, token] {
        worker->flush([done] { done->release(); }, [token](auto next) { next(token); });
    });
    return done->tryAcquire(1, m_options.syncFlushTimeoutMs);
}

void ImproveReporter::clearQueue()
{
    refreshEnabled();
    QMetaObject::invokeMethod(m_worker, [worker = m_worker] { worker->clear(); });
}

void ImproveReporter::refreshEnabled()
{
    const bool on = m_config.enabled();
    if (m_enabled.exchange(on) != on && m_started)
        scheduleFlushes(on);
}

bool ImproveReporter::inFlight() const
{
    return m_worker->inFlight();
}

void ImproveReporter::waitForWorker() const
{
    QMetaObject::invokeMethod(m_worker, [] {}, Qt::BlockingQueuedConnection);
}

bool ImproveReporter::enabled()
{
    // The defaults store belongs to the main thread; other threads use the last value read.
    if (QThread::currentThread() == thread())
        refreshEnabled();
    return m_enabled;
}

QString ImproveReporter::currentToken() const
{
    if (!tokenProvider)
        return {};
    return tokenProvider().value_or(QString());
}

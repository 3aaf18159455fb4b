// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Anonymous usage statistics ("Help improve Stashwell"), queued in
// "improve-queue.jsonl" and uploaded in batches of up to 200 events.
#include "diagnostics/DiagnosticsConfig.h"

#include <QObject>
#include <QThread>
#include <QVariantMap>
#include <atomic>
#include <functional>
#include <optional>

class Clock;
class DefaultsStore;
class ImproveQueueWorker;

struct ImproveReporterOptions {
    int firstFlushMs = 60 * 1000;     // the flush timer's first firing after start()
    int flushIntervalMs = 900 * 1000; // then every 15 minutes
    int syncFlushTimeoutMs = 2000;    // the longest flushNow(true) waits
};

class ImproveReporter : public QObject {
    Q_OBJECT
public:
    // `directory`: the diagnostics directory, created (0700) here.
    ImproveReporter(DefaultsStore &defaults, const QString &serviceRoot, const QString &directory, Clock &clock,
                    ImproveReporterOptions options = {}, QObject *parent = nullptr);
    ~ImproveReporter() override;
    static ImproveReporter &shared();

    // The bearer token of a signed-in user (keychain item "cloudToken"); called on the main thread.
    std::function<std::optional<QString>()> tokenProvider;

    // Starts the flush timer while reporting is on (and again whenever it is switched on);
    // clears the queue when reporting is off.
    void start();
    // Callable from any thread; returns at once. Does nothing while reporting is off.
    void record(const QString &name, const QVariantMap &properties);
    // With `sync`, waits until the answer is processed, at most 2 seconds; true when it finished.
    bool flushNow(bool sync);
    // Deletes the queue file (on the worker). Run when "improveDataSharing" becomes false.
    void clearQueue();
    // Re-reads the switch from the defaults store (main thread) for the other threads.
    void refreshEnabled();

    QString fileURL() const { return m_filePath; }
    bool inFlight() const;
    // Returns once the worker has handled everything handed to it so far.
    void waitForWorker() const;

private:
    bool enabled();
    void scheduleFlushes(bool on);
    QString currentToken() const;

    ImproveConfig m_config;
    Clock &m_clock;
    ImproveReporterOptions m_options;
    QString m_filePath;
    std::atomic<bool> m_enabled;
    bool m_started = false; // main thread
    QThread m_thread;
    ImproveQueueWorker *m_worker = nullptr;
};

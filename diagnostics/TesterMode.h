// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The hidden tester mode. While on, the tail of the tester log and this process's
// own system log go to the vendor's web service every 30 minutes. Eight quick clicks on the
// settings window's icon switch it (registerClick()).
#include <QDateTime>
#include <QObject>
#include <QThreadPool>
#include <QTimer>
#include <QUrl>
#include <functional>

class Clock;
class DebugLog;
class DefaultsStore;
class QNetworkAccessManager;

struct TesterModeOptions {
    int uploadIntervalMs = 1800 * 1000;
    // The unified-log export since a date (OwnProcessLog::exportSince); runs off the main thread.
    std::function<QString(const QDateTime &since)> exportUnifiedLog;
};

class TesterMode : public QObject {
    Q_OBJECT
public:
    TesterMode(DefaultsStore &defaults, DebugLog &log, Clock &clock, const QString &serviceRoot,
               TesterModeOptions options, QObject *parent = nullptr);
    ~TesterMode() override;
    static TesterMode &shared();

    static constexpr qsizetype maxReportCharacters = 700000;
    static constexpr int clicksToToggle = 8;
    static constexpr qint64 clickGapMs = 2000;
    static constexpr int requestTimeoutMs = 60000;

    bool enabled() const { return m_enabled; }
    QDateTime lastExport() const { return m_lastExport; }
    bool timerActive() const { return m_timer.isActive(); }

    void start();   // at launch: when on, log the session start, schedule, upload
    void toggle();
    void registerClick(); // TesterModeIcon: eight clicks, each within 2 s of the previous
    void upload();

    // "== app log (DebugLog) ==\n" + tail + the unified-log section, keeping its last 700000 characters.
    static QString reportText(const QString &appLogTail, const QDateTime &since, const QString &unifiedLog);

signals:
    void enabledChanged(bool enabled);

private:
    void schedule();
    void post(const QByteArray &body);

    DefaultsStore &m_defaults;
    DebugLog &m_log;
    Clock &m_clock;
    QUrl m_endpoint;
    TesterModeOptions m_options;
    bool m_enabled;
    QDateTime m_lastExport;
    QTimer m_timer;
    int m_clicks = 0;
    QDateTime m_lastClick;
    QThreadPool m_background; // the upload's export and serialisation
    QNetworkAccessManager *m_network;
};

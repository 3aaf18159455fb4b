// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The appcast updater: check now with its own dialog, a persisted automatic-check flag, and
// scheduled background checks. Its state lives in the defaults store under the usual appcast
// updater key names (SUEnableAutomaticChecks, SUScheduledCheckInterval, ...).
#include "app/Appcast.h"
#include "app/UpdateUserDriver.h"

#include <QNetworkReply>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QUrl>
#include <functional>

class Clock;
class DefaultsStore;
class QNetworkAccessManager;

class UpdaterController : public QObject {
    Q_OBJECT
public:
    struct Config {
        QUrl feedURL;          // the appcast's address
        QString version;       // the build number: what the feed's sparkle:version is compared with
        QString displayVersion; // the version the user is told
    };
    enum class Outcome { upToDate, updateFound, error, cancelled };
    Q_ENUM(Outcome)

    static constexpr qint64 defaultCheckInterval = 86400; // seconds: daily
    static constexpr qint64 minimumCheckInterval = 3600;
    static constexpr int launchDelayMs = 10000;  // a due check waits this long after launch
    static constexpr qint64 maxFeedBytes = 8 * 1024 * 1024;
    static constexpr int requestTimeoutMs = 30000;

    UpdaterController(DefaultsStore &defaults, Clock &clock, Config config, UpdateUserDriver &driver,
                      QObject *parent = nullptr);
    ~UpdaterController() override;
    static UpdaterController &shared();
    // Whether this build declares a feed (BuildInfo::feedURL): the menu item and the about tab's row
    // exist only then.
    static bool hasFeed();

    // Starts the scheduled checks (at launch, after the first-run guide).
    void start();
    // "Check for Updates…": the user asked; the dialog shows progress and the result.
    void checkForUpdates();
    // A scheduled check: shows only an update that was not skipped; errors stay silent.
    void checkInBackground();

    bool automaticallyChecksForUpdates() const;   // "SUEnableAutomaticChecks", default on
    void setAutomaticallyChecksForUpdates(bool enabled);
    qint64 updateCheckInterval() const;           // "SUScheduledCheckInterval", seconds
    std::optional<QDateTime> lastUpdateCheckDate() const; // "SULastCheckTime"
    QString skippedVersion() const;               // "SUSkippedVersion"

    bool isChecking() const { return m_reply != nullptr; }
    bool isScheduled() const { return m_timer.isActive(); }
    // When the next scheduled check is due, counted from now (for start and tests).
    qint64 msUntilNextCheck() const;

    // Opens "Download" and release-notes pages; tests replace it.
    std::function<void(const QUrl &)> openURL;

signals:
    void checkFinished(UpdaterController::Outcome outcome, bool userInitiated);

private:
    void schedule();
    void beginCheck(bool userInitiated);
    void finishCheck(QNetworkReply *reply);
    void conclude(Outcome outcome);
    void handleChoice(const AppcastItem &item, UpdateUserDriver::Choice choice);

    DefaultsStore &m_defaults;
    Clock &m_clock;
    Config m_config;
    UpdateUserDriver &m_driver;
    QNetworkAccessManager *m_network;
    QPointer<QNetworkReply> m_reply;
    bool m_userInitiated = false;
    bool m_started = false;
    QTimer m_timer;
};

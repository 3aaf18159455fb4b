// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/UpdaterController.h"

#include "common/Clock.h"
#include "platform/DefaultsStore.h"
#include "BuildInfo.h"

#include <QDesktopServices>
#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QNetworkReply>

namespace {

Q_LOGGING_CATEGORY(updateLog, "stashwell.update", QtWarningMsg)

const QString automaticKey = QStringLiteral("SUEnableAutomaticChecks");
const QString intervalKey = QStringLiteral("SUScheduledCheckInterval");
const QString lastCheckKey = QStringLiteral("SULastCheckTime");
const QString skippedKey = QStringLiteral("SUSkippedVersion");

} // namespace

UpdaterController::UpdaterController(DefaultsStore &defaults, Clock &clock, Config config, UpdateUserDriver &driver,
                                     QObject *parent)
    : QObject(parent)
    , m_defaults(defaults)
    , m_clock(clock)
    , m_config(std::move(config))
    , m_driver(driver)
    , m_network(new QNetworkAccessManager(this))
{
    openURL = [](const QUrl &url) { QDesktopServices::openUrl(url); };
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &UpdaterController::checkInBackground);
}

UpdaterController::~UpdaterController()
{
    if (m_reply)
        m_reply->abort();
}

bool UpdaterController::hasFeed()
{
    return *BuildInfo::feedURL != '\0';
}

void UpdaterController::start()
{
    m_started = true;
    schedule();
}

bool UpdaterController::automaticallyChecksForUpdates() const
{
    return m_defaults.boolValue(automaticKey).value_or(true);
}

void UpdaterController::setAutomaticallyChecksForUpdates(bool enabled)
{
    m_defaults.set(automaticKey, enabled);
    schedule();
}

qint64 UpdaterController::updateCheckInterval() const
{
    return qMax(minimumCheckInterval, m_defaults.intValue(intervalKey).value_or(defaultCheckInterval));
}

std::optional<QDateTime> UpdaterController::lastUpdateCheckDate() const
{
    const auto text = m_defaults.stringValue(lastCheckKey);
    if (!text)
        return std::nullopt;
    const QDateTime date = QDateTime::fromString(*text, Qt::ISODateWithMs);
    return date.isValid() ? std::optional(date) : std::nullopt;
}

QString UpdaterController::skippedVersion() const
{
    return m_defaults.stringValue(skippedKey).value_or(QString());
}

qint64 UpdaterController::msUntilNextCheck() const
{
    const qint64 intervalMs = updateCheckInterval() * 1000;
    const auto last = lastUpdateCheckDate();
    const QDateTime now = m_clock.now();
    qint64 wait = last ? now.msecsTo(last->addMSecs(intervalMs)) : 0;
    if (wait > intervalMs) // the last check lies in the future: the clock was set back
        wait = intervalMs;
    return qMax<qint64>(wait, launchDelayMs);
}

void UpdaterController::schedule()
{
    m_timer.stop();
    if (!m_started || !m_config.feedURL.isValid() || !automaticallyChecksForUpdates())
        return;
    m_timer.start(int(qMin<qint64>(msUntilNextCheck(), std::numeric_limits<int>::max())));
}

void UpdaterController::checkForUpdates()
{
    beginCheck(true);
}

void UpdaterController::checkInBackground()
{
    beginCheck(false);
}

void UpdaterController::beginCheck(bool userInitiated)
{
    if (userInitiated) {
        m_userInitiated = true; // also takes over a background check that is under way
        m_driver.showChecking([this] {
            if (m_reply) {
                m_reply->setProperty("cancelledByUser", true);
                m_reply->abort();
            }
        });
    }
    if (m_reply)
        return;
    if (!Appcast::isWebURL(m_config.feedURL)) {
        conclude(Outcome::error);
        return;
    }
    QNetworkRequest request(m_config.feedURL);
    request.setTransferTimeout(requestTimeoutMs);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setHeader(QNetworkRequest::UserAgentHeader, QStringLiteral("Stashwell/%1").arg(m_config.displayVersion));
    request.setRawHeader("Accept", "application/rss+xml, application/xml;q=0.9, text/xml;q=0.9, */*;q=0.5");
    m_reply = m_network->get(request);
    QNetworkReply *reply = m_reply;
    connect(reply, &QNetworkReply::downloadProgress, this, [reply](qint64 received) {
        if (received > maxFeedBytes)
            reply->abort();
    });
    connect(reply, &QNetworkReply::finished, this, [this, reply] { finishCheck(reply); });
}

void UpdaterController::finishCheck(QNetworkReply *reply)
{
    reply->deleteLater();
    m_reply = nullptr;
    m_defaults.set(lastCheckKey, m_clock.now().toString(Qt::ISODateWithMs));
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (reply->error() != QNetworkReply::NoError || status >= 400) {
        qCInfo(updateLog).noquote() << "feed request failed:" << reply->errorString() << status;
        // A time-out or a feed over the size limit is an abort too, but an error.
        conclude(reply->property("cancelledByUser").toBool() ? Outcome::cancelled : Outcome::error);
        return;
    }
    const Appcast::Parsed parsed = Appcast::parse(reply->readAll());
    if (!parsed.items) {
        qCInfo(updateLog).noquote() << "feed not understood:" << parsed.error;
        conclude(Outcome::error);
        return;
    }
    const QString skipped = m_userInitiated ? QString() : skippedVersion();
    const auto update = Appcast::bestUpdate(*parsed.items, m_config.version, skipped);
    if (!update) {
        conclude(Outcome::upToDate);
        return;
    }
    const bool userInitiated = m_userInitiated;
    m_userInitiated = false;
    m_driver.showUpdateFound(*update, m_config.displayVersion, [this, item = *update](UpdateUserDriver::Choice choice) {
        handleChoice(item, choice);
    });
    emit checkFinished(Outcome::updateFound, userInitiated);
    schedule();
}

void UpdaterController::conclude(Outcome outcome)
{
    const bool userInitiated = m_userInitiated;
    m_userInitiated = false;
    if (userInitiated) {
        if (outcome == Outcome::upToDate)
            m_driver.showUpToDate(m_config.displayVersion);
        else if (outcome == Outcome::error)
            m_driver.showError();
        else
            m_driver.dismiss();
    }
    emit checkFinished(outcome, userInitiated);
    schedule();
}

void UpdaterController::handleChoice(const AppcastItem &item, UpdateUserDriver::Choice choice)
{
    if (choice == UpdateUserDriver::Choice::skip)
        m_defaults.set(skippedKey, item.version);
    else if (choice == UpdateUserDriver::Choice::download && openURL)
        openURL(item.pageURL());
}

// SPDX-License-Identifier: GPL-3.0-or-later
#include "diagnostics/TesterMode.h"

#include "common/Clock.h"
#include "common/OrderedJson.h"
#include "diagnostics/DebugLog.h"
#include "diagnostics/DiagnosticsConfig.h"
#include "diagnostics/TextTail.h"
#include "platform/DefaultsStore.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>

namespace {
const QString enabledKey = QStringLiteral("testerModeEnabled");
const QString lastExportKey = QStringLiteral("testerLastExport");

// The defaults store has no date type: an ISO 8601 string with milliseconds.
QDateTime storedDate(const DefaultsStore &defaults)
{
    const auto text = defaults.stringValue(lastExportKey);
    return text ? QDateTime::fromString(*text, Qt::ISODateWithMs) : QDateTime();
}

// A date's default textual form, as Foundation prints it: "2026-03-01 09:30:00 +0000".
QString dateDescription(const QDateTime &date)
{
    return date.toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) + QStringLiteral(" +0000");
}
} // namespace

TesterMode::TesterMode(DefaultsStore &defaults, DebugLog &log, Clock &clock, const QString &serviceRoot,
                       TesterModeOptions options, QObject *parent)
    : QObject(parent)
    , m_defaults(defaults)
    , m_log(log)
    , m_clock(clock)
    , m_endpoint(DiagnosticsConfig::endpoint(serviceRoot, QStringLiteral("/api/testlog")))
    , m_options(std::move(options))
    , m_enabled(defaults.boolValue(enabledKey).value_or(false))
    , m_network(new QNetworkAccessManager(this))
{
    m_lastExport = storedDate(defaults);
    if (!m_lastExport.isValid())
        m_lastExport = m_clock.now().addSecs(-1800);
    m_timer.setInterval(m_options.uploadIntervalMs);
    connect(&m_timer, &QTimer::timeout, this, &TesterMode::upload);
    m_background.setMaxThreadCount(1);
}

TesterMode::~TesterMode()
{
    m_background.waitForDone();
}

void TesterMode::start()
{
    if (!m_enabled)
        return;
    m_log.append(QStringLiteral("tester: session start (v%1 build %2)")
                     .arg(DiagnosticsConfig::appVersion(), DiagnosticsConfig::build()));
    schedule();
    upload();
}

void TesterMode::toggle()
{
    m_enabled = !m_enabled;
    m_defaults.set(enabledKey, m_enabled);
    emit enabledChanged(m_enabled);
    if (m_enabled) {
        m_log.append(QStringLiteral("tester: mode ON"));
        schedule();
        upload();
    } else {
        m_log.append(QStringLiteral("tester: mode OFF"));
        upload();
        m_timer.stop();
    }
}

void TesterMode::registerClick()
{
    const QDateTime now = m_clock.now();
    if (!m_lastClick.isValid() || m_lastClick.msecsTo(now) > clickGapMs)
        m_clicks = 0;
    m_lastClick = now;
    if (++m_clicks == clicksToToggle) {
        m_clicks = 0;
        toggle();
    }
}

void TesterMode::schedule()
{
    m_timer.start(); // restarts a running timer
}

void TesterMode::upload()
{
    const QDateTime since = m_lastExport;
    m_lastExport = m_clock.now();
    // Stored before the upload: a failed upload does not resend the same period.
    m_defaults.set(lastExportKey, m_lastExport.toUTC().toString(Qt::ISODateWithMs));
    const QString tail = m_log.readTail();
    if (!m_endpoint.isValid() || !m_options.exportUnifiedLog)
        return; // no service: nothing is sent
    const QStringList fields{DiagnosticsConfig::installID(m_defaults), DiagnosticsConfig::appVersion(),
                             DiagnosticsConfig::build(), DiagnosticsConfig::osVersion()};
    m_background.start([this, since, tail, fields, exportLog = m_options.exportUnifiedLog] {
        const QByteArray body = OrderedJsonObject()
                                    .add(QLatin1StringView("type"), QStringLiteral("testlog"))
                                    .add(QLatin1StringView("app"), QStringLiteral("stashwell"))
                                    .add(QLatin1StringView("installID"), fields[0])
                                    .add(QLatin1StringView("appVersion"), fields[1])
                                    .add(QLatin1StringView("build"), fields[2])
                                    .add(QLatin1StringView("osVersion"), fields[3])
                                    .add(QLatin1StringView("log"), reportText(tail, since, exportLog(since)))
                                    .finish();
        QMetaObject::invokeMethod(this, [this, body] { post(body); });
    });
}

QString TesterMode::reportText(const QString &appLogTail, const QDateTime &since, const QString &unifiedLog)
{
    const QString text = QStringLiteral("== app log (DebugLog) ==\n") + appLogTail +
                         QStringLiteral("\n\n== unified log (own process, since ") + dateDescription(since) +
                         QStringLiteral(") ==\n") + unifiedLog;
    return TextTail::lastCharacters(text, maxReportCharacters);
}

void TesterMode::post(const QByteArray &body)
{
    QNetworkRequest request(m_endpoint);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    request.setTransferTimeout(requestTimeoutMs);
    QNetworkReply *reply = m_network->post(request, body);
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater); // not examined, not retried
}

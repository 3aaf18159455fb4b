// SPDX-License-Identifier: GPL-3.0-or-later
#include "diagnostics/DiagnosticsConfig.h"

#include "BuildInfo.h"
#include "platform/DefaultsStore.h"

#include <QLocale>
#include <QSysInfo>
#include <QUuid>

namespace DiagnosticsConfig {

namespace {
const QString installIDKey = QStringLiteral("crashInstallID");

QString orUnknown(const char *value)
{
    const QString text = QString::fromUtf8(value);
    return text.isEmpty() ? QStringLiteral("?") : text;
}
} // namespace

QString serviceRoot()
{
    if (qEnvironmentVariableIsSet("STASHWELL_SERVICE_URL"))
        return qEnvironmentVariable("STASHWELL_SERVICE_URL").trimmed();
    return QString::fromUtf8(BuildInfo::serviceURL).trimmed();
}

QUrl endpoint(const QString &root, const QString &path)
{
    if (root.isEmpty())
        return {};
    QString base = root;
    while (base.endsWith(QLatin1Char('/')))
        base.chop(1);
    const QUrl url(base + path, QUrl::StrictMode);
    const QString scheme = url.scheme();
    if (!url.isValid() || url.host().isEmpty() || (scheme != QLatin1String("http") && scheme != QLatin1String("https")))
        return {};
    return url;
}

QString installID(DefaultsStore &defaults)
{
    if (const auto stored = defaults.stringValue(installIDKey))
        return *stored;
    const QString id = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    defaults.set(installIDKey, id);
    return id;
}

bool switchOn(const DefaultsStore &defaults, const QString &key)
{
    return defaults.boolValue(key).value_or(true);
}

QString appVersion() { return orUnknown(BuildInfo::version); }
QString build() { return orUnknown(BuildInfo::buildNumber); }
QString osVersion() { return QSysInfo::prettyProductName(); }
QString arch() { return QSysInfo::buildCpuArchitecture(); }
QString locale() { return QLocale::system().name(); }

} // namespace DiagnosticsConfig

ImproveConfig::ImproveConfig(DefaultsStore &defaults, const QString &serviceRoot)
    : m_defaults(defaults)
    , m_endpoint(DiagnosticsConfig::endpoint(serviceRoot, QStringLiteral("/api/improve")))
{
}

bool ImproveConfig::enabled() const
{
    // Without a service nothing is queued either: the events could never be sent.
    return m_endpoint.isValid() && DiagnosticsConfig::switchOn(m_defaults, QStringLiteral("improveDataSharing"));
}

CrashConfig::CrashConfig(DefaultsStore &defaults, const QString &serviceRoot)
    : m_defaults(defaults)
    , m_endpoint(DiagnosticsConfig::endpoint(serviceRoot, QStringLiteral("/api/crash")))
{
}

bool CrashConfig::reportingEnabled() const
{
    return DiagnosticsConfig::switchOn(m_defaults, QStringLiteral("crashReportingEnabled"));
}

#include "app/AppSettings.h"

#include "platform/DefaultsStore.h"
#include "platform/LoginItem.h"

#include <QJsonArray>
#include <QtDebug>

namespace {

QJsonValue toJson(bool v) { return v; }
QJsonValue toJson(qint64 v) { return v; }
QJsonValue toJson(const QStringList &v) { return QJsonArray::fromStringList(v); }

} // namespace

AppSettings::AppSettings(DefaultsStore &defaults, LoginItem &loginItem, QObject *parent)
    : QObject(parent)
    , m_defaults(defaults)
    , m_loginItem(loginItem)
{
    // A stored value of another type falls back to the default (and is left as it is).
    const auto readBool = [&](const char *key, bool &field) { field = defaults.boolValue(key).value_or(field); };
    const auto readInt = [&](const char *key, qint64 &field) { field = defaults.intValue(key).value_or(field); };
    readBool("onboardingCompleted", m_onboardingCompleted);
    readBool("launchAtLogin", m_launchAtLogin);
    m_languageCode = defaults.stringValue(QStringLiteral("languageCode"));
    readInt("historyLimit", m_historyLimit);
    readInt("historyRetentionDays", m_historyRetentionDays);
    readBool("moveToTopOnPaste", m_moveToTopOnPaste);
    readBool("copyInsteadOfPaste", m_copyInsteadOfPaste);
    readBool("alwaysPlainText", m_alwaysPlainText);
    readBool("restoreClipboardAfterPaste", m_restoreClipboardAfterPaste);
    readBool("clearOnQuit", m_clearOnQuit);
    readBool("monitoringPaused", m_monitoringPaused);
    readBool("builtInExclusionsEnabled", m_builtInExclusionsEnabled);
    m_excludedBundleIDs = defaults.stringListValue(QStringLiteral("excludedBundleIDs")).value_or(QStringList());
    readBool("crashReportingEnabled", m_crashReportingEnabled);
    readBool("improveDataSharing", m_improveDataSharing);

    if (!defaults.contains(QStringLiteral("launchAtLogin"))) { // the very first start
        defaults.set(QStringLiteral("launchAtLogin"), true);
        applyLoginItem(true);
    }
}

template <typename T> void AppSettings::assign(T &field, const T &value, const char *key)
{
    field = value;
    emit changed(QString::fromLatin1(key));
    m_defaults.set(QString::fromLatin1(key), toJson(value));
}

void AppSettings::applyLoginItem(bool enabled)
{
    const QString error = enabled ? m_loginItem.registerItem() : m_loginItem.unregisterItem();
    if (!error.isEmpty())
        qWarning().noquote() << "Stashwell: launch-at-login update failed: " + error;
}

void AppSettings::setOnboardingCompleted(bool v) { assign(m_onboardingCompleted, v, "onboardingCompleted"); }
void AppSettings::setLaunchAtLogin(bool v)
{
    assign(m_launchAtLogin, v, "launchAtLogin");
    applyLoginItem(v);
}
void AppSettings::setLanguageCode(const std::optional<QString> &v)
{
    m_languageCode = v;
    emit changed(QStringLiteral("languageCode"));
    if (v)
        m_defaults.set(QStringLiteral("languageCode"), *v);
    else
        m_defaults.remove(QStringLiteral("languageCode"));
}
void AppSettings::setHistoryLimit(qint64 v) { assign(m_historyLimit, v, "historyLimit"); }
void AppSettings::setHistoryRetentionDays(qint64 v) { assign(m_historyRetentionDays, v, "historyRetentionDays"); }
void AppSettings::setMoveToTopOnPaste(bool v) { assign(m_moveToTopOnPaste, v, "moveToTopOnPaste"); }
void AppSettings::setCopyInsteadOfPaste(bool v) { assign(m_copyInsteadOfPaste, v, "copyInsteadOfPaste"); }
void AppSettings::setAlwaysPlainText(bool v) { assign(m_alwaysPlainText, v, "alwaysPlainText"); }
void AppSettings::setRestoreClipboardAfterPaste(bool v)
{
    assign(m_restoreClipboardAfterPaste, v, "restoreClipboardAfterPaste");
}
void AppSettings::setClearOnQuit(bool v) { assign(m_clearOnQuit, v, "clearOnQuit"); }
void AppSettings::setMonitoringPaused(bool v) { assign(m_monitoringPaused, v, "monitoringPaused"); }
void AppSettings::setBuiltInExclusionsEnabled(bool v) { assign(m_builtInExclusionsEnabled, v, "builtInExclusionsEnabled"); }
void AppSettings::setExcludedBundleIDs(const QStringList &v) { assign(m_excludedBundleIDs, v, "excludedBundleIDs"); }
void AppSettings::setCrashReportingEnabled(bool v) { assign(m_crashReportingEnabled, v, "crashReportingEnabled"); }
void AppSettings::setImproveDataSharing(bool v)
{
    assign(m_improveDataSharing, v, "improveDataSharing");
    if (!v && discardUnsentStatistics)
        discardUnsentStatistics();
}

QVariantMap AppSettings::environmentProps() const
{
    return {
        {QStringLiteral("historyLimit"), m_historyLimit},
        {QStringLiteral("retentionDays"), m_historyRetentionDays},
        {QStringLiteral("copyInsteadOfPaste"), m_copyInsteadOfPaste},
        {QStringLiteral("alwaysPlainText"), m_alwaysPlainText},
        {QStringLiteral("restoreAfterPaste"), m_restoreClipboardAfterPaste},
        {QStringLiteral("excludedApps"), qint64(m_excludedBundleIDs.size())},
    };
}

#include "app/AppSettings.h"

#include "platform/DefaultsStore.h"
#include "platform/LoginItem.h"

#include <QJsonArray>
#include <QtDebug>
#include <type_traits>

namespace {

QJsonValue toJson(bool v) { return v; }
QJsonValue toJson(qint64 v) { return v; }
QJsonValue toJson(const QStringList &v) { return QJsonArray::fromStringList(v); }
QJsonValue toJson(const std::optional<QString> &v) { return v ? QJsonValue(*v) : QJsonValue(QJsonValue::Null); }

// A JSON value as a property's type, typed as the defaults store types it; nullopt for another type.
template <typename T> std::optional<T> fromJson(const QJsonValue &value);
template <> std::optional<bool> fromJson(const QJsonValue &v) { return DefaultsStore::asBool(v); }
template <> std::optional<qint64> fromJson(const QJsonValue &v) { return DefaultsStore::asInteger(v); }
template <> std::optional<QStringList> fromJson(const QJsonValue &v) { return DefaultsStore::asStringList(v); }
// The language override: a string, or null for none.
template <> std::optional<std::optional<QString>> fromJson(const QJsonValue &v)
{
    if (v.isNull())
        return std::optional<std::optional<QString>>(std::in_place); // present: no override
    if (const std::optional<QString> code = DefaultsStore::asString(v))
        return std::optional<std::optional<QString>>(std::in_place, *code);
    return std::nullopt;
}

template <typename T> constexpr const char *typeName()
{
    if constexpr (std::is_same_v<T, bool>)
        return "true or false";
    else if constexpr (std::is_same_v<T, qint64>)
        return "an integer";
    else if constexpr (std::is_same_v<T, QStringList>)
        return "a list of strings";
    else
        return "a string or null";
}

} // namespace

struct AppSettings::Property {
    const char *key;
    const char *type;
    void (*load)(AppSettings &, const QJsonValue &); // a stored value of the field's type, else the default stays
    QJsonValue (*get)(const AppSettings &);
    bool (*set)(AppSettings &, const QJsonValue &); // through the setter; false for another type

    // The JSON typing follows the field's type.
    template <auto Field, auto Setter> static Property of(const char *key)
    {
        using T = std::remove_cvref_t<decltype(std::declval<AppSettings &>().*Field)>;
        return {key, typeName<T>(),
                [](AppSettings &s, const QJsonValue &v) {
                    if (const std::optional<T> typed = fromJson<T>(v))
                        s.*Field = *typed;
                },
                [](const AppSettings &s) { return toJson(s.*Field); },
                [](AppSettings &s, const QJsonValue &v) {
                    const std::optional<T> typed = fromJson<T>(v);
                    if (typed)
                        (s.*Setter)(*typed);
                    return typed.has_value();
                }};
    }
};

// Every preference with its defaults key; `stashwell config` lists them in this order.
const QList<AppSettings::Property> &AppSettings::properties()
{
    using S = AppSettings;
    static const QList<Property> table{
        Property::of<&S::m_onboardingCompleted, &S::setOnboardingCompleted>("onboardingCompleted"),
        Property::of<&S::m_launchAtLogin, &S::setLaunchAtLogin>("launchAtLogin"),
        Property::of<&S::m_languageCode, &S::setLanguageCode>("languageCode"),
        Property::of<&S::m_historyLimit, &S::setHistoryLimit>("historyLimit"),
        Property::of<&S::m_historyRetentionDays, &S::setHistoryRetentionDays>("historyRetentionDays"),
        Property::of<&S::m_moveToTopOnPaste, &S::setMoveToTopOnPaste>("moveToTopOnPaste"),
        Property::of<&S::m_copyInsteadOfPaste, &S::setCopyInsteadOfPaste>("copyInsteadOfPaste"),
        Property::of<&S::m_alwaysPlainText, &S::setAlwaysPlainText>("alwaysPlainText"),
        Property::of<&S::m_restoreClipboardAfterPaste, &S::setRestoreClipboardAfterPaste>("restoreClipboardAfterPaste"),
        Property::of<&S::m_clearOnQuit, &S::setClearOnQuit>("clearOnQuit"),
        Property::of<&S::m_monitoringPaused, &S::setMonitoringPaused>("monitoringPaused"),
        Property::of<&S::m_builtInExclusionsEnabled, &S::setBuiltInExclusionsEnabled>("builtInExclusionsEnabled"),
        Property::of<&S::m_excludedBundleIDs, &S::setExcludedBundleIDs>("excludedBundleIDs"),
        Property::of<&S::m_crashReportingEnabled, &S::setCrashReportingEnabled>("crashReportingEnabled"),
        Property::of<&S::m_improveDataSharing, &S::setImproveDataSharing>("improveDataSharing"),
    };
    return table;
}

const AppSettings::Property *AppSettings::property(const QString &key)
{
    for (const Property &property : properties())
        if (key == QLatin1String(property.key))
            return &property;
    return nullptr;
}

AppSettings::AppSettings(DefaultsStore &defaults, LoginItem &loginItem, QObject *parent)
    : QObject(parent)
    , m_defaults(defaults)
    , m_loginItem(loginItem)
{
    // A stored value of another type falls back to the default (and is left as it is).
    for (const Property &property : properties())
        property.load(*this, defaults.object(QLatin1String(property.key)));

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

QStringList AppSettings::keys()
{
    QStringList keys;
    for (const Property &property : properties())
        keys << QLatin1String(property.key);
    return keys;
}

QJsonValue AppSettings::value(const QString &key) const
{
    const Property *found = property(key);
    return found ? found->get(*this) : QJsonValue(QJsonValue::Undefined);
}

bool AppSettings::setValue(const QString &key, const QJsonValue &value)
{
    const Property *found = property(key);
    return found && found->set(*this, value);
}

QString AppSettings::expectedType(const QString &key)
{
    const Property *found = property(key);
    return found ? QString::fromLatin1(found->type) : QString();
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

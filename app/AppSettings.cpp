// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/AppSettings.h"

#include "l10n/AppLanguage.h"
#include "platform/DefaultsStore.h"
#include "platform/GlobalHotKey.h"
#include "platform/LoginItem.h"

#include <QJsonArray>
#include <QtDebug>
#include <type_traits>

namespace {

QJsonValue toJson(bool v) { return v; }
QJsonValue toJson(const QString &v) { return v; }
QJsonValue toJson(qint64 v) { return v; }
QJsonValue toJson(const QStringList &v) { return QJsonArray::fromStringList(v); }
QJsonValue toJson(const std::optional<QString> &v) { return v ? QJsonValue(*v) : QJsonValue(QJsonValue::Null); }

// A JSON value as a property's type, typed as the defaults store types it; nullopt for another type.
template <typename T> std::optional<T> fromJson(const QJsonValue &value);
template <> std::optional<bool> fromJson(const QJsonValue &v) { return DefaultsStore::asBool(v); }
template <> std::optional<qint64> fromJson(const QJsonValue &v) { return DefaultsStore::asInteger(v); }
template <> std::optional<QString> fromJson(const QJsonValue &v) { return DefaultsStore::asString(v); }
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
    else if constexpr (std::is_same_v<T, QString>)
        return "a string";
    else
        return "a string or null";
}

// The values the settings window offers; anything else (a limit of 0 deletes every unpinned
// entry) is refused from the command line and read as the default from the defaults file.
bool isHistoryLimitChoice(const qint64 &limit)
{
    return limit >= AppSettings::historyLimitChoices.front() && limit <= AppSettings::historyLimitChoices.back();
}
bool isRetentionChoice(const qint64 &days) { return days >= 0 && days <= 90; }
bool isLanguageChoice(const std::optional<QString> &code) { return !code || AppLanguages::fromRawValue(*code); }
bool isHotKeyChoice(const QString &text) { return GlobalHotKey::parse(text).has_value(); }

QString languageChoices()
{
    QStringList codes;
    for (AppLanguage language : AppLanguages::allCases())
        codes << AppLanguages::rawValue(language);
    return QStringLiteral("a language code (%1) or null").arg(codes.join(QStringLiteral(", ")));
}

enum class Fit { yes, wrongType, notAChoice };

} // namespace

struct AppSettings::Property {
    const char *key;
    const char *type;
    QString choices; // for messages, when only some values of the type are offered
    Fit (*fit)(const QJsonValue &);
    void (*load)(AppSettings &, const QJsonValue &); // a value that fits, without the setter
    QJsonValue (*get)(const AppSettings &);
    void (*set)(AppSettings &, const QJsonValue &); // a value that fits, through the setter

    // The JSON typing follows the field's type; `Choice`, when given, narrows it to the values offered.
    template <auto Field, auto Setter, auto Choice = nullptr> static Property of(const char *key, QString choices = {})
    {
        using T = std::remove_cvref_t<decltype(std::declval<AppSettings &>().*Field)>;
        return {key, typeName<T>(), choices,
                [](const QJsonValue &v) {
                    const std::optional<T> typed = fromJson<T>(v);
                    if (!typed)
                        return Fit::wrongType;
                    if constexpr (!std::is_null_pointer_v<decltype(Choice)>)
                        if (!Choice(*typed))
                            return Fit::notAChoice;
                    return Fit::yes;
                },
                [](AppSettings &s, const QJsonValue &v) { s.*Field = *fromJson<T>(v); },
                [](const AppSettings &s) { return toJson(s.*Field); },
                [](AppSettings &s, const QJsonValue &v) { (s.*Setter)(*fromJson<T>(v)); }};
    }
};

// Every preference with its defaults key; `stashwell config` lists them in this order.
const QList<AppSettings::Property> &AppSettings::properties()
{
    using S = AppSettings;
    static const QList<Property> table{
        Property::of<&S::m_onboardingCompleted, &S::setOnboardingCompleted>("onboardingCompleted"),
        Property::of<&S::m_launchAtLogin, &S::setLaunchAtLogin>("launchAtLogin"),
        Property::of<&S::m_hotKey, &S::setHotKey, isHotKeyChoice>(
            "hotKey", QStringLiteral("one key with Ctrl, Alt or Super (Meta), such as \"Ctrl+Alt+V\"")),
        Property::of<&S::m_languageCode, &S::setLanguageCode, isLanguageChoice>("languageCode", languageChoices()),
        Property::of<&S::m_historyLimit, &S::setHistoryLimit, isHistoryLimitChoice>(
            "historyLimit", QStringLiteral("an integer from %1 to %2")
                                .arg(historyLimitChoices.front())
                                .arg(historyLimitChoices.back())),
        Property::of<&S::m_historyRetentionDays, &S::setHistoryRetentionDays, isRetentionChoice>(
            "historyRetentionDays", QStringLiteral("a number of days from 0 (keep forever) to 90")),
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
    // A stored value of another type, or one the settings window does not offer, falls back
    // to the default (and is left as it is).
    for (const Property &property : properties()) {
        const QJsonValue stored = defaults.object(QLatin1String(property.key));
        if (property.fit(stored) == Fit::yes)
            property.load(*this, stored);
    }

    // The very first start of an installed copy; a build tree's start leaves it to that one.
    if (!defaults.contains(QStringLiteral("launchAtLogin")) && loginItem.available()) {
        defaults.set(QStringLiteral("launchAtLogin"), true);
        applyLoginItem(true);
    }
}

bool AppSettings::launchAtLoginAvailable() const { return m_loginItem.available(); }

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
QKeyCombination AppSettings::hotKeyCombination() const
{
    return GlobalHotKey::parse(m_hotKey).value_or(GlobalHotKey::defaultCombination);
}
void AppSettings::setHotKey(const QString &v)
{
    const QKeyCombination combination = GlobalHotKey::parse(v).value_or(GlobalHotKey::defaultCombination);
    assign(m_hotKey, GlobalHotKey::portableText(combination), "hotKey");
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
    if (!found || found->fit(value) != Fit::yes)
        return false;
    found->set(*this, value);
    return true;
}

QString AppSettings::expectedType(const QString &key, const QJsonValue &value)
{
    const Property *found = property(key);
    if (!found)
        return {};
    switch (found->fit(value)) {
    case Fit::wrongType:
        return QString::fromLatin1(found->type);
    case Fit::notAChoice:
        return found->choices;
    case Fit::yes:
        break;
    }
    return {};
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

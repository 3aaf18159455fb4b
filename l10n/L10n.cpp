// SPDX-License-Identifier: GPL-3.0-or-later
#include "l10n/L10n.h"

#include "l10n/FrameworkLanguage.h"
#include "platform/DefaultsStore.h"

#include <QJsonArray>

namespace {
const QString languageCodeKey = QStringLiteral("languageCode");
const QString appleLanguagesKey = QStringLiteral("AppleLanguages");
} // namespace

L10n::L10n(DefaultsStore &defaults, FrameworkLanguage &framework, PreferredLanguages preferredLanguages,
           const LocalizationTables::Tables &tables, QObject *parent)
    : QObject(parent)
    , m_defaults(defaults)
    , m_framework(framework)
    , m_preferredLanguages(std::move(preferredLanguages))
    , m_tables(tables)
{
}

void L10n::setLanguage(AppLanguage language)
{
    if (language == m_language)
        return;
    m_language = language;
    emit languageChanged(language);
}

void L10n::bootstrap()
{
    const auto code = m_defaults.stringValue(languageCodeKey);
    apply(code && !code->isEmpty() ? code : std::nullopt);
}

void L10n::apply(const std::optional<QString> &code)
{
    // An unknown code (also a differently cased one) behaves exactly like "System".
    const auto language = code ? AppLanguages::fromRawValue(*code) : std::nullopt;
    synchronisePlatformOverride(language);
    setLanguage(language ? *language : systemDefault());
}

void L10n::synchronisePlatformOverride(const std::optional<AppLanguage> &language)
{
    if (language) {
        const QString code = AppLanguages::rawValue(*language);
        m_defaults.set(appleLanguagesKey, QJsonArray{code});
        m_framework.setOverrideCode(code);
    } else {
        m_defaults.remove(appleLanguagesKey);
        m_framework.setOverrideCode(std::nullopt);
    }
    m_framework.installRedirection();
}

AppLanguage L10n::systemDefault() const
{
    return AppLanguages::systemDefault(m_preferredLanguages ? m_preferredLanguages() : QStringList());
}

std::optional<QString> L10n::lookUp(AppLanguage language, const QString &key) const
{
    const auto table = m_tables.constFind(language);
    if (table == m_tables.constEnd())
        return std::nullopt;
    const auto text = table->constFind(key);
    return text == table->constEnd() ? std::nullopt : std::optional(*text);
}

QString L10n::string(const QString &key) const
{
    if (auto text = lookUp(m_language, key))
        return *text;
    if (auto text = lookUp(AppLanguage::en, key))
        return *text;
    return key;
}

QString L10n::string(const QString &key, AppLanguage language) const
{
    if (auto text = lookUp(language, key))
        return *text;
    return string(key);
}

QString L10n::format(const QString &key, qint64 number) const
{
    return fill(string(key), QString::number(number));
}

QString L10n::format(const QString &key, const QString &value) const
{
    return fill(string(key), value);
}

QString L10n::fill(QString text, const QString &value)
{
    const qsizetype integer = text.indexOf(QLatin1String("%d"));
    const qsizetype object = text.indexOf(QLatin1String("%@"));
    qsizetype at = integer < 0 ? object : (object < 0 ? integer : std::min(integer, object));
    if (at >= 0)
        text.replace(at, 2, value);
    return text;
}

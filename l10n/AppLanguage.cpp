// SPDX-License-Identifier: GPL-3.0-or-later
#include "l10n/AppLanguage.h"

namespace {

struct LanguageInfo {
    const char *code;
    const char *displayName; // UTF-8
};

// Indexed by AppLanguage.
constexpr LanguageInfo infos[] = {
    {"en", "English"},        {"ja", "日本語"},   {"ko", "한국어"},
    {"zh-Hans", "简体中文"},  {"zh-Hant", "繁體中文"}, {"de", "Deutsch"},
    {"fr", "Français"},       {"es", "Español"},  {"pt-BR", "Português (Brasil)"},
    {"ru", "Русский"},        {"it", "Italiano"}, {"nl", "Nederlands"},
    {"pl", "Polski"},         {"tr", "Türkçe"},
};
static_assert(std::size(infos) == 14);

const LanguageInfo &info(AppLanguage language)
{
    return infos[static_cast<int>(language)];
}

// Chinese: the traditional script when the entry names it or a region that writes it.
AppLanguage chinese(const QString &lowered)
{
    for (const char *marker : {"hant", "tw", "hk", "mo"}) {
        if (lowered.contains(QLatin1String(marker)))
            return AppLanguage::zhHant;
    }
    return AppLanguage::zhHans;
}

// The language-code prefixes tried after "ja" and "ko", in order; "zh" is handled separately.
struct PrefixRule {
    const char *prefix;
    AppLanguage language;
};
constexpr PrefixRule prefixRules[] = {
    {"de", AppLanguage::de}, {"fr", AppLanguage::fr}, {"es", AppLanguage::es},
    {"pt", AppLanguage::ptBR}, // every Portuguese variant
    {"ru", AppLanguage::ru}, {"it", AppLanguage::it}, {"nl", AppLanguage::nl},
    {"pl", AppLanguage::pl}, {"tr", AppLanguage::tr}, {"en", AppLanguage::en},
};

std::optional<AppLanguage> match(const QString &entry)
{
    const QString lowered = entry.toLower();
    if (lowered.startsWith(QLatin1String("ja")))
        return AppLanguage::ja;
    if (lowered.startsWith(QLatin1String("ko")))
        return AppLanguage::ko;
    if (lowered.startsWith(QLatin1String("zh")))
        return chinese(lowered);
    for (const PrefixRule &rule : prefixRules) {
        if (lowered.startsWith(QLatin1String(rule.prefix)))
            return rule.language;
    }
    return std::nullopt;
}

} // namespace

const std::array<AppLanguage, 14> &AppLanguages::allCases()
{
    static const std::array<AppLanguage, 14> cases = {
        AppLanguage::en,     AppLanguage::ja, AppLanguage::ko, AppLanguage::zhHans, AppLanguage::zhHant,
        AppLanguage::de,     AppLanguage::fr, AppLanguage::es, AppLanguage::ptBR,   AppLanguage::ru,
        AppLanguage::it,     AppLanguage::nl, AppLanguage::pl, AppLanguage::tr,
    };
    return cases;
}

QString AppLanguages::rawValue(AppLanguage language)
{
    return QString::fromLatin1(info(language).code);
}

QString AppLanguages::displayName(AppLanguage language)
{
    return QString::fromUtf8(info(language).displayName);
}

std::optional<AppLanguage> AppLanguages::fromRawValue(const QString &code)
{
    for (AppLanguage language : allCases()) {
        if (code == QLatin1String(info(language).code))
            return language;
    }
    return std::nullopt;
}

AppLanguage AppLanguages::systemDefault(const QStringList &preferredLanguages)
{
    for (const QString &entry : preferredLanguages) {
        if (const auto language = match(entry))
            return *language;
    }
    return AppLanguage::en;
}

QLocale AppLanguages::locale(AppLanguage language)
{
    return QLocale(rawValue(language));
}

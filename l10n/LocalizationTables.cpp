// SPDX-License-Identifier: GPL-3.0-or-later
#include "l10n/LocalizationTables.h"

#include "l10n/tables/LocalizationEntries.h"

namespace {

std::span<const LocalizationEntry> entries(AppLanguage language)
{
    using namespace LocalizationEntries;
    switch (language) {
    case AppLanguage::en: return en();
    case AppLanguage::ja: return ja();
    case AppLanguage::ko: return ko();
    case AppLanguage::zhHans: return zhHans();
    case AppLanguage::zhHant: return zhHant();
    case AppLanguage::de: return de();
    case AppLanguage::fr: return fr();
    case AppLanguage::es: return es();
    case AppLanguage::ptBR: return ptBR();
    case AppLanguage::ru: return ru();
    case AppLanguage::it: return it();
    case AppLanguage::nl: return nl();
    case AppLanguage::pl: return pl();
    case AppLanguage::tr: return tr();
    }
    return {};
}

LocalizationTables::Table build(AppLanguage language)
{
    const auto list = entries(language);
    LocalizationTables::Table table;
    table.reserve(qsizetype(list.size()));
    for (const LocalizationEntry &entry : list)
        table.insert(QString::fromUtf8(entry.key), QString::fromUtf8(entry.text));
    return table;
}

} // namespace

const LocalizationTables::Tables &LocalizationTables::tables()
{
    // A function-local static: built once, thread-safely, on the first look-up.
    static const Tables all = [] {
        Tables map;
        for (AppLanguage language : AppLanguages::allCases())
            map.insert(language, build(language));
        return map;
    }();
    return all;
}

const LocalizationTables::Table &LocalizationTables::table(AppLanguage language)
{
    return *tables().find(language);
}

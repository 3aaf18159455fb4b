// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The fourteen interface languages, in the order of the language picker.
#include <QLocale>
#include <QString>
#include <QStringList>
#include <array>
#include <optional>

enum class AppLanguage { en, ja, ko, zhHans, zhHant, de, fr, es, ptBR, ru, it, nl, pl, tr };

namespace AppLanguages {

// Every language, in enumeration order.
const std::array<AppLanguage, 14> &allCases();

// The language code ("en", "zh-Hans", "pt-BR", ...); `id` equals it.
QString rawValue(AppLanguage language);
inline QString id(AppLanguage language) { return rawValue(language); }

// The language's own name ("Deutsch", "日本語"), never translated.
QString displayName(AppLanguage language);

// Exact, case-sensitive match against the fourteen codes; anything else gives nothing.
std::optional<AppLanguage> fromRawValue(const QString &code);

// The language resolved from an ordered list of preferred languages (BCP 47 or POSIX
// names): the first entry with a supported prefix wins, `en` when none has one.
AppLanguage systemDefault(const QStringList &preferredLanguages);

// The locale for formatting in the language (numbers, dates, relative times).
QLocale locale(AppLanguage language);

} // namespace AppLanguages

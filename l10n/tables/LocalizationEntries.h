// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The static (key, text) lists behind LocalizationTables, one source file per language
// (l10n/tables/Strings_<code>.cpp). Texts are UTF-8; "%d" and "%@" are filled by callers.
#include <span>

struct LocalizationEntry {
    const char *key;
    const char *text;
};

namespace LocalizationEntries {
std::span<const LocalizationEntry> en();
std::span<const LocalizationEntry> ja();
std::span<const LocalizationEntry> ko();
std::span<const LocalizationEntry> zhHans();
std::span<const LocalizationEntry> zhHant();
std::span<const LocalizationEntry> de();
std::span<const LocalizationEntry> fr();
std::span<const LocalizationEntry> es();
std::span<const LocalizationEntry> ptBR();
std::span<const LocalizationEntry> ru();
std::span<const LocalizationEntry> it();
std::span<const LocalizationEntry> nl();
std::span<const LocalizationEntry> pl();
std::span<const LocalizationEntry> tr();
} // namespace LocalizationEntries

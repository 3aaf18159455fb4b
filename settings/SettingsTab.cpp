// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/SettingsTab.h"

namespace SettingsTabs {

namespace {
struct Row {
    const char *raw;
    const char *symbol;
    QRgb top;
    QRgb bottom;
};
constexpr std::array<Row, 6> rows{{
    {"general", "gearshape.fill", 0x8E8E93, 0x6E6E73},
    {"history", "clock.arrow.circlepath", 0xFFB340, 0xFF9500},
    {"privacy", "hand.raised.fill", 0xFF6961, 0xFF3B30},
    {"permissions", "lock.shield.fill", 0xFFB340, 0xFF9500},
    {"account", "person.crop.circle.fill", 0x66D4CF, 0x00A3A3},
    {"about", "info.circle.fill", 0x8E8EF0, 0x5E5CE6},
}};
const Row &row(SettingsTab tab) { return rows[size_t(tab)]; }
} // namespace

const std::array<SettingsTab, 6> &allCases()
{
    static constexpr std::array<SettingsTab, 6> tabs{SettingsTab::general,     SettingsTab::history,
                                                     SettingsTab::privacy,     SettingsTab::permissions,
                                                     SettingsTab::account,     SettingsTab::about};
    return tabs;
}

QString rawValue(SettingsTab tab) { return QString::fromLatin1(row(tab).raw); }

std::optional<SettingsTab> fromRawValue(const QString &raw)
{
    for (SettingsTab tab : allCases())
        if (rawValue(tab) == raw)
            return tab;
    return std::nullopt;
}

QString symbol(SettingsTab tab) { return QString::fromLatin1(row(tab).symbol); }

std::pair<QColor, QColor> gradient(SettingsTab tab) { return {QColor(row(tab).top), QColor(row(tab).bottom)}; }

} // namespace SettingsTabs

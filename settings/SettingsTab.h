// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The settings tabs in sidebar order with their texts, symbol and icon gradient.
#include <QColor>
#include <QString>
#include <array>
#include <optional>

enum class SettingsTab { general, history, privacy, permissions, account, about };

namespace SettingsTabs {
const std::array<SettingsTab, 6> &allCases();
QString rawValue(SettingsTab tab);                        // "general", ...
std::optional<SettingsTab> fromRawValue(const QString &raw);
inline QString titleKey(SettingsTab tab) { return QStringLiteral("tab.") + rawValue(tab); }
inline QString subtitleKey(SettingsTab tab) { return QStringLiteral("sub.") + rawValue(tab); }
QString symbol(SettingsTab tab);                          // bundled icon name (resources/icons)
std::pair<QColor, QColor> gradient(SettingsTab tab);      // top colour, bottom colour
} // namespace SettingsTabs

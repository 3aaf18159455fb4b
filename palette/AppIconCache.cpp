// SPDX-License-Identifier: GPL-3.0-or-later
#include "palette/AppIconCache.h"

#include "platform/DesktopEntries.h"

#include <QFileInfo>

AppIconCache::AppIconCache(const DesktopEntries &entries)
    : m_entries(entries)
{
}

AppIconCache &AppIconCache::shared()
{
    static auto *cache = new AppIconCache(DesktopEntries::shared()); // its icons outlive no QApplication
    return *cache;
}

std::optional<QIcon> AppIconCache::icon(const std::optional<QString> &bundleID)
{
    if (!bundleID || bundleID->isEmpty())
        return std::nullopt;
    if (const auto it = m_icons.constFind(*bundleID); it != m_icons.cend())
        return *it;
    const DesktopEntry *entry = m_entries.byId(*bundleID);
    if (!entry || entry->icon.isEmpty())
        return std::nullopt;
    const QIcon icon = QFileInfo(entry->icon).isAbsolute() ? QIcon(entry->icon) : QIcon::fromTheme(entry->icon);
    if (icon.isNull())
        return std::nullopt;
    m_icons.insert(*bundleID, icon);
    return icon;
}

// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Small application icons by application ID (the desktop-entry ID), for the palette's rows.
#include <QHash>
#include <QIcon>
#include <QString>
#include <optional>

class DesktopEntries;

class AppIconCache {
public:
    explicit AppIconCache(const DesktopEntries &entries);
    static AppIconCache &shared();

    // An uninstalled application, or one without an icon, yields nothing and is not cached,
    // so the next row asks again.
    std::optional<QIcon> icon(const std::optional<QString> &bundleID);

private:
    const DesktopEntries &m_entries;
    QHash<QString, QIcon> m_icons; // only grows
};

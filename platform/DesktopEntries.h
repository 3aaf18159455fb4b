// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "platform/ActiveWindow.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

// The installed applications, read from the XDG desktop entries
// ($XDG_DATA_HOME/applications, then each of $XDG_DATA_DIRS/applications).
struct DesktopEntry {
    QString id;             // desktop-file ID without ".desktop" ("org.gnome.Zenity")
    QString name;           // localized Name
    QString icon;           // Icon key (theme name or absolute path)
    QString startupWMClass;
    bool noDisplay = false;
};

class DesktopEntries {
public:
    // Scans the directories now; `locale` picks the localized Name ("de_DE" tries de_DE, then de).
    explicit DesktopEntries(const QString &locale);
    static DesktopEntries &shared();

    const QList<DesktopEntry> &all() const { return m_entries; }
    const DesktopEntry *byId(const QString &id) const;
    // The entry a window of this WM_CLASS belongs to: StartupWMClass first, then the
    // ID or its last dotted component, compared without case.
    const DesktopEntry *byWMClass(const QString &instance, const QString &className) const;
    // The application of a window known by a desktop-file ID (may be empty) and its WM_CLASS
    // (or, on Wayland, its app_id as both): the entry's ID and name, else the class itself.
    FrontApp frontApp(const QString &desktopId, const QString &instance, const QString &className) const;

    static QStringList searchDirs();
    static std::optional<DesktopEntry> parse(const QString &path, const QString &id, const QString &locale);

private:
    QList<DesktopEntry> m_entries;
    QHash<QString, qsizetype> m_byId;
};

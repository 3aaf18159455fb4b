// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/DesktopEntries.h"

#include "common/Paths.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QLocale>
#include <QTextStream>
#include <optional>

QStringList DesktopEntries::searchDirs()
{
    QStringList dirs{Paths::dataHome() + QStringLiteral("/applications")};
    QString dataDirs = qEnvironmentVariable("XDG_DATA_DIRS");
    if (dataDirs.isEmpty())
        dataDirs = QStringLiteral("/usr/local/share:/usr/share");
    for (const QString &dir : dataDirs.split(QLatin1Char(':'), Qt::SkipEmptyParts))
        dirs << dir + QStringLiteral("/applications");
    return dirs;
}

std::optional<DesktopEntry> DesktopEntries::parse(const QString &path, const QString &id, const QString &locale)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return std::nullopt;
    const QString lang = locale.section(QLatin1Char('_'), 0, 0);
    QHash<QString, QString> keys;
    bool inMain = false;
    QTextStream in(&file);
    while (!in.atEnd()) {
        const QString line = in.readLine().trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            inMain = line == QLatin1String("[Desktop Entry]");
            continue;
        }
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        if (inMain && eq > 0 && !line.startsWith(QLatin1Char('#')))
            keys.insert(line.left(eq).trimmed(), line.mid(eq + 1).trimmed());
    }
    if (keys.value(QStringLiteral("Type")) != QLatin1String("Application")
        || keys.value(QStringLiteral("Hidden")) == QLatin1String("true"))
        return std::nullopt;
    DesktopEntry entry;
    entry.id = id;
    entry.name = keys.value(QStringLiteral("Name[%1]").arg(locale),
                            keys.value(QStringLiteral("Name[%1]").arg(lang), keys.value(QStringLiteral("Name"))));
    entry.icon = keys.value(QStringLiteral("Icon"));
    entry.startupWMClass = keys.value(QStringLiteral("StartupWMClass"));
    entry.noDisplay = keys.value(QStringLiteral("NoDisplay")) == QLatin1String("true");
    return entry;
}

DesktopEntries::DesktopEntries(const QString &locale)
{
    for (const QString &dir : searchDirs()) {
        QDirIterator it(dir, {QStringLiteral("*.desktop")}, QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            // Desktop-file ID: the path below applications/ with "/" as "-".
            QString id = QDir(dir).relativeFilePath(path);
            id.chop(8);
            id.replace(QLatin1Char('/'), QLatin1Char('-'));
            if (m_byId.contains(id)) // earlier directories take precedence
                continue;
            if (auto entry = parse(path, id, locale)) {
                m_byId.insert(id, m_entries.size());
                m_entries.append(*entry);
            }
        }
    }
}

DesktopEntries &DesktopEntries::shared()
{
    static auto *entries = new DesktopEntries(QLocale::system().name());
    return *entries;
}

const DesktopEntry *DesktopEntries::byId(const QString &id) const
{
    const auto it = m_byId.constFind(id);
    return it == m_byId.cend() ? nullptr : &m_entries[*it];
}

FrontApp DesktopEntries::frontApp(const QString &desktopId, const QString &instance, const QString &className) const
{
    const DesktopEntry *entry = byId(desktopId);
    if (!entry)
        entry = byWMClass(instance, className);
    if (entry)
        return FrontApp{entry->id, entry->name.isEmpty() ? className : entry->name};
    return FrontApp{className, className};
}

const DesktopEntry *DesktopEntries::byWMClass(const QString &instance, const QString &className) const
{
    const auto matches = [&](const QString &value) {
        return !value.isEmpty()
            && (value.compare(className, Qt::CaseInsensitive) == 0 || value.compare(instance, Qt::CaseInsensitive) == 0);
    };
    for (const DesktopEntry &entry : m_entries)
        if (matches(entry.startupWMClass))
            return &entry;
    for (const DesktopEntry &entry : m_entries)
        if (matches(entry.id) || matches(entry.id.section(QLatin1Char('.'), -1)))
            return &entry;
    return nullptr;
}

// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/LoginItem.h"

#include "common/FileSafety.h"
#include "common/Paths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

XdgAutostart::XdgAutostart(const QString &entryPath, const std::optional<QString> &command)
    : m_entryPath(entryPath)
    , m_command(command)
{
}

XdgAutostart &XdgAutostart::shared()
{
    // The kernel's link to the running binary: readable before the application object exists
    // (`stashwell config launchAtLogin ...` runs without one).
    static auto *item = new XdgAutostart(Paths::autostartFile(),
                                         commandFor(QFile::symLinkTarget(QStringLiteral("/proc/self/exe")),
                                                    QStandardPaths::findExecutable(QStringLiteral("stashwell"))));
    return *item;
}

std::optional<QString> XdgAutostart::commandFor(const QString &binary, const QString &onPath)
{
    const QFileInfo file(binary);
    if (file.absoluteDir().dirName() != QLatin1String("bin"))
        return std::nullopt;
    for (QDir dir = file.absoluteDir();; ) {
        if (dir.exists(QStringLiteral("CMakeCache.txt")))
            return std::nullopt;
        if (!dir.cdUp())
            break;
    }
    if (!onPath.isEmpty() && QFileInfo(onPath).canonicalFilePath() == file.canonicalFilePath())
        return QStringLiteral("stashwell");
    return file.absoluteFilePath();
}

QString XdgAutostart::registerItem()
{
    if (!m_command)
        return QStringLiteral("not installed: Stashwell runs from a build tree");
    // Made private like Stashwell's other directories; one that exists is left as the user has it.
    const QString dir = QFileInfo(m_entryPath).absolutePath();
    if (!QFileInfo(dir).isDir() && !FileSafety::ensurePrivateDir(dir))
        return QStringLiteral("cannot create %1").arg(dir);
    const QByteArray entry = "[Desktop Entry]\n"
                             "Type=Application\n"
                             "Name=Stashwell\n"
                             "Comment=Clipboard history\n"
                             "Exec=\"" + m_command->toUtf8() + "\"\n"
                             "Icon=com.norvane.Stashwell\n"
                             "Terminal=false\n"
                             "NoDisplay=true\n"
                             "X-GNOME-Autostart-enabled=true\n";
    if (!FileSafety::writeAtomically(m_entryPath, entry))
        return QStringLiteral("cannot write %1").arg(m_entryPath);
    return {};
}

QString XdgAutostart::unregisterItem()
{
    if (QFile::exists(m_entryPath) && !QFile::remove(m_entryPath))
        return QStringLiteral("cannot remove %1").arg(m_entryPath);
    return {};
}

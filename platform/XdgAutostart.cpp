#include "platform/LoginItem.h"

#include "common/FileSafety.h"
#include "common/Paths.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

XdgAutostart::XdgAutostart(const QString &entryPath, const QString &executable)
    : m_entryPath(entryPath)
    , m_executable(executable)
{
}

XdgAutostart &XdgAutostart::shared()
{
    static auto *item = new XdgAutostart(Paths::autostartFile(), QCoreApplication::applicationFilePath());
    return *item;
}

QString XdgAutostart::registerItem()
{
    // Made private like Stashwell's other directories; one that exists is left as the user has it.
    const QString dir = QFileInfo(m_entryPath).absolutePath();
    if (!QFileInfo(dir).isDir() && !FileSafety::ensurePrivateDir(dir))
        return QStringLiteral("cannot create %1").arg(dir);
    const QByteArray entry = "[Desktop Entry]\n"
                             "Type=Application\n"
                             "Name=Stashwell\n"
                             "Comment=Clipboard history\n"
                             "Exec=\"" + m_executable.toUtf8() + "\"\n"
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

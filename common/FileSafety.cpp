// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/FileSafety.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <unistd.h>

namespace FileSafety {

bool ensurePrivateDir(const QString &path)
{
    if (!QDir().mkpath(path))
        return false;
    return QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

bool writeAtomically(const QString &path, const QByteArray &bytes)
{
    return writeAtomically(path, [&bytes](QIODevice &file) { return file.write(bytes) == bytes.size(); });
}

bool writeAtomically(const QString &path, const std::function<bool(QIODevice &)> &write)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    // A full disk may only show when the buffer is flushed or synced, and commit() would still
    // rename the short file over the old one: every step is checked before it.
    if (!write(file) || !file.flush() || ::fsync(file.handle()) != 0) {
        file.cancelWriting(); // the temporary file is discarded, the old file stays as it was
        return false;
    }
    return file.commit();
}

QString keepAside(const QString &path)
{
    const QString stamp = QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    QString target = path + QStringLiteral(".broken-") + stamp;
    for (int n = 1; QFile::exists(target); ++n)
        target = path + QStringLiteral(".broken-") + stamp + QLatin1Char('-') + QString::number(n);
    return QFile::rename(path, target) ? target : QString();
}

} // namespace FileSafety

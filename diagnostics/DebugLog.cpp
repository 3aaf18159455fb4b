// SPDX-License-Identifier: GPL-3.0-or-later
#include "diagnostics/DebugLog.h"

#include "common/Clock.h"
#include "common/FileSafety.h"
#include "diagnostics/TextTail.h"

#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

namespace {
QString readUtf8(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8(file.readAll());
    return utf8.hasError() ? QString() : text;
}
} // namespace

DebugLog::DebugLog(const QString &directory, Clock &clock)
    : m_directory(directory)
    , m_clock(clock)
{
}

void DebugLog::append(const QString &message)
{
    // ISO 8601 as Foundation's formatter writes it by default: UTC with "Z".
    const QByteArray line =
        (m_clock.now().toUTC().toString(Qt::ISODate) + QLatin1Char(' ') + message + QLatin1Char('\n')).toUtf8();
    QMutexLocker lock(&m_lock);
    FileSafety::ensurePrivateDir(m_directory);
    const QFileInfo current(currentPath());
    if (current.exists() && current.size() > rotationBytes) {
        QFile::remove(previousPath());
        QFile::rename(currentPath(), previousPath());
    }
    QFile file(currentPath());
    if (file.open(QIODevice::WriteOnly | QIODevice::Append, QFile::ReadOwner | QFile::WriteOwner))
        file.write(line);
    else
        FileSafety::writeAtomically(currentPath(), line);
}

QString DebugLog::readTail()
{
    QMutexLocker lock(&m_lock);
    return TextTail::lastCharacters(readUtf8(previousPath()) + readUtf8(currentPath()), tailCharacters);
}

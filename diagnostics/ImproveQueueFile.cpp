// SPDX-License-Identifier: GPL-3.0-or-later
#include "diagnostics/ImproveQueueFile.h"

#include "common/FileSafety.h"

#include <QFile>

void ImproveQueueFile::append(const QByteArray &line) const
{
    QFile file(m_path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append, QFile::ReadOwner | QFile::WriteOwner))
        return;
    file.write(line + '\n');
}

QList<QByteArray> ImproveQueueFile::readLines() const
{
    QFile file(m_path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QList<QByteArray> lines = file.readAll().split('\n');
    lines.removeIf([](const QByteArray &piece) { return piece.isEmpty(); });
    return lines;
}

void ImproveQueueFile::rewrite(const QList<QByteArray> &lines) const
{
    if (lines.isEmpty()) {
        remove();
        return;
    }
    QByteArray bytes;
    for (const QByteArray &line : lines)
        bytes += line + '\n';
    FileSafety::writeAtomically(m_path, bytes);
}

void ImproveQueueFile::remove() const
{
    QFile::remove(m_path);
}

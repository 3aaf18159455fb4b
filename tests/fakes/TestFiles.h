// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Whole-file reads and writes for tests that prepare or inspect files on disk.
#include <QByteArray>
#include <QFile>
#include <QString>

// The file's bytes; empty when it cannot be read.
inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Replaces the file's contents; false when it could not be written in full.
[[nodiscard]] inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

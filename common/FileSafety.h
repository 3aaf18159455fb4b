// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QByteArray>
#include <QString>
#include <functional>

class QIODevice;

// A clipboard history holds secrets: everything Stashwell writes is private to the
// user (directories 0700, files 0600) and replaced atomically.
namespace FileSafety {
// Creates `path` and its parents as needed and restricts it to the owner.
bool ensurePrivateDir(const QString &path);
// Writes `bytes` to a temporary file beside `path`, then renames it over `path`. False, with
// `path` untouched, unless every byte reached the disk.
bool writeAtomically(const QString &path, const QByteArray &bytes);
// The same with the bytes that `write` writes to the temporary file, in as many pieces as it
// likes (a large file is never whole in memory); false as well when `write` returns false.
bool writeAtomically(const QString &path, const std::function<bool(QIODevice &)> &write);
// Renames a file that could not be understood to `<path>.broken-<UTC time>`,
// so the next save cannot destroy what the user had. Returns the new name.
QString keepAside(const QString &path);
}

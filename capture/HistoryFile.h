// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Reading the history's files: history.json and the side files beside it. Touches nothing but
// the files, so it runs on the store's loading thread.
#include "capture/ClipItem.h"

#include <QList>
#include <QStringList>
#include <optional>

namespace HistoryFile {

struct Contents {
    std::optional<QList<ClipItem>> items; // nullopt: the file could not be used
    QString keptAsideAs;                  // where that file went then
    QStringList unreferencedSideFiles;    // paths of side files no entry of `items` refers to
};

// Reads `file` (none: no entries). An undecodable file, or one over `maxBytes`, is renamed
// aside (FileSafety::keepAside), and its side files are left alone: they may still be wanted.
// Only "<entry id>.<type>" files in `sideFileDirs` count as side files.
Contents read(const QString &file, qint64 maxBytes, const QStringList &sideFileDirs);

} // namespace HistoryFile

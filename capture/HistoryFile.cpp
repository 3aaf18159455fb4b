// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/HistoryFile.h"

#include "capture/HistoryStore.h"
#include "common/FileSafety.h"

#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QSet>

namespace HistoryFile {

namespace {

// Side files are written before their entry is saved; a process killed in between leaves them behind.
QStringList unreferenced(const QList<ClipItem> &items, const QStringList &dirs)
{
    static const QRegularExpression sideFile(
        QStringLiteral("^([0-9A-F]{8}(?:-[0-9A-F]{4}){3}-[0-9A-F]{12})\\.(?:txt|rtf|html|png)$"));
    std::optional<QSet<QUuid>> ids; // made only when there is a side file at all
    QStringList found;
    for (const QString &dir : dirs) {
        for (QDirIterator it(dir, QDir::Files); it.hasNext();) {
            it.next();
            const QRegularExpressionMatch match = sideFile.match(it.fileName());
            if (!match.hasMatch())
                continue;
            if (!ids) {
                ids.emplace();
                ids->reserve(items.size());
                for (const ClipItem &item : items)
                    ids->insert(item.id);
            }
            if (!ids->contains(QUuid::fromString(match.capturedView(1))))
                found << it.filePath();
        }
    }
    return found;
}

} // namespace

Contents read(const QString &path, qint64 maxBytes, const QStringList &sideFileDirs)
{
    Contents contents;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        contents.items.emplace(); // first start
    } else {
        // A file this large is not one Stashwell wrote: reading it would cost seconds and as much
        // memory. The entries are read from the mapped file, without a copy of it.
        if (file.size() <= maxBytes) {
            const uchar *bytes = file.map(0, file.size());
            contents.items = bytes ? HistoryStore::decode(QByteArrayView(bytes, file.size()))
                                   : HistoryStore::decode(file.readAll());
        }
        file.close();
        if (!contents.items) {
            contents.keptAsideAs = FileSafety::keepAside(path); // the next save cannot destroy it
            return contents;
        }
    }
    contents.unreferencedSideFiles = unreferenced(*contents.items, sideFileDirs);
    return contents;
}

} // namespace HistoryFile

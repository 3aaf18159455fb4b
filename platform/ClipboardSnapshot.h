// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <functional>
#include <optional>
#include <utility>

// The clipboard snapshot the paste service restores: one element per item (X11 has one),
// each mapping type to bytes in the order the owner offered the types. Types that could
// not be read are absent. Types are named as QMimeData formats (ClipboardTargets), so that
// writing them back through the clipboard offers the same targets again.
using ClipboardItemData = QList<std::pair<QString, QByteArray>>;
using ClipboardSnapshot = QList<ClipboardItemData>;

// Reads the whole clipboard off the main thread.
class ClipboardSnapshotReader {
public:
    virtual ~ClipboardSnapshotReader() = default;
    // Starts a read and returns at once. `done` runs later on the main thread, however long
    // the read takes, but never after the reader is destroyed. Its argument is an empty list
    // for an empty clipboard and absent when the contents could not be read at all.
    virtual void read(std::function<void(std::optional<ClipboardSnapshot>)> done) = 0;
};

// One format a capture reads: the first of `formats` that the owner offers and that can be
// read ("image/*" stands for every offered image format, in the owner's order). An offer
// announced larger than `maxBytes` is refused without reading it.
struct ClipboardWant {
    QStringList formats;
    qint64 maxBytes = 0;
    // The formats of `offered` this want reads, in the order they are tried.
    QStringList candidates(const QStringList &offered) const;
};

// What a capture reads of one change, in order, and its limits.
struct ClipboardReadRequest {
    QList<ClipboardWant> wants;
    qint64 maxTotalBytes = 0;
    int deadlineMs = 0; // the whole read
};

// How X11 selection targets become QMimeData formats. Qt's xcb clipboard serves the
// targets UTF8_STRING, STRING, TEXT and COMPOUND_TEXT all from the one format
// "text/plain", so the snapshot keeps the text once, under that name, as UTF-8.
namespace ClipboardTargets {
// False for targets that are protocol rather than data (TARGETS, MULTIPLE, TIMESTAMP,
// SAVE_TARGETS, DELETE, ...), that are X resources (PIXMAP, ...), or that Qt re-offers by
// itself from "text/plain" (TEXT, COMPOUND_TEXT).
bool isReadable(const QString &target);
// The format a target carries: "text/plain" for UTF8_STRING and STRING, else the target itself.
QString formatOf(const QString &target);
// The offered targets that carry `format`, best first (UTF8_STRING, text/plain, STRING).
QStringList targetsOf(const QString &format, const QStringList &offered);
// A target's bytes as its format's data: STRING is Latin-1 and becomes UTF-8.
QByteArray formatData(const QString &target, const QByteArray &bytes);
// The read targets, in order, as the formats to write back.
ClipboardItemData toMimeFormats(const ClipboardItemData &targets);
}

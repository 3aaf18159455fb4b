// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/HistoryStore.h"

#include "app/AppSettings.h"
#include "common/Clock.h"
#include "common/FileSafety.h"
#include "common/Graphemes.h"

#include <QBuffer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>
#include <algorithm>

HistoryStore::HistoryStore(const QString &dir, AppSettings &settings, Clock &clock, RecordUsage record,
                           std::function<void(const QString &)> log, QObject *parent)
    : QObject(parent)
    , m_dir(dir)
    , m_settings(settings)
    , m_clock(clock)
    , m_record(std::move(record))
    , m_log(std::move(log))
    , m_writer(fileURL())
{
    m_saveTimer.setSingleShot(true);
    connect(&m_saveTimer, &QTimer::timeout, this, &HistoryStore::startSave);
    connect(&m_writer, &BackgroundFileWriter::written, this, &HistoryStore::saved);
    FileSafety::ensurePrivateDir(m_dir);
    FileSafety::ensurePrivateDir(blobsDir());
    FileSafety::ensurePrivateDir(thumbsDir());
    m_loader = std::thread([this, file = fileURL(), dirs = QStringList{blobsDir(), thumbsDir()}] {
        m_loaded = HistoryFile::read(file, maxHistoryFileBytes, dirs);
        QMetaObject::invokeMethod(this, &HistoryStore::adoptLoaded, Qt::QueuedConnection);
    });
}

HistoryStore::~HistoryStore()
{
    if (m_loader.joinable())
        m_loader.join();
}

void HistoryStore::waitForLoad()
{
    adoptLoaded();
}

// The entries copied while the file was read come first; a copy of a loaded entry moves that
// entry up, as a copy of an entry in the list does.
void HistoryStore::adoptLoaded()
{
    if (!m_loader.joinable())
        return; // adopted already
    m_loader.join();
    HistoryFile::Contents loaded = std::exchange(m_loaded, {});
    if (!loaded.items)
        log(QStringLiteral("History: %1 could not be read; kept aside as %2").arg(fileURL(), loaded.keptAsideAs));
    else
        removeUnreferenced(loaded.unreferencedSideFiles);
    QList<ClipItem> older = std::move(loaded.items).value_or(QList<ClipItem>());
    const bool readAny = !older.isEmpty();
    for (ClipItem &item : m_items) {
        const auto same = std::find_if(older.begin(), older.end(),
                                       [&item](const ClipItem &o) { return o.contentHash == item.contentHash; });
        if (same == older.end())
            continue;
        ClipItem first = std::move(*same);
        older.erase(same);
        first.createdAt = item.createdAt;
        first.pinned = first.pinned || item.pinned;
        removeBlobs(item);
        item = std::move(first);
        m_burstItemID.reset();
    }
    m_items.append(std::move(older));
    if (readAny)
        emit itemsChanged();
    prune();
    if (m_unsavedSince) // copies made while the file was read
        scheduleSave();
}

// Side files of entries that were never saved; none of an entry copied while the file was read.
void HistoryStore::removeUnreferenced(const QStringList &paths)
{
    QSet<QString> current;
    for (const ClipItem &item : std::as_const(m_items))
        current.insert(item.idString());
    int removed = 0;
    for (const QString &path : paths)
        if (!current.contains(QFileInfo(path).completeBaseName()) && QFile::remove(path))
            ++removed;
    if (removed)
        log(QStringLiteral("History: removed %1 side files of entries that were never saved").arg(removed));
}

void HistoryStore::log(const QString &line)
{
    if (m_log)
        m_log(line);
}

QString HistoryStore::blobPath(const ClipItem &item, const char *ext) const
{
    return QStringLiteral("%1/%2.%3").arg(blobsDir(), item.idString(), QLatin1String(ext));
}

QString HistoryStore::thumbPath(const ClipItem &item) const
{
    return QStringLiteral("%1/%2.png").arg(thumbsDir(), item.idString());
}

qsizetype HistoryStore::indexOf(const QUuid &id) const
{
    for (qsizetype i = 0; i < m_items.size(); ++i)
        if (m_items[i].id == id)
            return i;
    return -1;
}

namespace {

bool hasAttachments(const ClipCapture &capture)
{
    return capture.rtfData || capture.htmlData || capture.imageData || capture.fileURLs;
}

// The longer text (by characters; a tie counts the entry's as longer) begins or ends with the shorter.
bool isBurstContinuation(const QString &itemText, const QString &captureText)
{
    if (itemText == captureText || itemText.isEmpty() || captureText.isEmpty())
        return false;
    const bool itemLonger = Graphemes::count(itemText) >= Graphemes::count(captureText);
    const QString &longer = itemLonger ? itemText : captureText;
    const QString &shorter = itemLonger ? captureText : itemText;
    return longer.startsWith(shorter) || longer.endsWith(shorter);
}

} // namespace

bool HistoryStore::coalesces(const ClipItem &item, const ClipCapture &capture, double now) const
{
    return m_burstItemID == item.id && !item.pinned && !item.hasTextBlob
        && (item.kind == ClipKind::text || item.kind == ClipKind::link) && item.text && capture.text
        && capture.sourceAppBundleID && item.sourceAppBundleID == capture.sourceAppBundleID
        && now - m_burstUpdatedAt >= 0 && now - m_burstUpdatedAt <= 1.5 && now - m_burstStartedAt <= 30
        && isBurstContinuation(*item.text, *capture.text);
}

void HistoryStore::ingest(const ClipCapture &capture)
{
    const qint64 byteSize = capture.byteSize();
    if (byteSize > maxCaptureBytes)
        return;
    const QString hash = capture.contentHash();
    const double now = m_clock.uptime();

    for (qsizetype i = 0; i < m_items.size(); ++i) {
        if (m_items[i].contentHash != hash)
            continue;
        ClipItem existing = m_items.takeAt(i);
        existing.createdAt = m_clock.now();
        m_items.prepend(existing);
        m_burstItemID.reset();
        emit itemsChanged();
        scheduleSave();
        return;
    }

    const QByteArray utf8 = capture.text ? capture.text->toUtf8() : QByteArray();
    const bool eligible = (capture.kind == ClipKind::text || capture.kind == ClipKind::link) && !hasAttachments(capture)
        && capture.text && !capture.text->isEmpty() && utf8.size() <= maxInlineTextBytes;
    ClipItem item;
    item.id = QUuid::createUuid();
    item.kind = capture.kind;
    item.hasRTF = capture.rtfData.has_value();
    item.hasHTML = capture.htmlData.has_value();
    item.hasImage = capture.imageData.has_value();
    if (!writeAttachments(item, capture)) {
        removeBlobs(item);
        log(QStringLiteral("History: a copy was not recorded, its side files could not be written to %1").arg(blobsDir()));
        setWriteFailing(true);
        return;
    }
    item.text = capture.text;
    if (!moveTextToBlob(item)) {
        m_pendingTextBlobs.insert(item.id);
        log(QStringLiteral("History: a long text stays whole in memory, its side file could not be written"));
        setWriteFailing(true);
    }
    double burstStart = now;
    if (eligible && !m_items.isEmpty() && coalesces(m_items.first(), capture, now)) {
        burstStart = m_burstStartedAt;
        if (m_record)
            m_record(QStringLiteral("capture.coalesced"),
                     {{QStringLiteral("sourceApp"), capture.sourceAppBundleID.value_or(QStringLiteral("?"))}});
        removeBlobs(m_items.first());
        m_items.removeFirst();
    }
    item.sourceAppBundleID = capture.sourceAppBundleID;
    item.sourceAppName = capture.sourceAppName;
    item.fileURLs = capture.fileURLs;
    item.colorHex = capture.colorHex;
    item.createdAt = m_clock.now();
    item.byteSize = byteSize;
    if (capture.text)
        item.charCount = Graphemes::count(*capture.text);
    item.contentHash = hash;
    item.updateSearchKey();
    m_items.prepend(item);

    if (eligible) {
        m_burstItemID = item.id;
        m_burstStartedAt = burstStart;
        m_burstUpdatedAt = now;
    } else {
        m_burstItemID.reset();
    }
    emit itemsChanged();
    prune();
    scheduleSave();
}

// The formatted texts and the image go to side files; false when one could not be written.
bool HistoryStore::writeAttachments(ClipItem &item, const ClipCapture &capture)
{
    if (capture.rtfData && !FileSafety::writeAtomically(blobPath(item, "rtf"), *capture.rtfData))
        return false;
    if (capture.htmlData && !FileSafety::writeAtomically(blobPath(item, "html"), *capture.htmlData))
        return false;
    if (!capture.imageData)
        return true;
    if (!FileSafety::writeAtomically(blobPath(item, "png"), *capture.imageData))
        return false;
    const QImage image = QImage::fromData(*capture.imageData);
    if (!image.isNull()) {
        item.pixelWidth = image.width();
        item.pixelHeight = image.height();
        writeThumbnail(item, image); // without it the entry only lacks a preview
    }
    return true;
}

// A text over 16 KiB goes to its side file and the entry keeps its first 4,096 characters.
// False when the file could not be written: the entry then still holds the whole text.
bool HistoryStore::moveTextToBlob(ClipItem &item)
{
    const QByteArray utf8 = item.text ? item.text->toUtf8() : QByteArray();
    if (utf8.size() <= maxInlineTextBytes)
        return true;
    if (!FileSafety::writeAtomically(blobPath(item, "txt"), utf8))
        return false;
    item.text = Graphemes::left(*item.text, blobTextPrefix);
    item.hasTextBlob = true;
    item.updateSearchKey();
    return true;
}

// Retries the side files of long texts kept whole; true once none is left.
bool HistoryStore::writePendingTextBlobs()
{
    for (auto it = m_pendingTextBlobs.begin(); it != m_pendingTextBlobs.end();) {
        const qsizetype i = indexOf(*it);
        if (i >= 0 && !moveTextToBlob(m_items[i]))
            ++it;
        else
            it = m_pendingTextBlobs.erase(it);
    }
    return m_pendingTextBlobs.isEmpty();
}

void HistoryStore::writeThumbnail(const ClipItem &item, const QImage &image)
{
    const int w = image.width(), h = image.height();
    if (w < 1 || h < 1)
        return;
    const double scale = double(thumbnailSide) / std::max(w, h);
    QImage thumb = image;
    if (scale < 1)
        thumb = image.scaled(std::max(qRound(w * scale), 1), std::max(qRound(h * scale), 1), Qt::IgnoreAspectRatio,
                             Qt::SmoothTransformation);
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    if (thumb.save(&buffer, "PNG"))
        FileSafety::writeAtomically(thumbPath(item), png);
}

// One pass in list order: an unpinned entry past the retention goes, and so does every unpinned
// one after the first `historyLimit` that stay.
void HistoryStore::prune()
{
    const qint64 days = m_settings.historyRetentionDays();
    const QDateTime cutoff = m_clock.now().addSecs(-days * 86400);
    const qint64 limit = m_settings.historyLimit();
    qint64 unpinnedKept = 0;
    const qsizetype removed = m_items.removeIf([&](const ClipItem &item) {
        if (item.pinned)
            return false;
        const bool drop = (days >= 1 && item.createdAt < cutoff) || ++unpinnedKept > limit;
        if (drop)
            removeBlobs(item);
        return drop;
    });
    if (removed) {
        emit itemsChanged();
        scheduleSave();
    }
}

void HistoryStore::togglePin(const QUuid &id)
{
    const qsizetype i = indexOf(id);
    if (i < 0)
        return;
    m_items[i].pinned = !m_items[i].pinned;
    emit itemsChanged();
    scheduleSave();
}

void HistoryStore::remove(const QUuid &id)
{
    const qsizetype i = indexOf(id);
    if (i < 0)
        return;
    removeBlobs(m_items[i]);
    m_items.removeAt(i);
    emit itemsChanged();
    scheduleSave();
}

void HistoryStore::touch(const QUuid &id)
{
    const qsizetype i = indexOf(id);
    if (i < 0)
        return;
    ClipItem item = m_items.takeAt(i);
    item.createdAt = m_clock.now();
    m_items.prepend(item);
    emit itemsChanged();
    scheduleSave();
}

QImage HistoryStore::thumbnail(const ClipItem &item)
{
    if (!item.hasImage)
        return {};
    if (const QImage *cached = m_thumbCache.object(item.id))
        return *cached;
    QImage image(thumbPath(item));
    if (image.isNull())
        return {};
    m_thumbCache.insert(item.id, new QImage(image), image.sizeInBytes());
    return image;
}

// Only the files the entry has: clearing a long history of plain texts touches no file.
void HistoryStore::removeBlobs(const ClipItem &item)
{
    for (const auto &[has, ext] : {std::pair{item.hasImage, "png"}, {item.hasRTF, "rtf"}, {item.hasHTML, "html"},
                                   {item.hasTextBlob, "txt"}})
        if (has)
            QFile::remove(blobPath(item, ext));
    if (item.hasImage) {
        m_thumbCache.remove(item.id);
        QFile::remove(thumbPath(item));
    }
}

void HistoryStore::clear(bool keepPinned)
{
    waitForLoad(); // the entries still being read go too
    QList<ClipItem> kept;
    for (const ClipItem &item : std::as_const(m_items)) {
        if (keepPinned && item.pinned)
            kept.append(item);
        else
            removeBlobs(item);
    }
    m_items = kept;
    emit itemsChanged();
    scheduleSave();
}

// Each change restarts the 0.5 s wait, but never past maxSaveDelayMs after the oldest unsaved one.
void HistoryStore::scheduleSave()
{
    const double now = m_clock.uptime();
    if (!m_unsavedSince)
        m_unsavedSince = now;
    if (loading())
        return; // saved once the file is read: now it would be replaced by the new entries alone
    const int left = maxSaveDelayMs - qRound((now - *m_unsavedSince) * 1000);
    if (left <= 0)
        startSave();
    else
        m_saveTimer.start(std::min(saveDelayMs, left));
}

// The list is implicitly shared: the snapshot costs nothing until the next change copies it.
void HistoryStore::startSave()
{
    m_saveTimer.stop();
    m_unsavedSince.reset();
    m_pendingBlobsWritten = writePendingTextBlobs();
    m_writer.write([items = m_items](QIODevice &file) { return encode(items, file); });
}

void HistoryStore::saveNow()
{
    waitForLoad();
    startSave();
    waitForSave();
}

void HistoryStore::waitForSave()
{
    m_writer.wait();
}

void HistoryStore::saved(bool ok)
{
    setWriteFailing(!m_pendingBlobsWritten || !ok);
    if (m_writeFailing)
        m_saveTimer.start(retryDelayMs); // the history is still whole in memory
}

// The user is told once when writing starts failing, and again when it works.
void HistoryStore::setWriteFailing(bool failing)
{
    if (failing == m_writeFailing)
        return;
    m_writeFailing = failing;
    log(failing ? QStringLiteral("History: cannot write to %1 (disk full or read-only?), retrying").arg(m_dir)
                : QStringLiteral("History: saved again"));
    emit writeFailingChanged(failing);
}

// Entry by entry: the whole file is never in memory at once.
bool HistoryStore::encode(const QList<ClipItem> &items, QIODevice &out)
{
    bool ok = out.putChar('[');
    for (qsizetype i = 0; ok && i < items.size(); ++i) {
        const QByteArray entry = items[i].toJson();
        ok = (i == 0 || out.putChar(',')) && out.write(entry) == entry.size();
    }
    return ok && out.putChar(']');
}

QByteArray HistoryStore::encode(const QList<ClipItem> &items)
{
    QByteArray json;
    QBuffer buffer(&json);
    buffer.open(QIODevice::WriteOnly);
    encode(items, buffer);
    return json;
}

std::optional<QList<ClipItem>> HistoryStore::decode(QByteArrayView json)
{
    // The bytes are parsed where they are (a mapped file is not copied).
    const QJsonDocument document =
        QJsonDocument::fromJson(QByteArray::fromRawData(json.data(), json.size()));
    if (!document.isArray())
        return std::nullopt;
    const QJsonArray array = document.array();
    QList<ClipItem> items;
    items.reserve(array.size());
    // Most entries come from a few applications: they share one copy of each name.
    QSet<QString> names;
    const auto share = [&names](std::optional<QString> &name) {
        if (name)
            name = *names.insert(*name);
    };
    for (const QJsonValue &value : array) {
        std::optional<ClipItem> item = value.isObject() ? ClipItem::fromJson(value.toObject()) : std::nullopt;
        if (!item)
            return std::nullopt; // one bad entry fails the whole list
        share(item->sourceAppBundleID);
        share(item->sourceAppName);
        items.append(std::move(*item));
    }
    return items;
}

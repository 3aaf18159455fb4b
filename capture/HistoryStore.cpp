// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/HistoryStore.h"

#include "app/AppSettings.h"
#include "common/Clock.h"
#include "common/FileSafety.h"
#include "common/Graphemes.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <algorithm>

HistoryStore::HistoryStore(const QString &dir, AppSettings &settings, Clock &clock, RecordUsage record,
                           std::function<void(const QString &)> log, QObject *parent)
    : QObject(parent)
    , m_dir(dir)
    , m_settings(settings)
    , m_clock(clock)
    , m_record(std::move(record))
    , m_log(std::move(log))
{
    m_saveTimer.setSingleShot(true);
    connect(&m_saveTimer, &QTimer::timeout, this, &HistoryStore::saveNow);
    FileSafety::ensurePrivateDir(m_dir);
    FileSafety::ensurePrivateDir(blobsDir());
    FileSafety::ensurePrivateDir(thumbsDir());
    if (load())
        removeOrphanedSideFiles(); // not beside a file kept aside: its entries may still want them
    prune();
}

// False when there was a history file that could not be used; it is then kept aside.
bool HistoryStore::load()
{
    QFile file(fileURL());
    if (!file.open(QIODevice::ReadOnly))
        return true; // first start
    // A file this large is not one Stashwell wrote: reading it would cost seconds and as much memory.
    std::optional<QList<ClipItem>> items;
    if (file.size() <= maxHistoryFileBytes)
        items = decode(file.readAll());
    file.close();
    if (items) {
        m_items = std::move(*items);
        return true;
    }
    const QString aside = FileSafety::keepAside(fileURL()); // start empty; the file is kept beside it
    log(QStringLiteral("History: %1 could not be read; kept aside as %2").arg(fileURL(), aside));
    return false;
}

// Side files are written before their entry is saved; a process killed in between leaves them
// behind. Only "<entry id>.<type>" files in the two side-file folders are considered.
void HistoryStore::removeOrphanedSideFiles()
{
    QSet<QString> ids;
    for (const ClipItem &item : std::as_const(m_items))
        ids.insert(item.idString());
    static const QRegularExpression sideFile(
        QStringLiteral("^([0-9A-F]{8}(?:-[0-9A-F]{4}){3}-[0-9A-F]{12})\\.(?:txt|rtf|html|png)$"));
    int removed = 0;
    for (const QString &dir : {blobsDir(), thumbsDir()}) {
        for (const QString &name : QDir(dir).entryList(QDir::Files)) {
            const QRegularExpressionMatch match = sideFile.match(name);
            if (match.hasMatch() && !ids.contains(match.captured(1)) && QFile::remove(dir + QLatin1Char('/') + name))
                ++removed;
        }
    }
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

// The lower-cased query split at every run of Unicode white space.
QStringList searchTokens(const QString &query)
{
    QStringList tokens;
    QString token;
    for (QChar c : query.toLower()) {
        if (!c.isSpace()) {
            token += c;
        } else if (!token.isEmpty()) {
            tokens << token;
            token.clear();
        }
    }
    if (!token.isEmpty())
        tokens << token;
    return tokens;
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
    item.hasRTF = capture.rtfData.has_value();
    item.hasHTML = capture.htmlData.has_value();
    item.hasImage = capture.imageData.has_value();
    item.byteSize = byteSize;
    if (capture.text)
        item.charCount = Graphemes::count(*capture.text);
    item.contentHash = hash;
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

void HistoryStore::prune()
{
    bool removed = false;
    const auto drop = [&](qsizetype index) {
        removeBlobs(m_items[index]);
        m_items.removeAt(index);
        removed = true;
    };
    const qint64 days = m_settings.historyRetentionDays();
    if (days >= 1) {
        const QDateTime cutoff = m_clock.now().addSecs(-days * 86400);
        for (qsizetype i = m_items.size() - 1; i >= 0; --i)
            if (!m_items[i].pinned && m_items[i].createdAt < cutoff)
                drop(i);
    }
    qint64 unpinnedSeen = 0;
    const qint64 limit = m_settings.historyLimit();
    for (qsizetype i = 0; i < m_items.size();) {
        if (!m_items[i].pinned && ++unpinnedSeen > limit)
            drop(i);
        else
            ++i;
    }
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

QList<ClipItem> HistoryStore::search(const QString &query, std::optional<ClipKind> kind, bool pinnedOnly) const
{
    const QStringList tokens = searchTokens(query);
    QList<ClipItem> pinned, others;
    for (const ClipItem &item : m_items) {
        if ((pinnedOnly && !item.pinned) || (kind && item.kind != *kind))
            continue;
        if (!tokens.isEmpty()) {
            const QString haystack = item.searchText().toLower();
            if (!std::all_of(tokens.begin(), tokens.end(), [&](const QString &t) { return haystack.contains(t); }))
                continue;
        }
        (item.pinned ? pinned : others).append(item);
    }
    return pinned + others;
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

void HistoryStore::removeBlobs(const ClipItem &item)
{
    m_thumbCache.remove(item.id);
    for (const char *ext : {"png", "rtf", "html", "txt"})
        QFile::remove(blobPath(item, ext));
    QFile::remove(thumbPath(item));
}

void HistoryStore::clear(bool keepPinned)
{
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
    const int left = maxSaveDelayMs - qRound((now - *m_unsavedSince) * 1000);
    if (left <= 0)
        saveNow();
    else
        m_saveTimer.start(std::min(saveDelayMs, left));
}

void HistoryStore::saveNow()
{
    m_saveTimer.stop();
    m_unsavedSince.reset();
    const bool blobsWritten = writePendingTextBlobs();
    const bool saved = FileSafety::writeAtomically(fileURL(), encode(m_items));
    setWriteFailing(!blobsWritten || !saved);
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

QByteArray HistoryStore::encode(const QList<ClipItem> &items)
{
    QByteArray json = "[";
    for (const ClipItem &item : items) {
        if (json.size() > 1)
            json += ',';
        json += item.toJson();
    }
    return json + ']';
}

std::optional<QList<ClipItem>> HistoryStore::decode(const QByteArray &json)
{
    const QJsonDocument doc = QJsonDocument::fromJson(json);
    if (!doc.isArray())
        return std::nullopt;
    QList<ClipItem> items;
    for (const QJsonValue &value : doc.array()) {
        std::optional<ClipItem> item = value.isObject() ? ClipItem::fromJson(value.toObject()) : std::nullopt;
        if (!item)
            return std::nullopt; // one bad entry fails the whole list
        items.append(*item);
    }
    return items;
}

// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The history, newest first, and its files.
#include "capture/ClipItem.h"
#include "capture/HistoryFile.h"
#include "common/BackgroundFileWriter.h"
#include "diagnostics/UsageEvents.h"

#include <QCache>
#include <QImage>
#include <QList>
#include <QObject>
#include <QSet>
#include <QTimer>
#include <QUuid>
#include <functional>
#include <optional>
#include <thread>

class AppSettings;
class Clock;

class HistoryStore : public QObject {
    Q_OBJECT
public:
    static constexpr qint64 maxCaptureBytes = 10485760;  // 10 MiB
    static constexpr qint64 maxInlineTextBytes = 16384;  // longer texts go to a .txt blob
    static constexpr qsizetype blobTextPrefix = 4096;    // characters kept in the entry
    static constexpr int thumbnailSide = 320;
    static constexpr int saveDelayMs = 500;
    // However fast copies come, a change waits at most this long for its save, which
    // leaves room for a slow disk to have it written within 2 s.
    static constexpr int maxSaveDelayMs = 1500;
    static constexpr int retryDelayMs = 5000;                 // after a failed save
    static constexpr qint64 maxHistoryFileBytes = 268435456; // 256 MiB; a larger file is not read

    // Starts reading `<dir>/history.json` on a thread of its own, so that copies are recorded
    // from the first moment however long the history: until it is read the list holds only the
    // entries copied since, and then the read ones follow them (itemsChanged). An undecodable or
    // oversized file is kept aside; side files no entry refers to are removed; the history is
    // pruned once. `log` writes a line to the tester log.
    HistoryStore(const QString &dir, AppSettings &settings, Clock &clock, RecordUsage record = {},
                 std::function<void(const QString &)> log = {}, QObject *parent = nullptr);
    ~HistoryStore() override;
    static HistoryStore &shared();
    // Returns once the history file is read and its entries are in the list.
    void waitForLoad();

    const QList<ClipItem> &items() const { return m_items; }
    QString dir() const { return m_dir; }
    QString blobsDir() const { return m_dir + QStringLiteral("/blobs"); }
    QString thumbsDir() const { return m_dir + QStringLiteral("/thumbs"); }
    QString fileURL() const { return m_dir + QStringLiteral("/history.json"); }
    // Side file of an entry: "<blobsDir>/<UUID>.<ext>" (ext: txt, rtf, html, png).
    QString blobPath(const ClipItem &item, const char *ext) const;
    QString thumbPath(const ClipItem &item) const;

    void ingest(const ClipCapture &capture);
    void prune();
    void togglePin(const QUuid &id);
    void remove(const QUuid &id); // drops the entry and its blob files
    void touch(const QUuid &id);
    QImage thumbnail(const ClipItem &item);
    void removeBlobs(const ClipItem &item);
    void clear(bool keepPinned);

    // Saving encodes and writes a snapshot of the entries on a thread of its own.
    void scheduleSave();
    // Saves the current entries and returns once they are on disk or the write failed: for the
    // quit path, the command line and tests.
    void saveNow();
    // Returns once every save started so far has finished.
    void waitForSave();
    // True from a failed write (disk full, read-only) until the next save that succeeds.
    bool writeFailing() const { return m_writeFailing; }

    // Serialisation of a whole history file; nullopt when it does not decode.
    static bool encode(const QList<ClipItem> &items, QIODevice &out); // false when a write failed
    static QByteArray encode(const QList<ClipItem> &items);
    static std::optional<QList<ClipItem>> decode(QByteArrayView json);

signals:
    void itemsChanged();
    void writeFailingChanged(bool failing);

private:
    bool coalesces(const ClipItem &item, const ClipCapture &capture, double now) const;
    bool writeAttachments(ClipItem &item, const ClipCapture &capture);
    bool moveTextToBlob(ClipItem &item);
    bool writePendingTextBlobs();
    void writeThumbnail(const ClipItem &item, const QImage &image);
    void startSave();
    void saved(bool ok);
    void setWriteFailing(bool failing);
    qsizetype indexOf(const QUuid &id) const;
    bool loading() const { return m_loader.joinable(); }
    void adoptLoaded();
    void removeUnreferenced(const QStringList &paths);
    void log(const QString &line);

    QString m_dir;
    AppSettings &m_settings;
    Clock &m_clock;
    RecordUsage m_record;
    std::function<void(const QString &)> m_log;
    QList<ClipItem> m_items;
    std::thread m_loader;           // joinable until its result is adopted
    HistoryFile::Contents m_loaded; // written by the loader, read after joining it
    QTimer m_saveTimer;
    std::optional<double> m_unsavedSince; // uptime of the oldest change not yet saved
    QSet<QUuid> m_pendingTextBlobs;       // long texts still whole in memory, their side file not written
    BackgroundFileWriter m_writer;
    bool m_pendingBlobsWritten = true; // at the last save
    bool m_writeFailing = false;
    QCache<QUuid, QImage> m_thumbCache{64 * 1024 * 1024}; // cost = bytes
    std::optional<QUuid> m_burstItemID;
    double m_burstStartedAt = 0;
    double m_burstUpdatedAt = 0;
};

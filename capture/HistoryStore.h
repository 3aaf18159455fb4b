// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The history, newest first, and its files.
#include "capture/ClipItem.h"
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

    // Loads `<dir>/history.json` (an undecodable or oversized one is kept aside), removes side
    // files no entry refers to, and prunes once. `log` writes a line to the tester log.
    HistoryStore(const QString &dir, AppSettings &settings, Clock &clock, RecordUsage record = {},
                 std::function<void(const QString &)> log = {}, QObject *parent = nullptr);
    static HistoryStore &shared();

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
    QList<ClipItem> search(const QString &query, std::optional<ClipKind> kind, bool pinnedOnly) const;
    QImage thumbnail(const ClipItem &item);
    void removeBlobs(const ClipItem &item);
    void clear(bool keepPinned);

    void scheduleSave();
    void saveNow();
    // True from a failed write (disk full, read-only) until the next save that succeeds.
    bool writeFailing() const { return m_writeFailing; }

    // Serialisation of a whole history file; nullopt when it does not decode.
    static QByteArray encode(const QList<ClipItem> &items);
    static std::optional<QList<ClipItem>> decode(const QByteArray &json);

signals:
    void itemsChanged();
    void writeFailingChanged(bool failing);

private:
    bool coalesces(const ClipItem &item, const ClipCapture &capture, double now) const;
    bool writeAttachments(ClipItem &item, const ClipCapture &capture);
    bool moveTextToBlob(ClipItem &item);
    bool writePendingTextBlobs();
    void writeThumbnail(const ClipItem &item, const QImage &image);
    void setWriteFailing(bool failing);
    qsizetype indexOf(const QUuid &id) const;
    bool load();
    void removeOrphanedSideFiles();
    void log(const QString &line);

    QString m_dir;
    AppSettings &m_settings;
    Clock &m_clock;
    RecordUsage m_record;
    std::function<void(const QString &)> m_log;
    QList<ClipItem> m_items;
    QTimer m_saveTimer;
    std::optional<double> m_unsavedSince; // uptime of the oldest change not yet saved
    QSet<QUuid> m_pendingTextBlobs;       // long texts still whole in memory, their side file not written
    bool m_writeFailing = false;
    QCache<QUuid, QImage> m_thumbCache{64 * 1024 * 1024}; // cost = bytes
    std::optional<QUuid> m_burstItemID;
    double m_burstStartedAt = 0;
    double m_burstUpdatedAt = 0;
};

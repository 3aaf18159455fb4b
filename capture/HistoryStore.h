#pragma once
// The history, newest first, and its files.
#include "capture/ClipItem.h"
#include "diagnostics/UsageEvents.h"

#include <QCache>
#include <QImage>
#include <QList>
#include <QObject>
#include <QTimer>
#include <QUuid>
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

    // Loads `<dir>/history.json` (an undecodable one is kept aside) and prunes once.
    HistoryStore(const QString &dir, AppSettings &settings, Clock &clock, RecordUsage record = {},
                 QObject *parent = nullptr);
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

    // Serialisation of a whole history file; nullopt when it does not decode.
    static QByteArray encode(const QList<ClipItem> &items);
    static std::optional<QList<ClipItem>> decode(const QByteArray &json);

signals:
    void itemsChanged();

private:
    bool coalesces(const ClipItem &item, const ClipCapture &capture, double now) const;
    void writeThumbnail(const ClipItem &item, const QImage &image);
    qsizetype indexOf(const QUuid &id) const;
    void load();

    QString m_dir;
    AppSettings &m_settings;
    Clock &m_clock;
    RecordUsage m_record;
    QList<ClipItem> m_items;
    QTimer m_saveTimer;
    QCache<QUuid, QImage> m_thumbCache{64 * 1024 * 1024}; // cost = bytes
    std::optional<QUuid> m_burstItemID;
    double m_burstStartedAt = 0;
    double m_burstUpdatedAt = 0;
};

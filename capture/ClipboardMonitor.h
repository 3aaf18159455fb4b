#pragma once
// Polls the clipboard's change counter and turns each new copy into a capture.
#include "capture/ClipItem.h"
#include "diagnostics/UsageEvents.h"

#include <QColor>
#include <QMimeData>
#include <QObject>
#include <QSet>
#include <QTimer>
#include <optional>

class ActiveWindow;
class AppSettings;
class Clipboard;
class HistoryStore;

class ClipboardMonitor : public QObject {
    Q_OBJECT
public:
    ClipboardMonitor(Clipboard &clipboard, ActiveWindow &activeWindow, AppSettings &settings, HistoryStore &store,
                     RecordUsage record, QObject *parent = nullptr);
    static ClipboardMonitor &shared();

    void start(); // polls every 0.2 s for the life of the process
    // The paste service registers the counter of each of its own writes (at most 8 are kept).
    void ignoreChangeCount(qint64 changeCount);
    const QSet<qint64> &ignoredChangeCounts() const { return m_ignoredChangeCounts; }

    // Classifies clipboard contents: files, image, colour object, then string.
    static std::optional<ClipCapture> read(const QMimeData &contents);
    static std::optional<QString> colorHex(const QString &string);
    static std::optional<QString> hexString(const QColor &color);
    static bool isSingleLink(const QString &string);

    void tick(); // one poll (public for tests; the timer runs it)

private:
    Clipboard &m_clipboard;
    ActiveWindow &m_activeWindow;
    AppSettings &m_settings;
    HistoryStore &m_store;
    RecordUsage m_record;
    QTimer *m_timer = nullptr;
    qint64 m_lastChangeCount;
    QSet<qint64> m_ignoredChangeCounts;
};

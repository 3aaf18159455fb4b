// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Turns each copy of another application into a capture. Every change of the clipboard is
// read once, off the main thread, and decided on that one snapshot alone.
#include "capture/ClipItem.h"
#include "diagnostics/UsageEvents.h"
#include "platform/ClipboardSnapshot.h"

#include <QColor>
#include <QMimeData>
#include <QObject>
#include <QSet>
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

    void start(); // from now on every change is handled as it happens
    // The paste service registers the counter of each of its own writes (at most 8 are kept).
    void ignoreChangeCount(qint64 changeCount);
    const QSet<qint64> &ignoredChangeCounts() const { return m_ignoredChangeCounts; }

    // What a capture reads of a change: the marker types the capture policy looks at, then
    // what `read` uses, in its order, each within the size an entry may have.
    static const ClipboardReadRequest &captureRequest();
    // Classifies clipboard contents: files, image, colour object, then string.
    static std::optional<ClipCapture> read(const QMimeData &contents);
    static std::optional<QString> colorHex(const QString &string);
    static std::optional<QString> hexString(const QColor &color);
    static bool isSingleLink(const QString &string);

    // Handles the latest change since the last call (public for tests; `start` runs it on each change).
    void tick();

private:
    struct Change {
        qint64 count = 0;
        std::optional<QString> bundleID; // of the application in front when it happened
        std::optional<QString> appName;
    };
    void readNext();
    void capture(const Change &change, const ClipboardItemData &snapshot);
    void skipped(const QString &reason, const std::optional<QString> &bundleID);

    Clipboard &m_clipboard;
    ActiveWindow &m_activeWindow;
    AppSettings &m_settings;
    HistoryStore &m_store;
    RecordUsage m_record;
    bool m_started = false;
    qint64 m_lastChangeCount;
    QSet<qint64> m_ignoredChangeCounts;
    bool m_reading = false;
    std::optional<Change> m_next; // waiting for the read in progress
};

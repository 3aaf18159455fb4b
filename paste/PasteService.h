// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Puts an entry back on the clipboard and types the paste shortcut into the
// window in front, optionally restoring the previous clipboard afterwards.
#include "capture/ClipItem.h"
#include "platform/ClipboardSnapshot.h"

#include <QObject>
#include <functional>
#include <optional>

class AppSettings;
class Clipboard;
class ClipboardMonitor;
class HistoryStore;
class KeyPoster;
class QMimeData;

class PasteService : public QObject {
    Q_OBJECT
public:
    enum class Outcome { pasted, needsManualPaste };

    static constexpr int snapshotDeadlineMs = 400;
    static constexpr int keysDelayMs = 100;    // after the write, before the keys
    static constexpr int restoreDelayMs = 600; // after the keys, before the restore

    PasteService(Clipboard &clipboard, KeyPoster &keys, ClipboardSnapshotReader &reader, ClipboardMonitor &monitor,
                 HistoryStore &store, AppSettings &settings, QObject *parent = nullptr);
    static PasteService &shared();

    // Asynchronous: returns at once; `done` runs on the main thread when the paste has
    // finished, the restore included.
    void paste(const ClipItem &item, bool plainText, std::function<void(Outcome)> done = {});
    // Replaces the clipboard's contents with the entry; returns the change counter after the write.
    qint64 write(const ClipItem &item, bool plainText, bool markTransient);
    // The clipboard's contents read off the main thread, or absent when not ready within
    // 400 ms; `done` runs on the main thread exactly once.
    void snapshotWithDeadline(std::function<void(std::optional<ClipboardSnapshot>)> done);
    // Ctrl+V (Ctrl+Shift+V into a terminal); false when not trusted or no event could be made.
    bool postCmdV();

    // The formats of a snapshot as clipboard contents; several items merge into one.
    static QMimeData *mimeData(const ClipboardSnapshot &snapshot);

private:
    void writeText(QMimeData &data, const ClipItem &item, bool plainText) const;
    void writeImage(QMimeData &data, const ClipItem &item) const;
    void writeFiles(QMimeData &data, const ClipItem &item) const;
    void pasteWritten(const ClipItem &item, bool plainText, bool restore, std::optional<ClipboardSnapshot> snapshot,
                      std::function<void(Outcome)> done);
    void restore(const ClipboardSnapshot &snapshot, qint64 changeCount);

    Clipboard &m_clipboard;
    KeyPoster &m_keys;
    ClipboardSnapshotReader &m_reader;
    ClipboardMonitor &m_monitor;
    HistoryStore &m_store;
    AppSettings &m_settings;
};

// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "platform/ClipboardSnapshot.h"

#include <QObject>
#include <QThread>

// Reads the CLIPBOARD selection on worker threads, each read with an xcb connection of its own
// (Qt's clipboard is main-thread only). A read watches the selection's owner throughout and
// gives up as soon as it changes, so everything it returns comes from one owner; an offer
// announced larger than its limit is refused before any of it is transferred.
class X11ClipboardSnapshotReader final : public QObject, public ClipboardSnapshotReader {
    Q_OBJECT
public:
    // Limits of a paste's read. Beyond them the read gives up and delivers an absent snapshot: a
    // paste then leaves the pasted entry on the clipboard rather than restore half of it.
    static constexpr int maxReadMs = 5000;       // the whole read
    static constexpr int maxTargetWaitMs = 1000; // one target's answer (a silent target is skipped)
    static constexpr qint64 maxTotalBytes = 64 * 1024 * 1024;

    explicit X11ClipboardSnapshotReader(QObject *parent = nullptr);
    ~X11ClipboardSnapshotReader() override; // waits for running reads (each is bounded by its deadline)

    // Everything the owner offers (TARGETS, then each readable target), for a restore.
    void read(std::function<void(std::optional<ClipboardSnapshot>)> done) override;
    // What a capture asks for, provided the window `owner` holds the clipboard when the read
    // starts and keeps it to the end. Otherwise, or past the request's deadline, `done` gets nothing.
    void read(const ClipboardReadRequest &request, quint32 owner,
              std::function<void(std::optional<ClipboardItemData>)> done);

private:
    template <typename T> void start(std::function<T()> work, std::function<void(T)> done);

    QByteArray m_display;
    QList<QThread *> m_workers;
};

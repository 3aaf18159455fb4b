#pragma once
#include "platform/ClipboardSnapshot.h"

#include <QObject>
#include <QThread>

// Reads the CLIPBOARD selection on a worker thread with an xcb connection of its own (Qt's
// clipboard is main-thread only): TARGETS first, then each readable target in order.
class X11ClipboardSnapshotReader final : public QObject, public ClipboardSnapshotReader {
    Q_OBJECT
public:
    // Limits of one read. Beyond them the read gives up and delivers an absent snapshot: a
    // paste then leaves the pasted entry on the clipboard rather than restore half of it.
    static constexpr int maxReadMs = 5000;       // the whole read
    static constexpr int maxTargetWaitMs = 1000; // one target's answer (a silent target is skipped)
    static constexpr qint64 maxTotalBytes = 64 * 1024 * 1024;

    explicit X11ClipboardSnapshotReader(QObject *parent = nullptr);
    ~X11ClipboardSnapshotReader() override; // waits for running reads (each is bounded by maxReadMs)

    void read(std::function<void(std::optional<ClipboardSnapshot>)> done) override;
    // One blocking read on a new connection to `display` (nullptr: $DISPLAY).
    static std::optional<ClipboardSnapshot> readNow(const QByteArray &display);

private:
    QByteArray m_display;
    QList<QThread *> m_workers;
};

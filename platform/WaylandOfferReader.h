// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "platform/ClipboardSnapshot.h"
#include "platform/WaylandWatches.h"

// Reads formats of one clipboard offer on the Wayland worker, one type at a time, each through a
// pipe the owner writes into. The pipes are read as data arrives, never waited on: a type whose
// owner stays silent for a while is skipped, a type larger than its share is abandoned, and the
// whole read ends at its deadline, so an owner that never writes only costs time up to that.
class WaylandOfferReader {
public:
    // The first of `types` that can be read, within `maxBytes`.
    struct Step {
        QStringList types;
        qint64 maxBytes = 0;
    };
    struct Limits {
        qint64 maxTotalBytes = 0;
        QDeadlineTimer deadline;
        bool wholeOrNothing = false; // a type over its share fails the read (else it is skipped)
        int silenceMs = 1000;        // a type without data for this long is skipped
    };
    // Asks the owner to write `type` into `fd` (the reader closes its copy afterwards).
    using Receive = std::function<void(const QString &type, int fd)>;
    using Done = std::function<void(std::optional<ClipboardItemData>)>;

    WaylandOfferReader(WaylandWatches &watches, Receive receive, QList<Step> steps, Limits limits, Done done);
    ~WaylandOfferReader(); // an unfinished read ends with nothing

    void start();
    bool isFinished() const { return !m_done; }
    // The offer was replaced: the read ends with nothing.
    void cancel() { finish(std::nullopt); }

    // The reads a request asks for: each want's offered formats in order, within the want's size.
    static QList<Step> steps(const ClipboardReadRequest &request, const QStringList &offered);
    // Every offered type, for a snapshot of the whole clipboard.
    static QList<Step> everyType(const QStringList &offered, qint64 maxBytes);

private:
    void next();
    void receiveCandidate();
    void onReadable(short revents);
    void endCandidate(std::optional<QByteArray> bytes);
    void closePipe();
    void finish(std::optional<ClipboardItemData> result);

    WaylandWatches &m_watches;
    Receive m_receive;
    QList<Step> m_steps;
    Limits m_limits;
    Done m_done;
    qsizetype m_step = 0;
    qsizetype m_candidate = 0;
    int m_fd = -1;
    quint64 m_watch = 0;
    QByteArray m_bytes;
    qint64 m_totalBytes = 0;
    ClipboardItemData m_item;
};

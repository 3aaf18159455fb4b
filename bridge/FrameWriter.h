// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The outgoing side of the companion socket's framing.
#include <QByteArray>
#include <functional>

// Holds frames (a message plus its line feed) until the socket has taken them whole: a short
// write is continued, never abandoned midway, so the companion never sees half a frame
// followed by the next one.
//
// `drain` calls the write function with the unsent bytes until all are written. The write
// function has the contract of ::write/::send: bytes written, or -1 with errno set. EINTR is
// retried at once; EAGAIN/EWOULDBLOCK leaves the rest pending (a non-blocking socket drains
// again when writable); 0 or any other error is a failure, after which the caller disconnects
// and calls clear().
//
// The pending bytes are capped, for a peer that stops reading: a frame that would push them
// beyond `maxPendingBytes` is refused whole (the message is lost, as a failed write loses it).
class FrameWriter {
public:
    using WriteFunction = std::function<qint64(const char *data, qint64 size)>;
    enum class Result { Done, Pending, Failed };
    static constexpr qsizetype defaultMaxPendingBytes = 1024 * 1024; // 1 MiB

    explicit FrameWriter(qsizetype maxPendingBytes = defaultMaxPendingBytes);

    static QByteArray frame(const QByteArray &message) { return message + '\n'; }

    bool enqueue(const QByteArray &message); // false: refused by the cap
    Result drain(const WriteFunction &write);
    void clear();

    bool hasPending() const { return !m_pending.isEmpty(); }
    qsizetype pendingBytes() const { return m_pending.size(); }

private:
    QByteArray m_pending;
    qsizetype m_maxPendingBytes;
};

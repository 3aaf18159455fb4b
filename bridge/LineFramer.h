// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The companion socket's byte stream cut into newline-terminated messages.
#include <QByteArray>
#include <QByteArrayView>
#include <optional>

// Collects received bytes (`readBuffer`) and hands out complete lines, in order, however
// the stream was split into reads. A line is the bytes before a line feed (10); a single
// carriage return before the line feed is dropped too, and empty lines are skipped.
//
// The cap: a line longer than `maxLineBytes` is dropped
// whole. While such a line is still arriving its bytes are discarded as they come, up to and
// including its line feed, so the buffer never holds more than one read plus `maxLineBytes`
// beyond the complete lines not yet taken; framing resumes with the next line.
class LineFramer {
public:
    static constexpr qsizetype defaultMaxLineBytes = 1024 * 1024; // 1 MiB
    static constexpr char terminator = '\n';

    explicit LineFramer(qsizetype maxLineBytes = defaultMaxLineBytes);

    void append(QByteArrayView bytes);
    std::optional<QByteArray> takeLine(); // the next complete, non-empty line
    void clear();                          // on disconnect: forget buffered bytes

    qsizetype bufferedBytes() const { return m_buffer.size() - m_start; }
    qint64 droppedLines() const { return m_droppedLines; } // lines dropped for their length
    qsizetype maxLineBytes() const { return m_maxLineBytes; }

private:
    QByteArray m_buffer;
    qsizetype m_start = 0;        // bytes before this were already taken
    bool m_discarding = false;    // inside an over-long line, waiting for its line feed
    qint64 m_droppedLines = 0;
    qsizetype m_maxLineBytes;
};

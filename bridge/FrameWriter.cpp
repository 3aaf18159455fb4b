// SPDX-License-Identifier: GPL-3.0-or-later
#include "bridge/FrameWriter.h"

#include <cerrno>

FrameWriter::FrameWriter(qsizetype maxPendingBytes) : m_maxPendingBytes(maxPendingBytes) {}

bool FrameWriter::enqueue(const QByteArray &message)
{
    if (m_pending.size() + message.size() + 1 > m_maxPendingBytes)
        return false;
    m_pending += frame(message);
    return true;
}

FrameWriter::Result FrameWriter::drain(const WriteFunction &write)
{
    qsizetype sent = 0;
    Result result = Result::Done;
    while (sent < m_pending.size()) {
        errno = 0;
        const qint64 n = write(m_pending.constData() + sent, m_pending.size() - sent);
        if (n > 0) {
            sent += qsizetype(n);
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        result = n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) ? Result::Pending : Result::Failed;
        break;
    }
    m_pending.remove(0, sent);
    return result;
}

void FrameWriter::clear()
{
    m_pending.clear();
}

// SPDX-License-Identifier: GPL-3.0-or-later
#include "bridge/LineFramer.h"

#include <algorithm>

LineFramer::LineFramer(qsizetype maxLineBytes) : m_maxLineBytes(std::max<qsizetype>(maxLineBytes, 1)) {}

void LineFramer::append(QByteArrayView bytes)
{
    if (m_discarding) {
        const qsizetype end = bytes.indexOf(terminator);
        if (end < 0)
            return;
        m_discarding = false;
        bytes = bytes.sliced(end + 1);
    }
    m_buffer.remove(0, m_start); // taken lines leave the buffer here, once per read
    m_start = 0;
    m_buffer.append(bytes);

    const qsizetype tail = m_buffer.size() - (m_buffer.lastIndexOf(terminator) + 1);
    if (tail > m_maxLineBytes) {
        m_buffer.chop(tail);
        m_discarding = true;
        ++m_droppedLines;
    }
}

std::optional<QByteArray> LineFramer::takeLine()
{
    for (;;) {
        const qsizetype end = m_buffer.indexOf(terminator, m_start);
        if (end < 0)
            return std::nullopt;
        QByteArrayView line = QByteArrayView(m_buffer).sliced(m_start, end - m_start);
        m_start = end + 1;
        if (line.size() > m_maxLineBytes) {
            ++m_droppedLines;
            continue;
        }
        if (line.endsWith('\r'))
            line.chop(1);
        if (!line.isEmpty())
            return line.toByteArray();
    }
}

void LineFramer::clear()
{
    m_buffer.clear();
    m_start = 0;
    m_discarding = false;
}

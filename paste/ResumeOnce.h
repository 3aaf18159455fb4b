// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QMutex>

// Guards a one-shot completion raced by two tasks. Only the first `claim`
// returns true; the loser's result is dropped.
class ResumeOnce {
public:
    bool claim()
    {
        const QMutexLocker lock(&m_mutex);
        const bool first = !m_resumed;
        m_resumed = true;
        return first;
    }

private:
    QMutex m_mutex;
    bool m_resumed = false;
};

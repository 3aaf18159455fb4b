// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/WaylandWatches.h"

#include <algorithm>

WaylandWatches::Watch WaylandWatches::watch(int fd, short events, QDeadlineTimer deadline,
                                            std::function<void(short)> ready)
{
    const Watch id = m_next++;
    m_watches.append({id, fd, events, deadline, std::move(ready)});
    return id;
}

void WaylandWatches::unwatch(Watch watch)
{
    m_watches.removeIf([watch](const Pending &w) { return w.id == watch; });
}

int WaylandWatches::prepare(QList<pollfd> &fds)
{
    m_polled.clear();
    qint64 timeout = -1;
    for (const Pending &watch : std::as_const(m_watches)) {
        if (watch.fd >= 0) {
            fds.append({watch.fd, watch.events, 0});
            m_polled.append(watch.id);
        }
        if (!watch.deadline.isForever()) {
            const qint64 remaining = watch.deadline.remainingTime();
            timeout = timeout < 0 ? remaining : std::min(timeout, remaining);
        }
    }
    return int(timeout);
}

void WaylandWatches::dispatch(const QList<pollfd> &fds, qsizetype first)
{
    QList<std::pair<Watch, short>> due;
    for (qsizetype i = 0; i < m_polled.size(); ++i)
        if (const short revents = fds[first + i].revents)
            due.append({m_polled[i], revents});
    for (const Pending &watch : std::as_const(m_watches))
        if (watch.deadline.hasExpired()
            && std::none_of(due.cbegin(), due.cend(), [&](const auto &d) { return d.first == watch.id; }))
            due.append({watch.id, 0});
    // Each is looked up again before it runs: an earlier callback may have removed it.
    for (const auto &[id, revents] : std::as_const(due)) {
        const auto it = std::find_if(m_watches.begin(), m_watches.end(), [id = id](const Pending &w) { return w.id == id; });
        if (it == m_watches.end())
            continue;
        const std::function<void(short)> ready = std::move(it->ready);
        m_watches.erase(it);
        ready(revents);
    }
}

// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QDeadlineTimer>
#include <QList>
#include <functional>
#include <poll.h>

// The file descriptors and deadlines a poll(2) loop waits on for its callbacks (the Wayland
// worker's loop): what to poll and for how long before each poll, whose turn it is after.
class WaylandWatches {
public:
    using Watch = quint64;
    // `ready` runs once, from `dispatch`: with poll(2)'s revents when `fd` has one of `events`,
    // or with 0 when `deadline` passes first. With fd -1 it waits for the deadline alone.
    Watch watch(int fd, short events, QDeadlineTimer deadline, std::function<void(short revents)> ready);
    void unwatch(Watch watch);

    // Appends the watched descriptors to `fds`; returns poll(2)'s timeout (-1: none).
    int prepare(QList<pollfd> &fds);
    // After poll(2) on what `prepare` appended from `first` on: runs the watches that are ready
    // or past their deadline. A callback may add and remove watches.
    void dispatch(const QList<pollfd> &fds, qsizetype first);

private:
    struct Pending {
        Watch id;
        int fd;
        short events;
        QDeadlineTimer deadline;
        std::function<void(short)> ready;
    };
    QList<Pending> m_watches;
    QList<Watch> m_polled; // the watch of each descriptor `prepare` appended, in order
    Watch m_next = 1;
};

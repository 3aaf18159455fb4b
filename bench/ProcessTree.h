// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// What a program costs, summed over its process and every process it started, from /proc.
#include <QList>

namespace ProcessTree {
QList<qint64> of(qint64 pid); // the process and its descendants; empty when it does not run
qint64 rssKiB(const QList<qint64> &pids);
qint64 pssKiB(const QList<qint64> &pids); // shared pages divided among the processes using them
qint64 cpuTicks(const QList<qint64> &pids); // user + system time, in clock ticks
double ticksPerSecond();
}

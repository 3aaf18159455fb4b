// SPDX-License-Identifier: GPL-3.0-or-later
#include "ProcessTree.h"

#include <QDir>
#include <QFile>
#include <QMultiHash>
#include <unistd.h>

namespace {

QByteArray readProc(qint64 pid, const char *file)
{
    QFile f(QStringLiteral("/proc/%1/%2").arg(pid).arg(QLatin1String(file)));
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// The fields of /proc/<pid>/stat after the command name (which may hold spaces): state is [0].
QList<QByteArray> statFields(qint64 pid)
{
    const QByteArray stat = readProc(pid, "stat");
    return stat.mid(stat.lastIndexOf(')') + 2).split(' ');
}

// The sum of one "Name:   123 kB" line of a /proc file over the processes.
qint64 sumOf(const QList<qint64> &pids, const char *file, const QByteArray &field)
{
    qint64 sum = 0;
    for (qint64 pid : pids)
        for (const QByteArray &line : readProc(pid, file).split('\n'))
            if (line.startsWith(field))
                sum += line.mid(field.size()).trimmed().split(' ').value(0).toLongLong();
    return sum;
}

} // namespace

namespace ProcessTree {

QList<qint64> of(qint64 pid)
{
    if (pid <= 0 || statFields(pid).size() < 2)
        return {};
    QMultiHash<qint64, qint64> children;
    for (const QString &entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        bool number = false;
        const qint64 child = entry.toLongLong(&number);
        if (number)
            children.insert(statFields(child).value(1).toLongLong(), child); // [1]: parent
    }
    QList<qint64> tree{pid};
    for (qsizetype i = 0; i < tree.size(); ++i)
        tree += children.values(tree[i]);
    return tree;
}

qint64 rssKiB(const QList<qint64> &pids) { return sumOf(pids, "status", "VmRSS:"); }

qint64 pssKiB(const QList<qint64> &pids) { return sumOf(pids, "smaps_rollup", "Pss:"); }

qint64 cpuTicks(const QList<qint64> &pids)
{
    qint64 sum = 0;
    for (qint64 pid : pids) {
        const QList<QByteArray> f = statFields(pid);
        sum += f.value(11).toLongLong() + f.value(12).toLongLong(); // utime, stime
    }
    return sum;
}

double ticksPerSecond() { return double(sysconf(_SC_CLK_TCK)); }

} // namespace ProcessTree

// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The log of this process where there is no journal: the application's own Qt messages,
// the most recent ones kept in memory, for the tester mode's log export.
#include <QDateTime>
#include <QMutex>
#include <QString>
#include <deque>

class AppMessageLog {
public:
    static AppMessageLog &instance();
    // Installs a Qt message handler that keeps each message and passes it on unchanged.
    static void install();

    static constexpr size_t capacity = 5000;

    void append(const QDateTime &time, const QString &category, const QString &message);
    // The entries at or after `since`, one "<ISO 8601> [<category>] <message>" line each.
    QString exportSince(const QDateTime &since) const;

private:
    struct Entry {
        QDateTime time;
        QString category;
        QString message;
    };
    mutable QMutex m_lock;
    std::deque<Entry> m_entries;
};

// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The small rotating tester log, "tester.log" and "tester.log.1" in the
// diagnostics directory. One lock serialises writing, rotating and reading.
#include <QMutex>
#include <QString>

class Clock;

class DebugLog {
public:
    DebugLog(const QString &directory, Clock &clock);
    static DebugLog &shared();

    static constexpr qint64 rotationBytes = 524288;    // 512 KiB
    static constexpr qsizetype tailCharacters = 262144;

    // Shorthands on the shared log; callable from any thread.
    static void log(const QString &message) { shared().append(message); }
    static QString tail() { return shared().readTail(); }

    // Appends "<ISO 8601 time> <message>\n", rotating first when the file is over 512 KiB.
    void append(const QString &message);
    // "tester.log.1" then "tester.log" (each only if valid UTF-8), at most its last 262144 characters.
    QString readTail();

    QString currentPath() const { return m_directory + QStringLiteral("/tester.log"); }
    QString previousPath() const { return m_directory + QStringLiteral("/tester.log.1"); }

private:
    QString m_directory;
    Clock &m_clock;
    QMutex m_lock;
};

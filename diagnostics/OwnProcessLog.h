// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The system log of this process, for the tester mode's upload: the journal entries of this
// process where a journal exists, else the application's own message log. Either way each
// line reads "<ISO 8601 date> [<category>] <message>".
#include <QDateTime>
#include <QString>

class AppMessageLog;

class OwnProcessLog {
public:
    struct Options {
        QString journalctl = QStringLiteral("journalctl");
        QString journalSocket = QStringLiteral("/run/systemd/journal/socket"); // journald is running
        qint64 pid = 0;        // 0: this process
        int timeoutMs = 5000;  // journalctl is given this long
    };
    OwnProcessLog(AppMessageLog &messages, Options options);
    OwnProcessLog(AppMessageLog &messages);

    // Runs journalctl (blocking): call it off the main thread.
    QString exportSince(const QDateTime &since) const;

    // One `journalctl -o short-iso` line: "<date> <host> <identifier>[<pid>]: <message>".
    static QString fromShortIso(const QString &line);

private:
    bool journalExists() const;

    AppMessageLog &m_messages;
    Options m_options;
};

// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// "improve-queue.jsonl", one compact JSON event per line. Every failure is
// ignored (the events are lost); only the reporter's serial worker touches it.
#include <QByteArray>
#include <QList>
#include <QString>

class ImproveQueueFile {
public:
    explicit ImproveQueueFile(const QString &path)
        : m_path(path)
    {
    }
    QString path() const { return m_path; }

    void append(const QByteArray &line) const;
    QList<QByteArray> readLines() const; // empty pieces left out
    void rewrite(const QList<QByteArray> &lines) const; // empty list deletes the file
    void remove() const;

private:
    QString m_path;
};

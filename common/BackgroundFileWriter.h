// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Writes one file on a thread of its own, so that encoding and writing a large file never holds
// up the interface. The owner hands over a job that writes the file's contents (typically from
// an implicitly shared snapshot, an O(1) copy) and goes on. One write runs at a time; a job
// handed over meanwhile replaces any still waiting, so a burst of changes ends with one write
// of the newest state. Each write is atomic (FileSafety::writeAtomically).
#include <QIODevice>
#include <QObject>
#include <QString>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

class BackgroundFileWriter : public QObject {
    Q_OBJECT
public:
    // Writes the contents to the file, on the writer's thread; false fails the write.
    using Job = std::function<bool(QIODevice &)>;

    explicit BackgroundFileWriter(const QString &path, QObject *parent = nullptr);
    ~BackgroundFileWriter() override; // finishes the write under way and the one waiting

    void write(Job job);
    // Blocks until every job handed over is written or has failed, then reports as `written`
    // does. For the quit path and tests; the interface never waits here.
    void wait();

signals:
    // On the owner's thread, once the last job handed over has been written (ok) or not; an
    // outcome that a newer job supersedes is not reported.
    void written(bool ok);

private:
    void run();
    void report();

    const QString m_path;
    std::mutex m_mutex;
    std::condition_variable m_wake; // a job waits, or the thread is to end
    std::condition_variable m_idle; // no job waits and none runs
    Job m_waiting;
    bool m_running = false;
    bool m_ending = false;
    std::optional<bool> m_outcome; // of the last write, not yet reported
    std::thread m_thread;
};

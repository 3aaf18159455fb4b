// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/BackgroundFileWriter.h"

#include "common/FileSafety.h"

#include <malloc.h>

BackgroundFileWriter::BackgroundFileWriter(const QString &path, QObject *parent)
    : QObject(parent)
    , m_path(path)
    , m_thread([this] { run(); })
{
}

BackgroundFileWriter::~BackgroundFileWriter()
{
    {
        std::lock_guard lock(m_mutex);
        m_ending = true;
    }
    m_wake.notify_one();
    m_thread.join();
}

void BackgroundFileWriter::write(Job job)
{
    {
        std::lock_guard lock(m_mutex);
        m_waiting = std::move(job);
    }
    m_wake.notify_one();
}

void BackgroundFileWriter::wait()
{
    {
        std::unique_lock lock(m_mutex);
        m_idle.wait(lock, [this] { return !m_waiting && !m_running; });
    }
    report();
}

void BackgroundFileWriter::run()
{
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_waiting || m_ending; });
        if (!m_waiting)
            return; // ending, and nothing left to write
        Job job = std::exchange(m_waiting, nullptr);
        m_running = true;
        lock.unlock();
        const bool ok = FileSafety::writeAtomically(m_path, job);
        job = nullptr; // the snapshot it held
        // The encoded pieces were freed; without this the heap keeps their pages.
        malloc_trim(0);
        lock.lock();
        m_running = false;
        m_outcome = ok;
        if (!m_waiting)
            m_idle.notify_all();
        QMetaObject::invokeMethod(this, &BackgroundFileWriter::report, Qt::QueuedConnection);
    }
}

void BackgroundFileWriter::report()
{
    std::unique_lock lock(m_mutex);
    if (!m_outcome || m_waiting || m_running)
        return; // a newer write follows and reports
    const bool ok = *std::exchange(m_outcome, std::nullopt);
    lock.unlock();
    emit written(ok);
}

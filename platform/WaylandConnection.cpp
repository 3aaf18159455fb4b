// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/WaylandConnection.h"

#include <QLoggingCategory>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <wayland-client.h>

namespace {

Q_LOGGING_CATEGORY(waylandLog, "stashwell.wayland")

} // namespace

WaylandConnection::WaylandConnection()
    : m_display(wl_display_connect(nullptr))
{
    if (!m_display) {
        qCWarning(waylandLog) << "No Wayland compositor to connect to.";
        return;
    }
    m_wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    m_running = true;
    m_worker.reset(QThread::create([this] { run(); }));
    m_worker->start();
}

WaylandConnection::~WaylandConnection()
{
    stop();
    if (m_wake >= 0)
        close(m_wake);
    if (m_display)
        wl_display_disconnect(m_display);
}

void WaylandConnection::stop()
{
    if (!m_worker)
        return;
    {
        QMutexLocker lock(&m_mutex);
        m_stopping = true;
    }
    wake();
    m_worker->wait();
    m_worker.reset();
}

bool WaylandConnection::post(std::function<void()> task)
{
    {
        QMutexLocker lock(&m_mutex);
        if (!m_running || m_stopping)
            return false;
        m_tasks.append(std::move(task));
    }
    wake();
    return true;
}

// Interrupts the worker's poll, for a new task or to stop.
void WaylandConnection::wake()
{
    const uint64_t one = 1;
    [[maybe_unused]] auto n = write(m_wake, &one, sizeof one);
}

void WaylandConnection::run()
{
    // A client that closes its end of a transfer pipe must not kill the process: writes to it
    // fail with EPIPE instead, on this thread, which is the only one writing to such pipes.
    sigset_t pipeSignal;
    sigemptyset(&pipeSignal);
    sigaddset(&pipeSignal, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSignal, nullptr);

    bool alive = setUp();
    while (alive) {
        {
            QMutexLocker lock(&m_mutex);
            if (m_stopping)
                break;
        }
        runTasks();
        alive = pollOnce();
    }
    if (!alive)
        qCWarning(waylandLog) << "The Wayland connection broke:" << strerror(wl_display_get_error(m_display));
    QMutexLocker lock(&m_mutex);
    m_running = false;
    m_tasks.clear();
}

bool WaylandConnection::setUp()
{
    static const wl_registry_listener listener{
        [](void *data, wl_registry *, uint32_t name, const char *interface, uint32_t version) {
            static_cast<WaylandConnection *>(data)->m_globals.append({name, QByteArray(interface), version});
        },
        [](void *, wl_registry *, uint32_t) {}}; // seats and outputs that go away are not used
    m_registry = wl_display_get_registry(m_display);
    wl_registry_add_listener(m_registry, &listener, this);
    if (wl_display_roundtrip(m_display) < 0)
        return false;
    m_seat = reinterpret_cast<wl_seat *>(bind(wl_seat_interface, 1));
    if (!m_seat)
        qCWarning(waylandLog) << "The compositor offers no seat.";
    return true;
}

wl_proxy *WaylandConnection::bind(const wl_interface &interface, quint32 maxVersion)
{
    const auto global = std::find_if(m_globals.cbegin(), m_globals.cend(),
                                     [&](const Global &g) { return g.interface == interface.name; });
    if (global == m_globals.cend())
        return nullptr;
    return static_cast<wl_proxy *>(
        wl_registry_bind(m_registry, global->name, &interface, std::min(global->version, maxVersion)));
}

void WaylandConnection::runTasks()
{
    QList<std::function<void()>> tasks;
    {
        QMutexLocker lock(&m_mutex);
        tasks.swap(m_tasks);
    }
    for (const auto &task : std::as_const(tasks))
        task();
}

bool WaylandConnection::pollOnce()
{
    // The usual client loop for a thread of its own: queued events first, then read while
    // polling the display with the wake-up and the watched descriptors.
    while (wl_display_prepare_read(m_display) != 0)
        if (wl_display_dispatch_pending(m_display) < 0)
            return false;
    const bool flushed = wl_display_flush(m_display) >= 0;
    if (!flushed && errno != EAGAIN) {
        wl_display_cancel_read(m_display);
        return false;
    }

    // A full socket takes the rest of the requests once it can.
    const short displayEvents = flushed ? POLLIN : POLLIN | POLLOUT;
    QList<pollfd> fds{{wl_display_get_fd(m_display), displayEvents, 0}, {m_wake, POLLIN, 0}};
    const int timeout = m_watches.prepare(fds);
    const int ready = poll(fds.data(), nfds_t(fds.size()), timeout);
    if (ready > 0 && (fds[0].revents & POLLIN)) {
        if (wl_display_read_events(m_display) < 0)
            return false;
    } else {
        wl_display_cancel_read(m_display);
    }
    if (wl_display_dispatch_pending(m_display) < 0)
        return false;
    if (fds[1].revents & POLLIN) {
        uint64_t count;
        [[maybe_unused]] auto n = read(m_wake, &count, sizeof count);
    }

    m_watches.dispatch(fds, 2);
    return true;
}

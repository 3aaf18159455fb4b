// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Only platform/ includes this.
#include "platform/WaylandWatches.h"

#include <QList>
#include <QMutex>
#include <QThread>
#include <functional>
#include <memory>

struct wl_display;
struct wl_interface;
struct wl_proxy;
struct wl_registry;
struct wl_seat;

// Stashwell's own connection to the Wayland compositor, serviced by one worker thread. Qt's
// connection belongs to the main thread and speaks none of the protocols a clipboard manager
// needs (data control, foreign toplevels, virtual keyboard); this one does, and the worker also
// waits on the pipes of clipboard transfers, so no compositor or client can stall the main
// thread. Every Wayland object of this connection is created, used and destroyed on the worker.
class WaylandConnection {
public:
    WaylandConnection(); // connects to $WAYLAND_DISPLAY and starts the worker
    ~WaylandConnection();
    bool isConnected() const { return m_display != nullptr; }
    // Ends the worker; afterwards the objects of the connection may be destroyed on any thread.
    void stop();

    // Any thread: runs `task` on the worker, in the order posted, once the compositor's globals
    // are known. False when the worker is not running (no compositor, or it went away).
    bool post(std::function<void()> task);

    // The worker only, from here on.
    // The compositor's first global of `interface`, bound at the highest version it offers up to
    // `maxVersion`; nullptr when it offers none.
    wl_proxy *bind(const wl_interface &interface, quint32 maxVersion);
    wl_seat *seat() const { return m_seat; }
    wl_display *display() const { return m_display; }

    // The descriptors and deadlines the worker waits on besides the display.
    WaylandWatches &watches() { return m_watches; }

private:
    struct Global {
        quint32 name;
        QByteArray interface;
        quint32 version;
    };

    void wake();
    void run();
    bool setUp();
    void runTasks();
    bool pollOnce(); // false once the connection is broken

    wl_display *m_display = nullptr;
    wl_registry *m_registry = nullptr;
    wl_seat *m_seat = nullptr;
    int m_wake = -1; // an eventfd: tasks were posted, or stop
    std::unique_ptr<QThread> m_worker;
    QList<Global> m_globals;
    WaylandWatches m_watches;

    QMutex m_mutex; // guards the fields below
    QList<std::function<void()>> m_tasks;
    bool m_running = false;
    bool m_stopping = false;
};

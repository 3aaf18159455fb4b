// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QHash>
#include <QMutex>
#include <QString>
#include <functional>

class WaylandConnection;
struct zwlr_foreign_toplevel_handle_v1;
struct zwlr_foreign_toplevel_manager_v1;

// Every client's toplevel windows through the wlroots foreign-toplevel protocol, followed on the
// Wayland worker: which one is activated (has the keyboard focus), by app_id. The latest state
// can be read from any thread.
class WaylandToplevels {
public:
    struct Focus {
        bool known = false;   // the compositor tells which toplevel is activated
        bool active = false;  // one is
        QString appId;        // the activated one's
        bool own = false;     // the activated one is a window of this process
        QString lastOtherAppId; // of the latest activated toplevel of another process
    };

    // Follows the toplevels from when the connection is ready; `ownAppId` is the app_id of this
    // process's windows. `connection` must be stopped before this is destroyed.
    WaylandToplevels(WaylandConnection &connection, QString ownAppId);
    ~WaylandToplevels();

    // Worker: `changed` runs after every change of the activated toplevel.
    void onFocusChanged(std::function<void()> changed) { m_focusChanged = std::move(changed); }

    Focus focus() const; // any thread

private:
    struct Toplevel {
        QString appId;
        bool activated = false; // as of the latest `done`
        bool pendingActivated = false;
    };
    static const struct zwlr_foreign_toplevel_handle_v1_listener handleListener;
    void setUp();
    void commit(zwlr_foreign_toplevel_handle_v1 *handle);
    void closed(zwlr_foreign_toplevel_handle_v1 *handle);
    void publish();

    WaylandConnection &m_connection;
    const QString m_ownAppId;
    zwlr_foreign_toplevel_manager_v1 *m_manager = nullptr;
    QHash<zwlr_foreign_toplevel_handle_v1 *, Toplevel> m_toplevels;
    zwlr_foreign_toplevel_handle_v1 *m_active = nullptr;
    std::function<void()> m_focusChanged;

    mutable QMutex m_mutex; // guards m_focus
    Focus m_focus;
};

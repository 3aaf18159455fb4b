// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/WaylandToplevels.h"

#include "platform/WaylandConnection.h"

#include <QLoggingCategory>

#include "wlr-foreign-toplevel-management-unstable-v1-client-protocol.h"

namespace {

Q_LOGGING_CATEGORY(toplevelLog, "stashwell.activewindow")

WaylandToplevels *self(void *data)
{
    return static_cast<WaylandToplevels *>(data);
}

} // namespace

WaylandToplevels::WaylandToplevels(WaylandConnection &connection, QString ownAppId)
    : m_connection(connection)
    , m_ownAppId(std::move(ownAppId))
{
    m_connection.post([this] { setUp(); });
}

WaylandToplevels::~WaylandToplevels()
{
    for (zwlr_foreign_toplevel_handle_v1 *handle : m_toplevels.keys())
        zwlr_foreign_toplevel_handle_v1_destroy(handle);
    if (m_manager)
        zwlr_foreign_toplevel_manager_v1_destroy(m_manager);
}

const zwlr_foreign_toplevel_handle_v1_listener WaylandToplevels::handleListener{
    .title = [](void *, zwlr_foreign_toplevel_handle_v1 *, const char *) {},
    .app_id = [](void *data, zwlr_foreign_toplevel_handle_v1 *handle,
                 const char *appId) { self(data)->m_toplevels[handle].appId = QString::fromUtf8(appId); },
    .output_enter = [](void *, zwlr_foreign_toplevel_handle_v1 *, wl_output *) {},
    .output_leave = [](void *, zwlr_foreign_toplevel_handle_v1 *, wl_output *) {},
    .state =
        [](void *data, zwlr_foreign_toplevel_handle_v1 *handle, wl_array *states) {
            bool activated = false;
            const auto *state = static_cast<const uint32_t *>(states->data);
            for (size_t i = 0; i < states->size / sizeof(uint32_t); ++i)
                activated = activated || state[i] == ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED;
            self(data)->m_toplevels[handle].pendingActivated = activated;
        },
    .done = [](void *data, zwlr_foreign_toplevel_handle_v1 *handle) { self(data)->commit(handle); },
    .closed = [](void *data, zwlr_foreign_toplevel_handle_v1 *handle) { self(data)->closed(handle); },
    .parent = [](void *, zwlr_foreign_toplevel_handle_v1 *, zwlr_foreign_toplevel_handle_v1 *) {},
};

void WaylandToplevels::setUp()
{
    m_manager = reinterpret_cast<zwlr_foreign_toplevel_manager_v1 *>(
        m_connection.bind(zwlr_foreign_toplevel_manager_v1_interface, 3));
    if (!m_manager) {
        qCInfo(toplevelLog) << "The compositor does not tell which window is active: copies have no source application.";
        return;
    }
    static const zwlr_foreign_toplevel_manager_v1_listener managerListener{
        .toplevel =
            [](void *data, zwlr_foreign_toplevel_manager_v1 *, zwlr_foreign_toplevel_handle_v1 *handle) {
                self(data)->m_toplevels.insert(handle, {});
                zwlr_foreign_toplevel_handle_v1_add_listener(handle, &handleListener, data);
            },
        .finished = [](void *, zwlr_foreign_toplevel_manager_v1 *) {},
    };
    zwlr_foreign_toplevel_manager_v1_add_listener(m_manager, &managerListener, this);
    QMutexLocker lock(&m_mutex);
    m_focus.known = true;
}

void WaylandToplevels::commit(zwlr_foreign_toplevel_handle_v1 *handle)
{
    Toplevel &toplevel = m_toplevels[handle];
    const bool was = toplevel.activated;
    toplevel.activated = toplevel.pendingActivated;
    if (toplevel.activated) {
        m_active = handle;
    } else if (m_active == handle) {
        m_active = nullptr;
    }
    publish();
    if (was != toplevel.activated && m_focusChanged)
        m_focusChanged();
}

void WaylandToplevels::closed(zwlr_foreign_toplevel_handle_v1 *handle)
{
    m_toplevels.remove(handle);
    zwlr_foreign_toplevel_handle_v1_destroy(handle);
    if (m_active != handle)
        return;
    m_active = nullptr;
    publish();
    if (m_focusChanged)
        m_focusChanged();
}

void WaylandToplevels::publish()
{
    const Toplevel *active = m_active ? &m_toplevels[m_active] : nullptr;
    QMutexLocker lock(&m_mutex);
    m_focus.active = active;
    m_focus.appId = active ? active->appId : QString();
    m_focus.own = active && active->appId == m_ownAppId;
    if (active && !m_focus.own)
        m_focus.lastOtherAppId = active->appId;
}

WaylandToplevels::Focus WaylandToplevels::focus() const
{
    QMutexLocker lock(&m_mutex);
    return m_focus;
}

// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QHash>
#include <QtGlobal>
#include <Qt>
#include <functional>
#include <optional>

// The platform's system-wide hot keys (key grabs on X11, the desktop portal on Wayland). Handles are opaque;
// nullopt means nothing was installed.
class HotKeyBackend {
public:
    using Handle = quint64;
    // What registerHotKey installed: a handle, or none, because another program holds the
    // combination (`taken`) or because there is no X11 display or no key for it.
    struct Registration {
        std::optional<Handle> handle;
        bool taken = false;
    };

    virtual ~HotKeyBackend() = default;
    // `handler` runs on the main thread with the identifier of each pressed hot key.
    virtual std::optional<Handle> installHandler(std::function<void(quint32 id)> handler) = 0;
    virtual void removeHandler(Handle handler) = 0;
    // All or nothing: a combination another program holds even in one lock-key variant is
    // left to that program.
    virtual Registration registerHotKey(Qt::Key key, Qt::KeyboardModifiers modifiers, quint32 id) = 0;
    virtual void unregisterHotKey(Handle hotKey) = 0;
};

// The handlers installed on a back end, each under its own handle.
class HotKeyHandlers {
public:
    HotKeyBackend::Handle install(std::function<void(quint32 id)> handler)
    {
        m_handlers.insert(m_next, std::move(handler));
        return m_next++;
    }
    void remove(HotKeyBackend::Handle handle) { m_handlers.remove(handle); }
    // Runs every handler with `id`; a handler may remove itself (or another) while this runs.
    void dispatch(quint32 id) const
    {
        const auto handlers = m_handlers;
        for (const auto &handler : handlers)
            handler(id);
    }

private:
    QHash<HotKeyBackend::Handle, std::function<void(quint32)>> m_handlers;
    HotKeyBackend::Handle m_next = 1;
};

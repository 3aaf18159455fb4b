// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/WaylandKeyPoster.h"

#include "platform/WaylandConnection.h"
#include "platform/WaylandToplevels.h"

#include <QElapsedTimer>
#include <QLoggingCategory>
#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>

#include "virtual-keyboard-unstable-v1-client-protocol.h"

namespace {

Q_LOGGING_CATEGORY(keysLog, "stashwell.paste")

// The keymap goes to the compositor as a file descriptor it can map.
int keymapFile(const QByteArray &text)
{
    const int fd = memfd_create("stashwell-keymap", MFD_CLOEXEC);
    if (fd >= 0 && write(fd, text.constData(), size_t(text.size())) == text.size())
        return fd;
    if (fd >= 0)
        close(fd);
    return -1;
}

} // namespace

WaylandKeyPoster::WaylandKeyPoster(WaylandConnection &connection, WaylandToplevels &toplevels)
    : m_connection(connection)
    , m_toplevels(toplevels)
{
    m_connection.post([this] { setUp(); });
}

WaylandKeyPoster::~WaylandKeyPoster()
{
    if (m_keyboard)
        zwp_virtual_keyboard_v1_destroy(m_keyboard);
}

QString WaylandKeyPoster::targetWindowClass() const
{
    return m_toplevels.focus().lastOtherAppId;
}

bool WaylandKeyPoster::postKeyCombination(Qt::KeyboardModifiers modifiers, Qt::Key key)
{
    if (!isTrusted())
        return false;
    const std::optional<WaylandKeymap::Keystroke> stroke = m_keymap->keystroke(modifiers, key);
    return stroke && m_connection.post([this, stroke = *stroke] { type(stroke); });
}

void WaylandKeyPoster::setUp()
{
    auto *manager = reinterpret_cast<zwp_virtual_keyboard_manager_v1 *>(
        m_connection.bind(zwp_virtual_keyboard_manager_v1_interface, 1));
    if (!manager || !m_connection.seat()) {
        qCInfo(keysLog) << "The compositor offers no virtual keyboard: entries are copied, and pasted by the user.";
        return;
    }
    std::optional<WaylandKeymap> keymap = WaylandKeymap::create();
    const int fd = keymap ? keymapFile(keymap->text()) : -1;
    if (fd >= 0)
        m_keyboard = zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(manager, m_connection.seat());
    zwp_virtual_keyboard_manager_v1_destroy(manager); // the keyboard stays; the manager has no other use
    if (!m_keyboard) {
        qCWarning(keysLog) << "No keymap for the virtual keyboard (are the XKB data installed?).";
        return;
    }
    zwp_virtual_keyboard_v1_keymap(m_keyboard, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, fd, uint32_t(keymap->text().size()));
    close(fd); // the request carries a duplicate
    m_toplevels.onFocusChanged([this] { focusChanged(); });
    m_keymap = std::move(keymap);
    m_ready.store(true, std::memory_order_release);
}

void WaylandKeyPoster::type(const WaylandKeymap::Keystroke &stroke)
{
    if (m_pending)
        typePending(); // an earlier combination waits no longer
    m_pending = stroke;
    const WaylandToplevels::Focus focus = m_toplevels.focus();
    if (!focus.known || (focus.active && !focus.own))
        return typePending();
    m_focusWait = m_connection.watches().watch(-1, 0, QDeadlineTimer(focusWaitMs), [this](short) { typePending(); });
}

void WaylandKeyPoster::focusChanged()
{
    const WaylandToplevels::Focus focus = m_toplevels.focus();
    if (focus.active && !focus.own)
        typePending();
}

void WaylandKeyPoster::typePending()
{
    m_connection.watches().unwatch(m_focusWait);
    m_focusWait = 0;
    if (!m_pending)
        return;
    const WaylandKeymap::Keystroke stroke = *std::exchange(m_pending, std::nullopt);
    static const QElapsedTimer clock = [] {
        QElapsedTimer started;
        started.start();
        return started;
    }();
    const auto time = uint32_t(clock.elapsed());
    const auto key = [&](quint32 code, wl_keyboard_key_state state) {
        zwp_virtual_keyboard_v1_key(m_keyboard, time, code, state);
    };
    for (quint32 code : stroke.modifierKeys)
        key(code, WL_KEYBOARD_KEY_STATE_PRESSED);
    zwp_virtual_keyboard_v1_modifiers(m_keyboard, stroke.modifierMask, 0, 0, 0);
    key(stroke.key, WL_KEYBOARD_KEY_STATE_PRESSED);
    key(stroke.key, WL_KEYBOARD_KEY_STATE_RELEASED);
    for (auto code = stroke.modifierKeys.crbegin(); code != stroke.modifierKeys.crend(); ++code)
        key(*code, WL_KEYBOARD_KEY_STATE_RELEASED);
    zwp_virtual_keyboard_v1_modifiers(m_keyboard, 0, 0, 0, 0);
}

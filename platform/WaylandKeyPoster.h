// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "platform/KeyPoster.h"
#include "platform/WaylandKeymap.h"

#include <atomic>

class WaylandConnection;
class WaylandToplevels;
struct zwp_virtual_keyboard_v1;

// Keys typed through one virtual keyboard of Stashwell's own (the virtual-keyboard protocol)
// with a US keymap, created at start: a freshly created virtual keyboard can lose its first key.
// The keys go to whichever window has the keyboard focus, so a combination waits until a window
// of another process is activated again (the palette has closed and the compositor has given
// the focus back), at the latest `focusWaitMs`; the paste service's restore comes later still.
class WaylandKeyPoster final : public KeyPoster {
public:
    static constexpr int focusWaitMs = 400;

    // `connection` must be stopped before this is destroyed.
    WaylandKeyPoster(WaylandConnection &connection, WaylandToplevels &toplevels);
    ~WaylandKeyPoster() override;

    // The compositor gave Stashwell a virtual keyboard.
    bool isTrusted() const override { return m_ready.load(std::memory_order_acquire); }
    // The app_id of the window the keys will reach: the latest activated one of another process.
    QString targetWindowClass() const override;
    // Returns at once; the keys follow on the worker as described above.
    bool postKeyCombination(Qt::KeyboardModifiers modifiers, Qt::Key key) override;

private:
    // The worker's side.
    void setUp();
    void type(const WaylandKeymap::Keystroke &stroke);
    void focusChanged();
    void typePending();

    WaylandConnection &m_connection;
    WaylandToplevels &m_toplevels;
    std::optional<WaylandKeymap> m_keymap; // set on the worker before m_ready, unchanged afterwards
    std::atomic_bool m_ready = false;
    zwp_virtual_keyboard_v1 *m_keyboard = nullptr;
    std::optional<WaylandKeymap::Keystroke> m_pending; // waiting for the focus
    quint64 m_focusWait = 0;
};

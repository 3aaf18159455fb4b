// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Sees a desktop as a user does, on its own X connection: presses keys (XTest), notices windows
// mapped and unmapped (MapNotify on the root window) and their contents repainted (XDamage).
// Events are waited for, never polled.
#include <QString>
#include <chrono>
#include <memory>
#include <optional>
#include <vector>
#include <xcb/xcb.h>

class XProbe {
public:
    using Clock = std::chrono::steady_clock;
    struct Mapped {
        Clock::time_point at;
        xcb_window_t window = XCB_NONE; // a top level: the popup itself, or a managed window's frame
    };

    explicit XProbe(const QString &display);
    ~XProbe();
    XProbe(const XProbe &) = delete;
    XProbe &operator=(const XProbe &) = delete;
    bool isUp() const { return m_connection != nullptr; }

    // Presses the keys together and releases them (xcb keysyms); returns when the request left.
    Clock::time_point press(std::initializer_list<xcb_keysym_t> keys);
    // One character of a query: a-z, 0-9, space, '.', '/'.
    Clock::time_point type(QChar c);

    // The next top level mapped: an override-redirect popup or a window the manager framed.
    std::optional<Mapped> waitMapped(bool overrideRedirect, int timeoutMs);
    bool waitUnmapped(xcb_window_t window, int timeoutMs);
    void discardEvents();

    // Reports repaints of `window` and every window inside it from now on.
    void watchRepaints(xcb_window_t window);
    // Milliseconds from `start` to the last repaint before the window stayed unchanged for
    // `quietMs` (damage narrower than a text cursor does not count: its blinking); nothing when
    // nothing was repainted within `timeoutMs`.
    std::optional<double> settledRepaint(Clock::time_point start, int quietMs, int timeoutMs);
    void stopWatchingRepaints();

private:
    struct EventDeleter {
        void operator()(xcb_generic_event_t *event) const { free(event); }
    };
    using Event = std::unique_ptr<xcb_generic_event_t, EventDeleter>;
    Event next(Clock::time_point deadline);
    xcb_keycode_t keycode(xcb_keysym_t sym) const;

    xcb_connection_t *m_connection = nullptr;
    xcb_window_t m_root = XCB_NONE;
    uint8_t m_damageEvent = 0; // first event code of the Damage extension; 0 without it
    std::vector<uint32_t> m_damages;
    std::vector<xcb_keysym_t> m_keymap; // keysyms per keycode, from the server's mapping
    int m_symsPerCode = 0;
    int m_minKeycode = 0;
};

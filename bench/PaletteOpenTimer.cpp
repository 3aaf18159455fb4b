// SPDX-License-Identifier: GPL-3.0-or-later
#include "PaletteOpenTimer.h"

#include <X11/keysym.h>
#include <chrono>
#include <cstdlib>
#include <poll.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

namespace {

using Clock = std::chrono::steady_clock;

xcb_keycode_t keycode(xcb_connection_t *c, xcb_keysym_t sym)
{
    const xcb_setup_t *setup = xcb_get_setup(c);
    auto cookie = xcb_get_keyboard_mapping(c, setup->min_keycode, setup->max_keycode - setup->min_keycode + 1);
    xcb_get_keyboard_mapping_reply_t *reply = xcb_get_keyboard_mapping_reply(c, cookie, nullptr);
    xcb_keycode_t found = 0;
    if (reply) {
        const xcb_keysym_t *syms = xcb_get_keyboard_mapping_keysyms(reply);
        const int per = reply->keysyms_per_keycode;
        for (int code = setup->min_keycode; code <= setup->max_keycode && !found; ++code)
            for (int i = 0; i < per; ++i)
                if (syms[(code - setup->min_keycode) * per + i] == sym)
                    found = xcb_keycode_t(code);
        free(reply);
    }
    return found;
}

void press(xcb_connection_t *c, std::initializer_list<xcb_keysym_t> keys)
{
    for (xcb_keysym_t k : keys)
        xcb_test_fake_input(c, XCB_KEY_PRESS, keycode(c, k), XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    for (auto it = std::rbegin(keys); it != std::rend(keys); ++it)
        xcb_test_fake_input(c, XCB_KEY_RELEASE, keycode(c, *it), XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    xcb_flush(c);
}

// Waits for a MapNotify (or UnmapNotify) of an override-redirect window; returns its time.
std::optional<Clock::time_point> waitFor(xcb_connection_t *c, uint8_t type, int timeoutMs)
{
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    pollfd fd{xcb_get_file_descriptor(c), POLLIN, 0};
    while (Clock::now() < deadline) {
        while (xcb_generic_event_t *event = xcb_poll_for_event(c)) {
            const uint8_t kind = event->response_type & 0x7f;
            const bool match = kind == type
                && (type != XCB_MAP_NOTIFY || reinterpret_cast<xcb_map_notify_event_t *>(event)->override_redirect);
            free(event);
            if (match)
                return Clock::now();
        }
        poll(&fd, 1, 5);
    }
    return std::nullopt;
}

xcb_connection_t *connectWatching(const QString &display)
{
    xcb_connection_t *c = xcb_connect(display.toLatin1().constData(), nullptr);
    if (xcb_connection_has_error(c))
        return nullptr;
    const uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(c, xcb_setup_roots_iterator(xcb_get_setup(c)).data->root, XCB_CW_EVENT_MASK, &mask);
    xcb_flush(c);
    return c;
}

} // namespace

namespace PaletteOpenTimer {

std::optional<double> measure(const QString &display)
{
    xcb_connection_t *c = connectWatching(display);
    if (!c)
        return std::nullopt;
    const auto start = Clock::now();
    press(c, {XK_Super_L, XK_Shift_L, XK_v});
    const auto mapped = waitFor(c, XCB_MAP_NOTIFY, 10000);
    xcb_disconnect(c);
    if (!mapped)
        return std::nullopt;
    return std::chrono::duration<double, std::milli>(*mapped - start).count();
}

void close(const QString &display)
{
    xcb_connection_t *c = connectWatching(display);
    if (!c)
        return;
    press(c, {XK_Escape});
    waitFor(c, XCB_UNMAP_NOTIFY, 2000);
    xcb_disconnect(c);
}

} // namespace PaletteOpenTimer

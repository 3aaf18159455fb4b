// SPDX-License-Identifier: GPL-3.0-or-later
// Holds Super+Shift+V the way another desktop program would: a passive grab of the key on the
// root window, with and without NumLock and CapsLock. Prints "grabbed" once it holds the key
// (exits with status 1 if it cannot) and keeps it until it is terminated.
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <xcb/xcb.h>

namespace {

constexpr xcb_keysym_t keysymV = 0x76;

// The first keycode whose keysyms include `keysym`, or 0.
xcb_keycode_t keycodeFor(xcb_connection_t *c, xcb_keysym_t keysym)
{
    const xcb_setup_t *setup = xcb_get_setup(c);
    const int count = setup->max_keycode - setup->min_keycode + 1;
    xcb_get_keyboard_mapping_reply_t *map =
        xcb_get_keyboard_mapping_reply(c, xcb_get_keyboard_mapping(c, setup->min_keycode, count), nullptr);
    if (!map)
        return 0;
    const xcb_keysym_t *syms = xcb_get_keyboard_mapping_keysyms(map);
    xcb_keycode_t found = 0;
    for (int i = 0; i < count * map->keysyms_per_keycode && !found; ++i)
        if (syms[i] == keysym)
            found = xcb_keycode_t(setup->min_keycode + i / map->keysyms_per_keycode);
    free(map);
    return found;
}

} // namespace

int main()
{
    xcb_connection_t *c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c))
        return 1;
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    const xcb_keycode_t keycode = keycodeFor(c, keysymV);
    const uint16_t superShift = XCB_MOD_MASK_4 | XCB_MOD_MASK_SHIFT;
    for (int locks : {0, int(XCB_MOD_MASK_LOCK), int(XCB_MOD_MASK_2), XCB_MOD_MASK_2 | XCB_MOD_MASK_LOCK}) {
        const xcb_void_cookie_t cookie = xcb_grab_key_checked(c, 1, root, uint16_t(superShift | locks), keycode,
                                                              XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        if (xcb_generic_error_t *error = xcb_request_check(c, cookie)) {
            free(error);
            return 1;
        }
    }
    std::puts("grabbed");
    std::fflush(stdout);
    while (xcb_generic_event_t *event = xcb_wait_for_event(c))
        free(event);
    return 0;
}

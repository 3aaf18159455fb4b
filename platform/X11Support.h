// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Shared xcb helpers of the Linux layer. Only platform/ includes this.
#include <QByteArray>
#include <xcb/xcb.h>

namespace X11 {
xcb_connection_t *connection(); // Qt's own connection, or nullptr off X11
xcb_window_t rootWindow();
xcb_atom_t atom(const char *name);
QByteArray property(xcb_window_t window, xcb_atom_t property, xcb_atom_t type = XCB_ATOM_ANY);
xcb_window_t activeWindow(); // XCB_WINDOW_NONE when unknown
}

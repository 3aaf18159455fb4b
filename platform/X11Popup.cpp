// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/X11Popup.h"

#include "platform/X11Support.h"

#include <QWidget>
#include <QWindow>

namespace X11Popup {

void show(QWidget *popup)
{
    xcb_connection_t *c = X11::connection();
    if (!c) {
        popup->show();
        return;
    }
    xcb_grab_server(c);
    popup->show(); // maps the window and waits until the server has done so
    popup->windowHandle()->setKeyboardGrabEnabled(true);
    xcb_ungrab_server(c);
    xcb_flush(c);
}

} // namespace X11Popup

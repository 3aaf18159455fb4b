// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/X11Support.h"

#include <QGuiApplication>
#include <cstring>

namespace X11 {

xcb_connection_t *connection()
{
    auto *x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

xcb_window_t rootWindow()
{
    xcb_connection_t *c = connection();
    if (!c)
        return XCB_WINDOW_NONE;
    const xcb_setup_t *setup = xcb_get_setup(c);
    return xcb_setup_roots_iterator(setup).data->root;
}

xcb_atom_t atom(const char *name)
{
    xcb_connection_t *c = connection();
    if (!c)
        return XCB_ATOM_NONE;
    auto cookie = xcb_intern_atom(c, 0, uint16_t(std::strlen(name)), name);
    xcb_intern_atom_reply_t *reply = xcb_intern_atom_reply(c, cookie, nullptr);
    const xcb_atom_t result = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    free(reply);
    return result;
}

QByteArray property(xcb_window_t window, xcb_atom_t property, xcb_atom_t type)
{
    xcb_connection_t *c = connection();
    if (!c || window == XCB_WINDOW_NONE || property == XCB_ATOM_NONE)
        return {};
    auto cookie = xcb_get_property(c, 0, window, property, type, 0, 1024);
    xcb_get_property_reply_t *reply = xcb_get_property_reply(c, cookie, nullptr);
    if (!reply)
        return {};
    QByteArray value(static_cast<const char *>(xcb_get_property_value(reply)), xcb_get_property_value_length(reply));
    free(reply);
    return value;
}

xcb_window_t activeWindow()
{
    const QByteArray value = property(rootWindow(), atom("_NET_ACTIVE_WINDOW"), XCB_ATOM_WINDOW);
    if (value.size() < int(sizeof(xcb_window_t)))
        return XCB_WINDOW_NONE;
    xcb_window_t window;
    std::memcpy(&window, value.constData(), sizeof window);
    return window;
}

} // namespace X11

// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/X11KeyPoster.h"

#include "platform/X11ActiveWindow.h"
#include "platform/X11Keyboard.h"
#include "platform/X11Support.h"

#include <QList>
#include <QThread>
#include <xcb/xtest.h>

namespace {

constexpr int spacingMs = 10; // the pause after each posted event

void post(xcb_connection_t *c, uint8_t type, xcb_keycode_t code)
{
    xcb_test_fake_input(c, type, code, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    xcb_flush(c);
}

} // namespace

bool X11KeyPoster::isTrusted() const
{
    xcb_connection_t *c = X11::connection();
    if (!c)
        return false;
    const xcb_query_extension_reply_t *extension = xcb_get_extension_data(c, &xcb_test_id);
    return extension && extension->present;
}

QString X11KeyPoster::targetWindowClass() const
{
    return X11ActiveWindow::activeWindowClass();
}

bool X11KeyPoster::postKeyCombination(Qt::KeyboardModifiers modifiers, Qt::Key key)
{
    xcb_connection_t *c = X11::connection();
    if (!c)
        return false;
    QList<xcb_keycode_t> modifierCodes;
    for (Qt::KeyboardModifier modifier : {Qt::ControlModifier, Qt::ShiftModifier, Qt::AltModifier, Qt::MetaModifier}) {
        if (!(modifiers & modifier))
            continue;
        const xcb_keycode_t code = X11Keyboard::keycodeFor(c, X11Keyboard::keysymFor(modifier));
        if (!code)
            return false;
        modifierCodes.append(code);
    }
    const xcb_keycode_t keyCode = X11Keyboard::keycodeFor(c, X11Keyboard::keysymFor(key));
    if (!keyCode)
        return false;

    // The user may still hold Super/Shift from the hot key or Alt from Option-Return; the
    // target would then see Ctrl+Shift+Super+V. Release them, as xdotool's --clearmodifiers
    // does. They are not pressed again: a key pressed through XTest that the user has let go
    // of meanwhile would stay stuck down.
    const QList<xcb_keycode_t> held = X11Keyboard::heldModifierKeys(c);
    for (xcb_keycode_t code : held)
        post(c, XCB_KEY_RELEASE, code);
    if (!held.isEmpty())
        QThread::msleep(spacingMs);

    QList<std::pair<uint8_t, xcb_keycode_t>> events;
    for (xcb_keycode_t code : modifierCodes)
        events.append({XCB_KEY_PRESS, code});
    events.append({XCB_KEY_PRESS, keyCode});
    events.append({XCB_KEY_RELEASE, keyCode});
    for (auto it = modifierCodes.crbegin(); it != modifierCodes.crend(); ++it)
        events.append({XCB_KEY_RELEASE, *it});
    for (const auto &[type, code] : events) {
        post(c, type, code);
        QThread::msleep(spacingMs);
    }
    return true;
}

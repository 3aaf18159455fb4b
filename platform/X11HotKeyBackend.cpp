// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/X11HotKeyBackend.h"

#include "platform/GlobalHotKey.h"
#include "platform/X11Keyboard.h"
#include "platform/X11Support.h"

#include <QCoreApplication>
#include <QLoggingCategory>

namespace {

Q_LOGGING_CATEGORY(hotKeyLog, "stashwell.hotkey")

constexpr X11Keyboard::KeySym numLockKeysym = 0xff7f;
// Auto-repeat presses come about 30 ms apart after a delay of up to about 660 ms; a press this
// long after the last one is new even if its release was never noticed.
constexpr quint32 repeatWindowMs = 1000;
// While a hot key is held its state is polled: its release can go to another client (the
// palette's keyboard grab ends while the key is still down), and a new press must not then be
// taken for auto-repeat.
constexpr int releasePollMs = 20;

} // namespace

X11HotKeyBackend::X11HotKeyBackend()
{
    if (QCoreApplication::instance())
        QCoreApplication::instance()->installNativeEventFilter(this);
    m_releaseWatch.setInterval(releasePollMs);
    m_releaseWatch.callOnTimeout([this] { watchReleases(); });
}

X11HotKeyBackend::~X11HotKeyBackend()
{
    const QList<Handle> grabs = m_grabs.keys();
    for (Handle handle : grabs)
        unregisterHotKey(handle);
    if (QCoreApplication::instance())
        QCoreApplication::instance()->removeNativeEventFilter(this);
}

std::optional<HotKeyBackend::Handle> X11HotKeyBackend::installHandler(std::function<void(quint32)> handler)
{
    return m_handlers.install(std::move(handler));
}

void X11HotKeyBackend::removeHandler(Handle handler)
{
    m_handlers.remove(handler);
}

HotKeyBackend::Registration X11HotKeyBackend::registerHotKey(Qt::Key key, Qt::KeyboardModifiers modifiers, quint32 id)
{
    xcb_connection_t *c = X11::connection();
    if (!c) {
        qCWarning(hotKeyLog).noquote() << "No X11 display: the global hot key" << describe(key, modifiers)
                                       << "is not available; bind the desktop's shortcut to `stashwell toggle`.";
        return {};
    }
    Grab grab;
    grab.keycode = X11Keyboard::keycodeFor(c, X11Keyboard::keysymFor(key));
    grab.modifiers = X11Keyboard::modifierMask(c, modifiers);
    grab.id = id;
    if (!grab.keycode) {
        qCWarning(hotKeyLog).noquote() << "The keyboard has no key for the global hot key" << describe(key, modifiers);
        return {};
    }
    const quint16 numLock = X11Keyboard::modifierMaskFor(c, numLockKeysym, XCB_MOD_MASK_2);
    m_ignoredModifiers = numLock | XCB_MOD_MASK_LOCK;
    bool taken = false;
    for (quint16 extra : {quint16(0), quint16(XCB_MOD_MASK_LOCK), numLock, quint16(numLock | XCB_MOD_MASK_LOCK)}) {
        const quint16 mask = grab.modifiers | extra;
        const xcb_void_cookie_t cookie = xcb_grab_key_checked(c, 1, X11::rootWindow(), mask, grab.keycode,
                                                              XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        if (xcb_generic_error_t *error = xcb_request_check(c, cookie)) {
            taken = taken || error->error_code == XCB_ACCESS; // another client's passive grab
            free(error);
        } else if (!grab.variants.contains(mask)) { // without a NumLock key two variants are one
            grab.variants.append(mask);
        }
    }
    if (taken || grab.variants.isEmpty()) {
        // A half grab would work only with some lock keys: the combination stays the other program's.
        qCWarning(hotKeyLog).noquote() << "The global hot key" << describe(key, modifiers)
                                       << (taken ? "is taken by another program." : "could not be grabbed.");
        ungrab(c, grab);
        return {std::nullopt, taken};
    }
    const Handle handle = m_nextHandle++;
    m_grabs.insert(handle, grab);
    return {handle, false};
}

void X11HotKeyBackend::unregisterHotKey(Handle hotKey)
{
    const Grab grab = m_grabs.take(hotKey);
    if (xcb_connection_t *c = X11::connection())
        ungrab(c, grab);
}

void X11HotKeyBackend::ungrab(xcb_connection_t *c, const Grab &grab)
{
    for (quint16 mask : grab.variants)
        xcb_ungrab_key(c, grab.keycode, X11::rootWindow(), mask);
    xcb_flush(c);
}

bool X11HotKeyBackend::nativeEventFilter(const QByteArray &eventType, void *message, qintptr *)
{
    if (eventType != "xcb_generic_event_t" || m_grabs.isEmpty())
        return false;
    const auto *event = static_cast<const xcb_generic_event_t *>(message);
    const uint8_t type = event->response_type & 0x7f;
    if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE)
        return false;
    const auto *key = reinterpret_cast<const xcb_key_press_event_t *>(event);
    const quint16 state = key->state & 0xff & ~m_ignoredModifiers;
    bool consumed = false;
    for (Grab &grab : m_grabs) {
        if (grab.keycode != key->detail)
            continue;
        // A release counts whatever is held by then and wherever it goes.
        if (type == XCB_KEY_RELEASE) {
            grab.down = false;
            continue;
        }
        // Not only on the root: while the palette grabs the keyboard the press goes to it.
        if (state == grab.modifiers) {
            dispatch(grab, key->time);
            consumed = true;
        }
    }
    return consumed;
}

void X11HotKeyBackend::dispatch(Grab &grab, quint32 time)
{
    const bool repeat = grab.down && time - grab.lastPressTime < repeatWindowMs;
    grab.down = true;
    grab.lastPressTime = time;
    m_releaseWatch.start();
    if (repeat)
        return;
    m_handlers.dispatch(grab.id);
}

void X11HotKeyBackend::watchReleases()
{
    xcb_connection_t *c = X11::connection();
    xcb_query_keymap_reply_t *keymap = c ? xcb_query_keymap_reply(c, xcb_query_keymap(c), nullptr) : nullptr;
    bool held = false;
    for (Grab &grab : m_grabs) {
        if (grab.down && keymap)
            grab.down = keymap->keys[grab.keycode / 8] & (1 << (grab.keycode % 8));
        held = held || grab.down;
    }
    free(keymap);
    if (!held || !keymap)
        m_releaseWatch.stop();
}

QString X11HotKeyBackend::describe(Qt::Key key, Qt::KeyboardModifiers modifiers)
{
    return GlobalHotKey::displayText(QKeyCombination(modifiers, key));
}

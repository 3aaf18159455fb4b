// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/X11Keyboard.h"

#include <cstdlib>

namespace X11Keyboard {

namespace {

constexpr KeySym shiftL = 0xffe1, controlL = 0xffe3, altL = 0xffe9, superL = 0xffeb;

template <typename Reply> struct Freed {
    Reply *reply;
    ~Freed() { free(reply); }
    Reply *operator->() const { return reply; }
    explicit operator bool() const { return reply; }
};

// Every keycode whose mapping contains `keysym`, first-column matches first.
QList<xcb_keycode_t> keycodesFor(xcb_connection_t *c, KeySym keysym)
{
    const xcb_setup_t *setup = xcb_get_setup(c);
    const int count = setup->max_keycode - setup->min_keycode + 1;
    Freed<xcb_get_keyboard_mapping_reply_t> reply{
        xcb_get_keyboard_mapping_reply(c, xcb_get_keyboard_mapping(c, setup->min_keycode, count), nullptr)};
    QList<xcb_keycode_t> found;
    if (!reply || keysym == 0)
        return found;
    const xcb_keysym_t *syms = xcb_get_keyboard_mapping_keysyms(reply.reply);
    const int perCode = reply->keysyms_per_keycode;
    for (int column = 0; column < perCode; ++column)
        for (int i = 0; i < count; ++i)
            if (syms[i * perCode + column] == keysym && !found.contains(xcb_keycode_t(setup->min_keycode + i)))
                found.append(xcb_keycode_t(setup->min_keycode + i));
    return found;
}

} // namespace

KeySym keysymFor(Qt::Key key)
{
    if (key >= Qt::Key_A && key <= Qt::Key_Z)
        return KeySym('a' + (key - Qt::Key_A));
    if (key >= Qt::Key_0 && key <= Qt::Key_9)
        return KeySym('0' + (key - Qt::Key_0));
    return 0;
}

KeySym keysymFor(Qt::KeyboardModifier modifier)
{
    switch (modifier) {
    case Qt::ShiftModifier:
        return shiftL;
    case Qt::ControlModifier:
        return controlL;
    case Qt::AltModifier:
        return altL;
    case Qt::MetaModifier:
        return superL;
    default:
        return 0;
    }
}

xcb_keycode_t keycodeFor(xcb_connection_t *c, KeySym keysym)
{
    return keycodesFor(c, keysym).value(0, 0);
}

uint16_t modifierMaskFor(xcb_connection_t *c, KeySym keysym, uint16_t fallback)
{
    const QList<xcb_keycode_t> codes = keycodesFor(c, keysym);
    Freed<xcb_get_modifier_mapping_reply_t> reply{
        xcb_get_modifier_mapping_reply(c, xcb_get_modifier_mapping(c), nullptr)};
    if (!reply)
        return fallback;
    const xcb_keycode_t *map = xcb_get_modifier_mapping_keycodes(reply.reply);
    const int perModifier = reply->keycodes_per_modifier;
    for (int index = 0; index < 8; ++index)
        for (int k = 0; k < perModifier; ++k)
            if (map[index * perModifier + k] && codes.contains(map[index * perModifier + k]))
                return uint16_t(1u << index);
    return fallback;
}

uint16_t modifierMask(xcb_connection_t *c, Qt::KeyboardModifiers modifiers)
{
    uint16_t mask = 0;
    if (modifiers & Qt::ShiftModifier)
        mask |= XCB_MOD_MASK_SHIFT;
    if (modifiers & Qt::ControlModifier)
        mask |= XCB_MOD_MASK_CONTROL;
    if (modifiers & Qt::AltModifier)
        mask |= modifierMaskFor(c, altL, XCB_MOD_MASK_1);
    if (modifiers & Qt::MetaModifier)
        mask |= modifierMaskFor(c, superL, XCB_MOD_MASK_4);
    return mask;
}

QList<xcb_keycode_t> heldModifierKeys(xcb_connection_t *c)
{
    Freed<xcb_query_keymap_reply_t> keymap{xcb_query_keymap_reply(c, xcb_query_keymap(c), nullptr)};
    Freed<xcb_get_modifier_mapping_reply_t> mapping{
        xcb_get_modifier_mapping_reply(c, xcb_get_modifier_mapping(c), nullptr)};
    QList<xcb_keycode_t> held;
    if (!keymap || !mapping)
        return held;
    const xcb_keycode_t *map = xcb_get_modifier_mapping_keycodes(mapping.reply);
    const int perModifier = mapping->keycodes_per_modifier;
    for (int index = 0; index < 8; ++index) {
        if (index == 1) // Lock: releasing Caps Lock is never needed
            continue;
        for (int k = 0; k < perModifier; ++k) {
            const xcb_keycode_t code = map[index * perModifier + k];
            const bool down = code && (keymap->keys[code / 8] & (1 << (code % 8)));
            if (down && !held.contains(code))
                held.append(code);
        }
    }
    return held;
}

} // namespace X11Keyboard

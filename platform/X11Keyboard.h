// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The keyboard and modifier mappings of an X display, for posting and grabbing keys.
// Only platform/ includes this.
#include <QList>
#include <Qt>
#include <cstdint>
#include <xcb/xcb.h>

namespace X11Keyboard {
using KeySym = uint32_t;

// Keysyms of the keys Stashwell posts or grabs: letters and digits (as lower-case Latin-1),
// and the left-hand modifier keys. 0 for anything else.
KeySym keysymFor(Qt::Key key);
KeySym keysymFor(Qt::KeyboardModifier modifier);

// The first keycode that produces `keysym`, preferring the first column (base level of the
// first group, so Ctrl+V works with a non-Latin layout active too); 0 when none.
xcb_keycode_t keycodeFor(xcb_connection_t *c, KeySym keysym);
// The modifier bit (XCB_MOD_MASK_*) that a key producing `keysym` sets; `fallback` when none.
uint16_t modifierMaskFor(xcb_connection_t *c, KeySym keysym, uint16_t fallback);
// The X modifier mask of Qt's modifiers (Meta is Super).
uint16_t modifierMask(xcb_connection_t *c, Qt::KeyboardModifiers modifiers);
// Keycodes bound to Shift, Control and Mod1..Mod5 that are down right now.
QList<xcb_keycode_t> heldModifierKeys(xcb_connection_t *c);
}

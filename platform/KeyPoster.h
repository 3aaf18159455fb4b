// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QString>
#include <Qt>

// Synthetic keystrokes (XTest on X11, a virtual keyboard on Wayland) to whatever window has
// the keyboard focus. No target is addressed.
class KeyPoster {
public:
    virtual ~KeyPoster() = default;
    // Whether synthetic input can be posted at all
    // (on X11: the XTest extension is present on the display; on Wayland: the compositor gave
    // a virtual keyboard).
    virtual bool isTrusted() const = 0;
    // WM_CLASS class (X11) or app_id (Wayland) of the window that will receive posted keys
    // ("" when unknown).
    virtual QString targetWindowClass() const = 0;
    // Posts the modifiers down in order, `key` down, `key` up and the modifiers up in reverse
    // order. On X11 it first releases modifiers the user still holds and sleeps 10 ms after each
    // post; on Wayland it returns at once, and the keys follow from a keyboard of Stashwell's own
    // as soon as a window of another application has the focus again.
    // False when no event could be made (nothing posted then).
    virtual bool postKeyCombination(Qt::KeyboardModifiers modifiers, Qt::Key key) = 0;
};

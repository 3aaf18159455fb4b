// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QString>
#include <Qt>

// Synthetic keystrokes (XTest) to whatever window has the keyboard focus. No target is
// addressed.
class KeyPoster {
public:
    virtual ~KeyPoster() = default;
    // Whether synthetic input can be posted at all
    // (on X11: the XTest extension is present on the display).
    virtual bool isTrusted() const = 0;
    // WM_CLASS class of the window that will receive posted keys ("" when unknown).
    virtual QString targetWindowClass() const = 0;
    // Releases modifiers the user still holds, then posts the modifiers down in order, `key`
    // down, `key` up and the modifiers up in reverse order, sleeping 10 ms after each post.
    // False when no event could be made (nothing posted then).
    virtual bool postKeyCombination(Qt::KeyboardModifiers modifiers, Qt::Key key) = 0;
};

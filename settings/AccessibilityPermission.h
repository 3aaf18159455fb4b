// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Whether Stashwell can paste into other windows, as the permissions tab and the guide show it.
// On X11 that takes the X server's XTest extension, which only the server's own configuration
// turns on or off: no desktop setting grants it, so the rows can only say so and check again.
class KeyPoster;

class AccessibilityPermission {
public:
    virtual ~AccessibilityPermission() = default;
    static AccessibilityPermission &shared(); // the one state the permissions tab and the guide read
    virtual bool isTrusted() const = 0;
};

// Whether the session's key poster can type (on X11: the display has the XTest extension).
class DesktopAccessibilityPermission final : public AccessibilityPermission {
public:
    explicit DesktopAccessibilityPermission(KeyPoster &keys);
    bool isTrusted() const override;

private:
    KeyPoster &m_keys;
};

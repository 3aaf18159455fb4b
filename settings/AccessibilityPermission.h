// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Whether Stashwell can paste into other windows, as the permissions tab and the guide show it.
// On X11 that takes the X server's XTest extension, which only the server's own configuration
// turns on or off: no desktop setting grants it, so the rows can only say so and check again.
class KeyPoster;

class AccessibilityPermission {
public:
    virtual ~AccessibilityPermission() = default;
    virtual bool isTrusted() const = 0;
};

// The one state the permissions tab and the guide both read.
class AccessibilityGrant {
public:
    explicit AccessibilityGrant(AccessibilityPermission &permission);
    static AccessibilityGrant &shared();

    bool isTrusted() const { return m_permission.isTrusted(); }

private:
    AccessibilityPermission &m_permission;
};

// Whether the session's key poster can type (on X11: the display has the XTest extension).
class DesktopAccessibilityPermission final : public AccessibilityPermission {
public:
    explicit DesktopAccessibilityPermission(KeyPoster &keys);
    bool isTrusted() const override;

private:
    KeyPoster &m_keys;
};

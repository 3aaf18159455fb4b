// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/AccessibilityPermission.h"

#include "platform/KeyPoster.h"

DesktopAccessibilityPermission::DesktopAccessibilityPermission(KeyPoster &keys)
    : m_keys(keys)
{
}

bool DesktopAccessibilityPermission::isTrusted() const { return m_keys.isTrusted(); }

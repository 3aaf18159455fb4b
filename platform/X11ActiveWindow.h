// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "platform/ActiveWindow.h"

// _NET_ACTIVE_WINDOW of the X11 display Qt is connected to, resolved to its desktop entry.
class X11ActiveWindow final : public ActiveWindow {
public:
    std::optional<FrontApp> frontmost() const override;
    // The WM_CLASS class of the active window ("" when none): the paste service's terminal test.
    static QString activeWindowClass();
};

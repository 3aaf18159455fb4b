// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "platform/ActiveWindow.h"

class WaylandToplevels;

// The activated toplevel as the compositor reports it (foreign-toplevel protocol), resolved to
// its desktop entry: the app_id is meant to be the desktop-entry ID. Unknown, never guessed,
// where the compositor does not report it.
class WaylandActiveWindow final : public ActiveWindow {
public:
    explicit WaylandActiveWindow(const WaylandToplevels &toplevels)
        : m_toplevels(toplevels)
    {
    }
    std::optional<FrontApp> frontmost() const override;

private:
    const WaylandToplevels &m_toplevels;
};

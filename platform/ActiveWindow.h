// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QString>
#include <optional>

// The application in front: the owner of the active X11 window, or on Wayland the activated
// toplevel. `bundleID` is its desktop-entry ID without ".desktop", else its WM_CLASS class
// (X11) or app_id (Wayland); either field may be empty.
struct FrontApp {
    QString bundleID;
    QString name;
};

class ActiveWindow {
public:
    virtual ~ActiveWindow() = default;
    virtual std::optional<FrontApp> frontmost() const = 0;
};

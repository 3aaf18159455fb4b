// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/WaylandActiveWindow.h"

#include "platform/DesktopEntries.h"
#include "platform/WaylandToplevels.h"

std::optional<FrontApp> WaylandActiveWindow::frontmost() const
{
    const WaylandToplevels::Focus focus = m_toplevels.focus();
    if (!focus.active)
        return std::nullopt;
    QString appId = focus.appId;
    if (appId.endsWith(QLatin1String(".desktop")))
        appId.chop(8);
    // Windows of X11 programs (XWayland) carry their WM_CLASS as app_id, which entries name
    // as StartupWMClass; some native programs' app_ids are found that way too.
    return DesktopEntries::shared().frontApp(appId, appId, appId);
}

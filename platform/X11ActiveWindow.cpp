// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/X11ActiveWindow.h"

#include "platform/DesktopEntries.h"
#include "platform/X11Support.h"

namespace {

// WM_CLASS holds two NUL-terminated strings: instance, then class.
std::pair<QString, QString> wmClass(xcb_window_t window)
{
    const QList<QByteArray> parts = X11::property(window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING).split('\0');
    return {parts.value(0), parts.value(1)};
}

QString desktopFileHint(xcb_window_t window)
{
    for (const char *name : {"_GTK_APPLICATION_ID", "_KDE_NET_WM_DESKTOP_FILE"}) {
        QString id = QString::fromUtf8(X11::property(window, X11::atom(name)));
        if (id.endsWith(QLatin1String(".desktop")))
            id.chop(8);
        if (!id.isEmpty())
            return id;
    }
    return {};
}

} // namespace

std::optional<FrontApp> X11ActiveWindow::frontmost() const
{
    const xcb_window_t window = X11::activeWindow();
    if (window == XCB_WINDOW_NONE)
        return std::nullopt;
    const auto [instance, className] = wmClass(window);
    return DesktopEntries::shared().frontApp(desktopFileHint(window), instance, className);
}

QString X11ActiveWindow::activeWindowClass()
{
    return wmClass(X11::activeWindow()).second;
}

// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/PlatformBackend.h"

#include "l10n/L10n.h"
#include "platform/PortalHotKeyBackend.h"
#include "platform/WaylandActiveWindow.h"
#include "platform/WaylandClipboard.h"
#include "platform/WaylandConnection.h"
#include "platform/WaylandKeyPoster.h"
#include "platform/WaylandToplevels.h"
#include "platform/X11ActiveWindow.h"
#include "platform/X11Clipboard.h"
#include "platform/X11ClipboardSnapshotReader.h"
#include "platform/X11HotKeyBackend.h"
#include "platform/X11KeyPoster.h"

#include <QGuiApplication>

namespace {

class X11Backend final : public PlatformBackend {
public:
    Kind kind() const override { return Kind::x11; }
    Clipboard &clipboard() override { return m_clipboard; }
    ClipboardSnapshotReader &clipboardReader() override { return m_reader; }
    ActiveWindow &activeWindow() override { return m_activeWindow; }
    KeyPoster &keyPoster() override { return m_keys; }
    HotKeyBackend &hotKeyBackend() override { return m_hotKeys; }
    std::optional<bool> canCapture() const override { return true; }

private:
    X11ClipboardSnapshotReader m_reader;
    X11Clipboard m_clipboard{m_reader};
    X11ActiveWindow m_activeWindow;
    X11KeyPoster m_keys;
    X11HotKeyBackend m_hotKeys;
};

// The app_id of this process's windows: Qt names them after the desktop entry.
QString ownAppId()
{
    QString id = QGuiApplication::desktopFileName();
    if (id.endsWith(QLatin1String(".desktop")))
        id.chop(8);
    return id;
}

class WaylandBackend final : public PlatformBackend {
public:
    WaylandBackend()
    {
        connect(&m_clipboard, &WaylandClipboard::availabilityKnown, this, &PlatformBackend::captureAvailabilityKnown);
    }
    ~WaylandBackend() override { m_connection.stop(); } // before the objects on its worker go

    Kind kind() const override { return Kind::wayland; }
    Clipboard &clipboard() override { return m_clipboard; }
    ClipboardSnapshotReader &clipboardReader() override { return m_clipboard; }
    ActiveWindow &activeWindow() override { return m_activeWindow; }
    KeyPoster &keyPoster() override { return m_keys; }
    HotKeyBackend &hotKeyBackend() override { return m_hotKeys; }
    std::optional<bool> canCapture() const override { return m_clipboard.isAvailable(); }

private:
    WaylandConnection m_connection;
    WaylandToplevels m_toplevels{m_connection, ownAppId()};
    WaylandClipboard m_clipboard{m_connection};
    WaylandActiveWindow m_activeWindow{m_toplevels};
    WaylandKeyPoster m_keys{m_connection, m_toplevels};
    // The desktop portal's global shortcuts where it offers them (KDE Plasma), else none.
    PortalHotKeyBackend m_hotKeys{QDBusConnection::sessionBus(), L10n::shared().string(QStringLiteral("gen.hotkey"))};
};

} // namespace

PlatformBackend::Kind PlatformBackend::kindOf(const QString &platformName)
{
    return platformName.startsWith(QLatin1String("wayland")) ? Kind::wayland : Kind::x11;
}

PlatformBackend &PlatformBackend::shared()
{
    static PlatformBackend *backend = kindOf(QGuiApplication::platformName()) == Kind::wayland
                                          ? static_cast<PlatformBackend *>(new WaylandBackend)
                                          : new X11Backend;
    return *backend;
}

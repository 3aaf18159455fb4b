// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QObject>
#include <optional>

class ActiveWindow;
class Clipboard;
class ClipboardSnapshotReader;
class HotKeyBackend;
class KeyPoster;

// The desktop's clipboard, active window, key poster and hot keys for the session Qt runs in:
// Wayland when Qt's platform is wayland, X11 otherwise (xcb, or none where there is no display).
// Both are always built; the choice is made once, when the objects are first needed, and they
// live as long as the process.
class PlatformBackend : public QObject {
    Q_OBJECT
public:
    enum class Kind { x11, wayland };
    static Kind kindOf(const QString &platformName);
    static PlatformBackend &shared(); // for QGuiApplication::platformName()

    virtual Kind kind() const = 0;
    virtual Clipboard &clipboard() = 0;
    virtual ClipboardSnapshotReader &clipboardReader() = 0;
    virtual ActiveWindow &activeWindow() = 0;
    virtual KeyPoster &keyPoster() = 0;
    virtual HotKeyBackend &hotKeyBackend() = 0;
    // Whether other applications' copies can be seen at all: on Wayland only where the compositor
    // offers a data-control protocol. nullopt until known; `captureAvailabilityKnown` tells then.
    virtual std::optional<bool> canCapture() const = 0;

signals:
    void captureAvailabilityKnown(bool available);
};

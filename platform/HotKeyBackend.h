#pragma once
#include <QtGlobal>
#include <Qt>
#include <functional>
#include <optional>

// The platform's system-wide hot keys (XGrabKey on the root window). Handles are opaque;
// nullopt means nothing was installed.
class HotKeyBackend {
public:
    using Handle = quint64;
    virtual ~HotKeyBackend() = default;
    // `handler` runs on the main thread with the identifier of each pressed hot key.
    virtual std::optional<Handle> installHandler(std::function<void(quint32 id)> handler) = 0;
    virtual void removeHandler(Handle handler) = 0;
    // Fails (nullopt, with a log line) when another program owns the combination or there
    // is no X11 display.
    virtual std::optional<Handle> registerHotKey(Qt::Key key, Qt::KeyboardModifiers modifiers, quint32 id) = 0;
    virtual void unregisterHotKey(Handle hotKey) = 0;
};

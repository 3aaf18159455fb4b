// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "platform/Clipboard.h"

#include <QObject>
#include <memory>

class WaylandConnection;
class WaylandDataControl;

// The seat's clipboard on Wayland, through the data-control protocol on Stashwell's own
// connection: every client's copy is seen without the keyboard focus, is read off the main
// thread, and writes are served from this process without the focus too. A copy by another
// client advances the counter once the compositor announces it; an own write advances it within
// `write`, and its announcement is recognised and not counted again.
class WaylandClipboard final : public QObject, public Clipboard, public ClipboardSnapshotReader {
    Q_OBJECT
public:
    // Limits of a paste's snapshot, as on X11: past them the snapshot is absent.
    static constexpr int maxSnapshotMs = 5000;
    static constexpr qint64 maxSnapshotBytes = 64 * 1024 * 1024;

    // `connection` must be stopped before this is destroyed.
    explicit WaylandClipboard(WaylandConnection &connection, QObject *parent = nullptr);
    ~WaylandClipboard() override;

    qint64 changeCount() const override { return m_changeCount; }
    const QMimeData *contents() const override { return m_contents.get(); }
    void write(QMimeData *data) override;
    void watch(std::function<void()> changed) override;
    void read(qint64 changeCount, const ClipboardReadRequest &request,
              std::function<void(std::optional<ClipboardItemData>)> done) override;
    // The whole clipboard, for the paste service's restore.
    void read(std::function<void(std::optional<ClipboardSnapshot>)> done) override;

    // Whether the compositor offers a data-control protocol (without one no copy is seen);
    // nullopt until the connection has found out, which `availabilityKnown` then tells.
    std::optional<bool> isAvailable() const { return m_available; }

signals:
    void availabilityKnown(bool available);

private:
    void advance(quint64 selection, bool empty);
    void setAvailable(bool available);
    template <typename T> std::function<void(T)> onMainThread(std::function<void(T)> done);

    WaylandConnection &m_connection;
    std::unique_ptr<WaylandDataControl> m_control; // used on the worker only
    std::function<void()> m_changed;
    std::unique_ptr<QMimeData> m_contents; // the own write that is still the selection
    qint64 m_changeCount = 0;
    quint64 m_selection = 0; // the latest change's selection on the worker; 0: an own write or emptied
    std::optional<bool> m_available;
};

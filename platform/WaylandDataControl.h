// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "platform/WaylandOfferReader.h"

#include <QHash>
#include <list>

class WaylandConnection;
struct wl_proxy;

// The seat's clipboard through a data-control device, on the Wayland worker: it sees every
// selection without having the keyboard focus, reads offers through pipes and sets selections
// of its own. Either the wlroots protocol or the standard (ext) one is used, whichever the
// compositor offers; the primary selection is left alone.
class WaylandDataControl {
public:
    static constexpr int stalledReceiverMs = 5000; // a receiver that reads nothing for this long is dropped

    // A new selection of another client (`empty`: none); not called for Stashwell's own.
    using Changed = std::function<void(quint64 selection, bool empty)>;
    using SnapshotDone = std::function<void(std::optional<ClipboardSnapshot>)>;

    WaylandDataControl(WaylandConnection &connection, Changed changed);
    ~WaylandDataControl();

    // Binds the protocol and follows the selection from now on; what is already on the
    // clipboard does not count as a change. False when the compositor offers no data control.
    bool setUp();
    // Reads what a request asks of `selection`; nothing when a newer selection replaced it.
    void read(quint64 selection, const ClipboardReadRequest &request, WaylandOfferReader::Done done);
    // Every type of the current selection, whole or not at all.
    void readAll(qint64 maxBytes, int deadlineMs, SnapshotDone done);
    // Makes `formats` the selection, served from this process until another client replaces it.
    void write(const ClipboardItemData &formats);

private:
    struct Protocol;
    struct Source {
        wl_proxy *proxy;
        ClipboardItemData formats;
        bool claimed = false; // its selection event has arrived
    };

    static void onDataOffer(void *data, wl_proxy *device, wl_proxy *offer);
    static void onSelection(void *data, wl_proxy *device, wl_proxy *offer);
    static void onFinished(void *data, wl_proxy *device);
    static void onPrimarySelection(void *data, wl_proxy *device, wl_proxy *offer);
    static void onOffer(void *data, wl_proxy *offer, const char *type);
    static void onSend(void *data, wl_proxy *source, const char *type, int32_t fd);
    static void onCancelled(void *data, wl_proxy *source);

    void select(wl_proxy *offer);
    bool claimOwn(const QStringList &types);
    void start(QList<WaylandOfferReader::Step> steps, WaylandOfferReader::Limits limits,
               WaylandOfferReader::Done done);
    struct Transfer; // the bytes of one type on their way to a receiver
    void serve(std::shared_ptr<Transfer> transfer);

    WaylandConnection &m_connection;
    Changed m_changed;
    const Protocol *m_protocol = nullptr;
    wl_proxy *m_manager = nullptr;
    wl_proxy *m_device = nullptr;
    bool m_following = false;            // the selection at set-up has arrived
    QHash<wl_proxy *, QStringList> m_offers; // every live offer and the types it announced
    wl_proxy *m_selection = nullptr;     // the current selection's offer
    quint64 m_serial = 0;                // counts selections
    QList<Source> m_sources;             // own selections not yet replaced, oldest first
    std::list<std::unique_ptr<WaylandOfferReader>> m_reads; // of the current selection
};

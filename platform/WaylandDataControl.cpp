// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/WaylandDataControl.h"

#include "platform/WaylandConnection.h"

#include <QLoggingCategory>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#include <wayland-client.h>

#include "ext-data-control-v1-client-protocol.h"
#include "wlr-data-control-unstable-v1-client-protocol.h"

namespace {

Q_LOGGING_CATEGORY(dataControlLog, "stashwell.clipboard")

// The wlroots and the standard protocol are the same on the wire: the same requests and events
// in the same order, only the interface names differ. One implementation speaks both, with the
// interfaces of the one bound and the request numbers of either.
static_assert(ZWLR_DATA_CONTROL_MANAGER_V1_CREATE_DATA_SOURCE == EXT_DATA_CONTROL_MANAGER_V1_CREATE_DATA_SOURCE
              && ZWLR_DATA_CONTROL_MANAGER_V1_GET_DATA_DEVICE == EXT_DATA_CONTROL_MANAGER_V1_GET_DATA_DEVICE
              && ZWLR_DATA_CONTROL_MANAGER_V1_DESTROY == EXT_DATA_CONTROL_MANAGER_V1_DESTROY
              && ZWLR_DATA_CONTROL_DEVICE_V1_SET_SELECTION == EXT_DATA_CONTROL_DEVICE_V1_SET_SELECTION
              && ZWLR_DATA_CONTROL_DEVICE_V1_DESTROY == EXT_DATA_CONTROL_DEVICE_V1_DESTROY
              && ZWLR_DATA_CONTROL_SOURCE_V1_OFFER == EXT_DATA_CONTROL_SOURCE_V1_OFFER
              && ZWLR_DATA_CONTROL_SOURCE_V1_DESTROY == EXT_DATA_CONTROL_SOURCE_V1_DESTROY
              && ZWLR_DATA_CONTROL_OFFER_V1_RECEIVE == EXT_DATA_CONTROL_OFFER_V1_RECEIVE
              && ZWLR_DATA_CONTROL_OFFER_V1_DESTROY == EXT_DATA_CONTROL_OFFER_V1_DESTROY);

// The events, with the objects as plain proxies (the layout of the generated listeners).
struct DeviceListener {
    void (*dataOffer)(void *, wl_proxy *, wl_proxy *);
    void (*selection)(void *, wl_proxy *, wl_proxy *);
    void (*finished)(void *, wl_proxy *);
    void (*primarySelection)(void *, wl_proxy *, wl_proxy *);
};
struct OfferListener {
    void (*offer)(void *, wl_proxy *, const char *);
};
struct SourceListener {
    void (*send)(void *, wl_proxy *, const char *, int32_t);
    void (*cancelled)(void *, wl_proxy *);
};
static_assert(sizeof(DeviceListener) == sizeof(zwlr_data_control_device_v1_listener)
              && sizeof(OfferListener) == sizeof(zwlr_data_control_offer_v1_listener)
              && sizeof(SourceListener) == sizeof(zwlr_data_control_source_v1_listener));

template <typename Listener> void listen(wl_proxy *proxy, const Listener &listener, void *data)
{
    wl_proxy_add_listener(proxy, reinterpret_cast<void (**)(void)>(const_cast<Listener *>(&listener)), data);
}

wl_proxy *marshal(wl_proxy *proxy, uint32_t opcode, const wl_interface *created, auto... args)
{
    return wl_proxy_marshal_flags(proxy, opcode, created, wl_proxy_get_version(proxy), 0, args...);
}

void destroy(wl_proxy *proxy, uint32_t opcode)
{
    wl_proxy_marshal_flags(proxy, opcode, nullptr, wl_proxy_get_version(proxy), WL_MARSHAL_FLAG_DESTROY);
}

} // namespace

struct WaylandDataControl::Protocol {
    const wl_interface &manager;
    const wl_interface &device;
    const wl_interface &source;
    quint32 version; // the wlroots protocol's version 2 adds the primary selection
};

WaylandDataControl::WaylandDataControl(WaylandConnection &connection, Changed changed)
    : m_connection(connection)
    , m_changed(std::move(changed))
{
}

WaylandDataControl::~WaylandDataControl()
{
    m_reads.clear(); // they end with nothing
    for (wl_proxy *offer : m_offers.keys())
        destroy(offer, ZWLR_DATA_CONTROL_OFFER_V1_DESTROY);
    for (const Source &source : std::as_const(m_sources))
        destroy(source.proxy, ZWLR_DATA_CONTROL_SOURCE_V1_DESTROY);
    if (m_device)
        destroy(m_device, ZWLR_DATA_CONTROL_DEVICE_V1_DESTROY);
    if (m_manager)
        destroy(m_manager, ZWLR_DATA_CONTROL_MANAGER_V1_DESTROY);
}

bool WaylandDataControl::setUp()
{
    static const Protocol standard{ext_data_control_manager_v1_interface, ext_data_control_device_v1_interface,
                                   ext_data_control_source_v1_interface, 1};
    static const Protocol wlroots{zwlr_data_control_manager_v1_interface, zwlr_data_control_device_v1_interface,
                                  zwlr_data_control_source_v1_interface, 2};
    for (const Protocol *protocol : {&standard, &wlroots}) {
        m_manager = m_connection.bind(protocol->manager, protocol->version);
        m_protocol = protocol;
        if (m_manager)
            break;
    }
    if (!m_manager || !m_connection.seat())
        return false;
    m_device = marshal(m_manager, ZWLR_DATA_CONTROL_MANAGER_V1_GET_DATA_DEVICE, &m_protocol->device, nullptr,
                       m_connection.seat());
    static const DeviceListener deviceListener{onDataOffer, onSelection, onFinished, onPrimarySelection};
    listen(m_device, deviceListener, this);
    // The device announces the current selection first; once this answer arrives, it has.
    static const wl_callback_listener synced{[](void *data, wl_callback *callback, uint32_t) {
        static_cast<WaylandDataControl *>(data)->m_following = true;
        wl_callback_destroy(callback);
    }};
    wl_callback_add_listener(wl_display_sync(m_connection.display()), &synced, this);
    return true;
}

void WaylandDataControl::onDataOffer(void *data, wl_proxy *, wl_proxy *offer)
{
    static const OfferListener offerListener{onOffer};
    static_cast<WaylandDataControl *>(data)->m_offers.insert(offer, {});
    listen(offer, offerListener, data);
}

void WaylandDataControl::onOffer(void *data, wl_proxy *offer, const char *type)
{
    auto *self = static_cast<WaylandDataControl *>(data);
    QStringList &types = self->m_offers[offer];
    if (const QString name = QString::fromUtf8(type); !types.contains(name))
        types.append(name);
}

void WaylandDataControl::onSelection(void *data, wl_proxy *, wl_proxy *offer)
{
    static_cast<WaylandDataControl *>(data)->select(offer);
}

void WaylandDataControl::onPrimarySelection(void *data, wl_proxy *, wl_proxy *offer)
{
    auto *self = static_cast<WaylandDataControl *>(data);
    if (offer) {
        self->m_offers.remove(offer);
        destroy(offer, ZWLR_DATA_CONTROL_OFFER_V1_DESTROY);
    }
}

void WaylandDataControl::onFinished(void *data, wl_proxy *device)
{
    auto *self = static_cast<WaylandDataControl *>(data);
    qCWarning(dataControlLog) << "The seat's clipboard went away: copies are no longer recorded.";
    destroy(device, ZWLR_DATA_CONTROL_DEVICE_V1_DESTROY);
    self->m_device = nullptr;
}

void WaylandDataControl::select(wl_proxy *offer)
{
    // Reads of the replaced selection end with nothing, and its offer goes.
    ++m_serial;
    for (const auto &reader : m_reads)
        reader->cancel();
    m_reads.clear();
    if (m_selection && m_selection != offer) {
        m_offers.remove(m_selection);
        destroy(m_selection, ZWLR_DATA_CONTROL_OFFER_V1_DESTROY);
    }
    m_selection = offer;
    const bool own = offer && claimOwn(m_offers.value(offer));
    if (m_following && !own)
        m_changed(m_serial, !offer);
}

bool WaylandDataControl::claimOwn(const QStringList &types)
{
    // The compositor cancels a replaced source of ours before it announces the next selection,
    // so a selection with the types of our oldest unclaimed source, while that is still set, is it.
    for (Source &source : m_sources) {
        if (source.claimed)
            continue;
        QStringList offered;
        for (const auto &[type, bytes] : std::as_const(source.formats))
            offered.append(type);
        return source.claimed = offered == types;
    }
    return false;
}

void WaylandDataControl::read(quint64 selection, const ClipboardReadRequest &request, WaylandOfferReader::Done done)
{
    if (selection != m_serial || !m_selection)
        return done(std::nullopt);
    start(WaylandOfferReader::steps(request, m_offers.value(m_selection)),
          {request.maxTotalBytes, QDeadlineTimer(request.deadlineMs), false}, std::move(done));
}

void WaylandDataControl::readAll(qint64 maxBytes, int deadlineMs, SnapshotDone done)
{
    if (!m_selection)
        return done(ClipboardSnapshot{}); // an empty clipboard: no items
    start(WaylandOfferReader::everyType(m_offers.value(m_selection), maxBytes),
          {maxBytes, QDeadlineTimer(deadlineMs), true}, [done = std::move(done)](std::optional<ClipboardItemData> item) {
              done(item ? std::optional(ClipboardSnapshot{*item}) : std::nullopt);
          });
}

void WaylandDataControl::start(QList<WaylandOfferReader::Step> steps, WaylandOfferReader::Limits limits,
                               WaylandOfferReader::Done done)
{
    // Reads of the current selection; `select` ends them when it is replaced.
    m_reads.remove_if([](const auto &reader) { return reader->isFinished(); });
    const auto receive = [offer = m_selection](const QString &type, int fd) {
        marshal(offer, ZWLR_DATA_CONTROL_OFFER_V1_RECEIVE, nullptr, type.toUtf8().constData(), fd);
    };
    m_reads.push_back(
        std::make_unique<WaylandOfferReader>(m_connection.watches(), receive, std::move(steps), limits, std::move(done)));
    m_reads.back()->start();
}

void WaylandDataControl::write(const ClipboardItemData &formats)
{
    if (!m_device)
        return;
    wl_proxy *source = marshal(m_manager, ZWLR_DATA_CONTROL_MANAGER_V1_CREATE_DATA_SOURCE, &m_protocol->source, nullptr);
    static const SourceListener sourceListener{onSend, onCancelled};
    listen(source, sourceListener, this);
    for (const auto &[type, bytes] : formats)
        marshal(source, ZWLR_DATA_CONTROL_SOURCE_V1_OFFER, nullptr, type.toUtf8().constData());
    marshal(m_device, ZWLR_DATA_CONTROL_DEVICE_V1_SET_SELECTION, nullptr, source);
    m_sources.append({source, formats});
}

void WaylandDataControl::onSend(void *data, wl_proxy *proxy, const char *type, int32_t fd)
{
    auto *self = static_cast<WaylandDataControl *>(data);
    const QString name = QString::fromUtf8(type);
    for (const Source &source : std::as_const(self->m_sources)) {
        if (source.proxy != proxy)
            continue;
        for (const auto &[format, bytes] : source.formats)
            if (format == name)
                return self->serve(std::make_shared<Transfer>(fd, bytes));
    }
    close(fd); // a type never offered: the receiver reads nothing
}

void WaylandDataControl::onCancelled(void *data, wl_proxy *proxy)
{
    auto *self = static_cast<WaylandDataControl *>(data);
    self->m_sources.removeIf([proxy](const Source &source) { return source.proxy == proxy; });
    destroy(proxy, ZWLR_DATA_CONTROL_SOURCE_V1_DESTROY);
}

struct WaylandDataControl::Transfer {
    Transfer(int fd, QByteArray bytes)
        : fd(fd)
        , bytes(std::move(bytes))
    {
        fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    }
    ~Transfer() { close(fd); }
    int fd;
    QByteArray bytes;
    qsizetype written = 0;
};

void WaylandDataControl::serve(std::shared_ptr<Transfer> transfer)
{
    // Written as fast as the receiver reads; one that stops reading for a while is given up on.
    while (transfer->written < transfer->bytes.size()) {
        const ssize_t n = ::write(transfer->fd, transfer->bytes.constData() + transfer->written,
                                  size_t(transfer->bytes.size() - transfer->written));
        if (n > 0) {
            transfer->written += n;
        } else if (errno == EAGAIN) {
            m_connection.watches().watch(transfer->fd, POLLOUT, QDeadlineTimer(stalledReceiverMs), [this, transfer](short revents) {
                if (revents)
                    serve(transfer);
            });
            return;
        } else if (errno != EINTR) {
            return; // the receiver closed its end
        }
    }
}

// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/X11ClipboardSnapshotReader.h"

#include <QDeadlineTimer>
#include <QGuiApplication>
#include <QHash>
#include <algorithm>
#include <cstring>
#include <memory>
#include <poll.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>
// Last: its macros (None, Bool, ...) would clash with Qt's headers.
#include <X11/Xlib.h>

namespace {

struct FreeDeleter {
    void operator()(void *p) const { free(p); }
};
template <typename T> using Owned = std::unique_ptr<T, FreeDeleter>;

// One read of the selection on a private connection and an unmapped window. The connection
// is told of every change of the selection's owner (XFixes), and such a change ends the read.
class SelectionReader {
public:
    SelectionReader(const QByteArray &display, int deadlineMs, qint64 maxTotalBytes)
        : m_c(xcb_connect(display.isEmpty() ? nullptr : display.constData(), &m_screen))
        , m_deadline(deadlineMs)
        , m_maxTotalBytes(maxTotalBytes)
    {
    }
    ~SelectionReader() { xcb_disconnect(m_c); }

    std::optional<ClipboardSnapshot> readAll();
    std::optional<ClipboardItemData> read(const QList<ClipboardWant> &wants, xcb_window_t owner);

private:
    bool setUp();
    xcb_atom_t intern(const QByteArray &name);
    QString atomName(xcb_atom_t atom);
    std::optional<xcb_window_t> owner();
    bool keptBy(xcb_window_t owner); // no change of owner since the read began
    bool readTargets();
    std::optional<std::pair<QString, QByteArray>> readWant(const ClipboardWant &want);
    // The bytes of `target` (nullopt: refused, silent, over `maxBytes` or unreadable).
    std::optional<QByteArray> convert(xcb_atom_t target, qint64 maxBytes);
    std::optional<QByteArray> readIncremental(qint64 announced, qint64 maxBytes);
    Owned<xcb_get_property_reply_t> property(bool remove, quint32 longs);
    void abandonProperty();
    Owned<xcb_generic_event_t> waitFor(const std::function<bool(const xcb_generic_event_t *)> &match);

    xcb_connection_t *m_c;
    int m_screen = 0;
    QDeadlineTimer m_deadline;
    qint64 m_maxTotalBytes;
    xcb_window_t m_window = XCB_WINDOW_NONE;
    xcb_atom_t m_clipboard = XCB_ATOM_NONE, m_targets = XCB_ATOM_NONE, m_incr = XCB_ATOM_NONE,
               m_property = XCB_ATOM_NONE;
    uint8_t m_ownerChange = 0; // the XFixes selection event's type
    int m_abandoned = 0;
    QStringList m_offered; // readable targets, in the owner's order
    QStringList m_formats; // the formats they carry
    QHash<QString, xcb_atom_t> m_atoms;
    qint64 m_totalBytes = 0;
    bool m_failed = false;  // over: the owner changed, the deadline passed or the connection broke
    bool m_tooLarge = false; // a target was refused for its size
};

std::optional<ClipboardSnapshot> SelectionReader::readAll()
{
    const std::optional<xcb_window_t> start = setUp() ? owner() : std::nullopt;
    if (!start)
        return std::nullopt;
    if (*start == XCB_WINDOW_NONE)
        return ClipboardSnapshot{}; // an empty clipboard: no items
    if (!readTargets())
        return std::nullopt; // an owner that does not list its types cannot be snapshotted
    ClipboardItemData item;
    for (const QString &name : std::as_const(m_offered)) {
        const std::optional<QByteArray> bytes = convert(m_atoms.value(name), m_maxTotalBytes - m_totalBytes);
        if (m_failed || m_tooLarge)
            return std::nullopt;
        if (bytes)
            item.append({name, *bytes});
    }
    if (!keptBy(*start))
        return std::nullopt;
    return ClipboardSnapshot{ClipboardTargets::toMimeFormats(item)};
}

std::optional<ClipboardItemData> SelectionReader::read(const QList<ClipboardWant> &wants, xcb_window_t owner)
{
    if (!setUp() || this->owner() != owner || !readTargets())
        return std::nullopt;
    ClipboardItemData item;
    for (const ClipboardWant &want : wants) {
        std::optional<std::pair<QString, QByteArray>> data = readWant(want);
        if (m_failed)
            return std::nullopt;
        if (data)
            item.append(std::move(*data));
    }
    if (!keptBy(owner))
        return std::nullopt;
    return item;
}

std::optional<std::pair<QString, QByteArray>> SelectionReader::readWant(const ClipboardWant &want)
{
    for (const QString &format : want.candidates(m_formats)) {
        for (const QString &target : ClipboardTargets::targetsOf(format, m_offered)) {
            const std::optional<QByteArray> bytes =
                convert(m_atoms.value(target), std::min(want.maxBytes, m_maxTotalBytes - m_totalBytes));
            if (m_failed)
                return std::nullopt;
            if (bytes)
                return std::pair(format, ClipboardTargets::formatData(target, *bytes));
        }
    }
    return std::nullopt;
}

bool SelectionReader::setUp()
{
    if (xcb_connection_has_error(m_c))
        return false;
    const xcb_setup_t *setup = xcb_get_setup(m_c);
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(setup);
    for (int i = 0; i < m_screen && screens.rem; ++i)
        xcb_screen_next(&screens);
    const xcb_query_extension_reply_t *xfixes = xcb_get_extension_data(m_c, &xcb_xfixes_id);
    if (!screens.rem || !xfixes || !xfixes->present)
        return false;
    Owned<xcb_xfixes_query_version_reply_t> version(
        xcb_xfixes_query_version_reply(m_c, xcb_xfixes_query_version(m_c, 1, 0), nullptr));
    m_window = xcb_generate_id(m_c);
    const uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE; // INCR chunks arrive as property changes
    xcb_create_window(m_c, XCB_COPY_FROM_PARENT, m_window, screens.data->root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
    m_clipboard = intern("CLIPBOARD");
    m_targets = intern("TARGETS");
    m_incr = intern("INCR");
    m_property = intern("STASHWELL_SNAPSHOT");
    if (!version || !m_clipboard || !m_targets || !m_incr || !m_property)
        return false;
    m_ownerChange = xfixes->first_event + XCB_XFIXES_SELECTION_NOTIFY;
    xcb_xfixes_select_selection_input(m_c, m_window, m_clipboard,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER
                                          | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY
                                          | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    return true;
}

xcb_atom_t SelectionReader::intern(const QByteArray &name)
{
    Owned<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(m_c, xcb_intern_atom(m_c, 0, uint16_t(name.size()), name.constData()), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

QString SelectionReader::atomName(xcb_atom_t atom)
{
    Owned<xcb_get_atom_name_reply_t> reply(xcb_get_atom_name_reply(m_c, xcb_get_atom_name(m_c, atom), nullptr));
    if (!reply)
        return {};
    return QString::fromLatin1(xcb_get_atom_name_name(reply.get()), xcb_get_atom_name_name_length(reply.get()));
}

std::optional<xcb_window_t> SelectionReader::owner()
{
    Owned<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(m_c, xcb_get_selection_owner(m_c, m_clipboard), nullptr));
    return reply ? std::optional(reply->owner) : std::nullopt;
}

bool SelectionReader::keptBy(xcb_window_t owner)
{
    // A change of owner that the server made before answering is queued by the time the answer is in.
    const std::optional<xcb_window_t> now = this->owner();
    while (Owned<xcb_generic_event_t> event{xcb_poll_for_queued_event(m_c)})
        m_failed = m_failed || (event->response_type & 0x7f) == m_ownerChange;
    return !m_failed && now == owner;
}

bool SelectionReader::readTargets()
{
    const std::optional<QByteArray> targets = convert(m_targets, 64 * 1024);
    if (!targets || m_failed)
        return false;
    QList<xcb_atom_t> atoms(targets->size() / qsizetype(sizeof(xcb_atom_t)));
    std::memcpy(atoms.data(), targets->constData(), atoms.size() * sizeof(xcb_atom_t));
    for (xcb_atom_t atom : std::as_const(atoms)) {
        const QString name = atomName(atom);
        if (!ClipboardTargets::isReadable(name) || m_atoms.contains(name))
            continue;
        m_offered << name;
        m_atoms.insert(name, atom);
        if (const QString format = ClipboardTargets::formatOf(name); !m_formats.contains(format))
            m_formats << format;
    }
    return true;
}

std::optional<QByteArray> SelectionReader::convert(xcb_atom_t target, qint64 maxBytes)
{
    xcb_delete_property(m_c, m_window, m_property);
    xcb_convert_selection(m_c, m_window, m_clipboard, target, m_property, XCB_CURRENT_TIME);
    xcb_flush(m_c);
    Owned<xcb_generic_event_t> event = waitFor([&](const xcb_generic_event_t *e) {
        if ((e->response_type & 0x7f) != XCB_SELECTION_NOTIFY)
            return false;
        const auto *notify = reinterpret_cast<const xcb_selection_notify_event_t *>(e);
        return notify->requestor == m_window && notify->target == target; // late answers to others are dropped
    });
    if (!event) {
        abandonProperty(); // a late answer could still write into it
        return std::nullopt;
    }
    if (reinterpret_cast<const xcb_selection_notify_event_t *>(event.get())->property == XCB_ATOM_NONE)
        return std::nullopt; // refused

    // The size before the bytes: the first four bytes, and how many follow.
    Owned<xcb_get_property_reply_t> head = property(false, 1);
    if (!head)
        return std::nullopt;
    if (head->type == m_incr) {
        quint32 announced = 0; // INCR's value: a lower bound of the whole size
        if (xcb_get_property_value_length(head.get()) >= int(sizeof announced))
            std::memcpy(&announced, xcb_get_property_value(head.get()), sizeof announced);
        return readIncremental(announced, maxBytes);
    }
    const qint64 size = xcb_get_property_value_length(head.get()) + qint64(head->bytes_after);
    if (size > maxBytes) {
        xcb_delete_property(m_c, m_window, m_property);
        m_tooLarge = true;
        return std::nullopt;
    }
    Owned<xcb_get_property_reply_t> reply = property(true, quint32((size + 3) / 4));
    if (!reply)
        return std::nullopt;
    const int length = xcb_get_property_value_length(reply.get());
    m_totalBytes += length;
    return QByteArray(static_cast<const char *>(xcb_get_property_value(reply.get())), length);
}

std::optional<QByteArray> SelectionReader::readIncremental(qint64 announced, qint64 maxBytes)
{
    if (announced > maxBytes) {
        // The transfer never starts: the owner waits for the property to be deleted.
        abandonProperty();
        m_tooLarge = true;
        return std::nullopt;
    }
    xcb_delete_property(m_c, m_window, m_property); // asks for the first chunk
    xcb_flush(m_c);
    QByteArray data;
    for (;;) {
        Owned<xcb_generic_event_t> event = waitFor([&](const xcb_generic_event_t *e) {
            if ((e->response_type & 0x7f) != XCB_PROPERTY_NOTIFY)
                return false;
            const auto *notify = reinterpret_cast<const xcb_property_notify_event_t *>(e);
            return notify->window == m_window && notify->atom == m_property && notify->state == XCB_PROPERTY_NEW_VALUE;
        });
        Owned<xcb_get_property_reply_t> chunk = event ? property(true, UINT32_MAX / 4) : nullptr; // asks for the next
        xcb_flush(m_c);
        if (!chunk) {
            abandonProperty();
            return std::nullopt;
        }
        const int length = xcb_get_property_value_length(chunk.get());
        if (length == 0) {
            m_totalBytes += data.size();
            return data; // a zero-length chunk ends the transfer
        }
        if (data.size() + length > maxBytes) {
            abandonProperty();
            m_tooLarge = true;
            return std::nullopt;
        }
        data.append(static_cast<const char *>(xcb_get_property_value(chunk.get())), length);
    }
}

Owned<xcb_get_property_reply_t> SelectionReader::property(bool remove, quint32 longs)
{
    return Owned<xcb_get_property_reply_t>(xcb_get_property_reply(
        m_c, xcb_get_property(m_c, remove, m_window, m_property, XCB_GET_PROPERTY_TYPE_ANY, 0, longs), nullptr));
}

void SelectionReader::abandonProperty()
{
    // An owner may still write into the old property: the next targets use a new one.
    m_property = intern("STASHWELL_SNAPSHOT_" + QByteArray::number(++m_abandoned));
    m_failed = m_failed || m_property == XCB_ATOM_NONE;
}

Owned<xcb_generic_event_t> SelectionReader::waitFor(const std::function<bool(const xcb_generic_event_t *)> &match)
{
    const QDeadlineTimer wait(X11ClipboardSnapshotReader::maxTargetWaitMs);
    for (;;) {
        while (xcb_generic_event_t *raw = xcb_poll_for_event(m_c)) {
            Owned<xcb_generic_event_t> event(raw);
            if ((event->response_type & 0x7f) == m_ownerChange) {
                m_failed = true; // another copy replaced the one being read
                return nullptr;
            }
            if (match(event.get()))
                return event;
        }
        if (xcb_connection_has_error(m_c) || m_deadline.hasExpired()) {
            m_failed = true;
            return nullptr;
        }
        const qint64 remaining = std::min(wait.remainingTime(), m_deadline.remainingTime());
        if (remaining <= 0)
            return nullptr;
        pollfd fd{xcb_get_file_descriptor(m_c), POLLIN, 0};
        poll(&fd, 1, int(remaining));
    }
}

QByteArray displayName()
{
    auto *x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    Display *display = x11 ? x11->display() : nullptr;
    return display ? QByteArray(DisplayString(display)) : QByteArray();
}

} // namespace

X11ClipboardSnapshotReader::X11ClipboardSnapshotReader(QObject *parent)
    : QObject(parent)
    , m_display(displayName())
{
}

X11ClipboardSnapshotReader::~X11ClipboardSnapshotReader()
{
    for (QThread *worker : std::as_const(m_workers))
        worker->wait();
    qDeleteAll(m_workers);
}

void X11ClipboardSnapshotReader::read(std::function<void(std::optional<ClipboardSnapshot>)> done)
{
    start<std::optional<ClipboardSnapshot>>(
        [display = m_display] { return SelectionReader(display, maxReadMs, maxTotalBytes).readAll(); },
        std::move(done));
}

void X11ClipboardSnapshotReader::read(const ClipboardReadRequest &request, quint32 owner,
                                      std::function<void(std::optional<ClipboardItemData>)> done)
{
    start<std::optional<ClipboardItemData>>(
        [display = m_display, request, owner] {
            return SelectionReader(display, request.deadlineMs, request.maxTotalBytes).read(request.wants, owner);
        },
        std::move(done));
}

template <typename T> void X11ClipboardSnapshotReader::start(std::function<T()> work, std::function<void(T)> done)
{
    auto result = std::make_shared<T>();
    QThread *worker = QThread::create([result, work = std::move(work)] { *result = work(); });
    connect(worker, &QThread::finished, this, [this, worker, result, done = std::move(done)] {
        m_workers.removeOne(worker);
        worker->deleteLater();
        done(std::move(*result));
    });
    m_workers.append(worker);
    worker->start(QThread::HighPriority); // someone is waiting for this read
}

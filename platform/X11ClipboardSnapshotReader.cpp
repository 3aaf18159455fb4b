#include "platform/X11ClipboardSnapshotReader.h"

#include <QDeadlineTimer>
#include <QGuiApplication>
#include <algorithm>
#include <cstring>
#include <memory>
#include <poll.h>
#include <xcb/xcb.h>
// Last: its macros (None, Bool, ...) would clash with Qt's headers.
#include <X11/Xlib.h>

namespace {

struct FreeDeleter {
    void operator()(void *p) const { free(p); }
};
template <typename T> using Owned = std::unique_ptr<T, FreeDeleter>;

// One selection conversion session on a private connection and an unmapped window.
class SelectionReader {
public:
    explicit SelectionReader(const QByteArray &display)
        : m_c(xcb_connect(display.isEmpty() ? nullptr : display.constData(), &m_screen))
        , m_deadline(X11ClipboardSnapshotReader::maxReadMs)
    {
    }
    ~SelectionReader() { xcb_disconnect(m_c); }

    std::optional<ClipboardSnapshot> run();

private:
    bool setUp();
    xcb_atom_t intern(const char *name);
    QString atomName(xcb_atom_t atom);
    // The bytes of `target` (nullopt: refused, silent or unreadable); `fatal` is set when the
    // whole read must stop (connection lost, deadline passed, size cap reached).
    std::optional<QByteArray> convert(xcb_atom_t target, bool &fatal);
    std::optional<QByteArray> readIncremental(bool &fatal);
    Owned<xcb_generic_event_t> waitFor(const std::function<bool(const xcb_generic_event_t *)> &match, int ms);

    xcb_connection_t *m_c;
    int m_screen = 0;
    QDeadlineTimer m_deadline;
    xcb_window_t m_window = XCB_WINDOW_NONE;
    xcb_atom_t m_clipboard = XCB_ATOM_NONE, m_targets = XCB_ATOM_NONE, m_incr = XCB_ATOM_NONE,
               m_property = XCB_ATOM_NONE;
    qint64 m_totalBytes = 0;
};

std::optional<ClipboardSnapshot> SelectionReader::run()
{
    if (!setUp())
        return std::nullopt;
    Owned<xcb_get_selection_owner_reply_t> owner(
        xcb_get_selection_owner_reply(m_c, xcb_get_selection_owner(m_c, m_clipboard), nullptr));
    if (!owner)
        return std::nullopt;
    if (owner->owner == XCB_WINDOW_NONE)
        return ClipboardSnapshot{}; // an empty clipboard: no items

    bool fatal = false;
    const std::optional<QByteArray> targets = convert(m_targets, fatal);
    if (!targets)
        return std::nullopt; // an owner that does not list its types cannot be snapshotted
    QList<xcb_atom_t> atoms(targets->size() / qsizetype(sizeof(xcb_atom_t)));
    std::memcpy(atoms.data(), targets->constData(), atoms.size() * sizeof(xcb_atom_t));

    ClipboardItemData item;
    for (xcb_atom_t atom : atoms) {
        const QString name = atomName(atom);
        if (!ClipboardTargets::isReadable(name) || std::any_of(item.cbegin(), item.cend(), [&](const auto &entry) {
                return entry.first == name;
            }))
            continue;
        const std::optional<QByteArray> bytes = convert(atom, fatal);
        if (fatal)
            return std::nullopt;
        if (bytes)
            item.append({name, *bytes});
    }
    return ClipboardSnapshot{ClipboardTargets::toMimeFormats(item)};
}

bool SelectionReader::setUp()
{
    if (xcb_connection_has_error(m_c))
        return false;
    const xcb_setup_t *setup = xcb_get_setup(m_c);
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(setup);
    for (int i = 0; i < m_screen && screens.rem; ++i)
        xcb_screen_next(&screens);
    if (!screens.rem)
        return false;
    m_window = xcb_generate_id(m_c);
    const uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE; // INCR chunks arrive as property changes
    xcb_create_window(m_c, XCB_COPY_FROM_PARENT, m_window, screens.data->root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
    m_clipboard = intern("CLIPBOARD");
    m_targets = intern("TARGETS");
    m_incr = intern("INCR");
    m_property = intern("STASHWELL_SNAPSHOT");
    return m_clipboard && m_targets && m_incr && m_property;
}

xcb_atom_t SelectionReader::intern(const char *name)
{
    Owned<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(m_c, xcb_intern_atom(m_c, 0, uint16_t(std::strlen(name)), name), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

QString SelectionReader::atomName(xcb_atom_t atom)
{
    Owned<xcb_get_atom_name_reply_t> reply(xcb_get_atom_name_reply(m_c, xcb_get_atom_name(m_c, atom), nullptr));
    if (!reply)
        return {};
    return QString::fromLatin1(xcb_get_atom_name_name(reply.get()), xcb_get_atom_name_name_length(reply.get()));
}

std::optional<QByteArray> SelectionReader::convert(xcb_atom_t target, bool &fatal)
{
    xcb_delete_property(m_c, m_window, m_property);
    xcb_convert_selection(m_c, m_window, m_clipboard, target, m_property, XCB_CURRENT_TIME);
    xcb_flush(m_c);
    Owned<xcb_generic_event_t> event = waitFor(
        [&](const xcb_generic_event_t *e) {
            if ((e->response_type & 0x7f) != XCB_SELECTION_NOTIFY)
                return false;
            const auto *notify = reinterpret_cast<const xcb_selection_notify_event_t *>(e);
            return notify->requestor == m_window && notify->target == target; // late answers to others are dropped
        },
        X11ClipboardSnapshotReader::maxTargetWaitMs);
    if (!event) {
        fatal = xcb_connection_has_error(m_c) || m_deadline.hasExpired();
        return std::nullopt;
    }
    if (reinterpret_cast<const xcb_selection_notify_event_t *>(event.get())->property == XCB_ATOM_NONE)
        return std::nullopt; // refused

    Owned<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        m_c, xcb_get_property(m_c, 1, m_window, m_property, XCB_GET_PROPERTY_TYPE_ANY, 0, UINT32_MAX / 4), nullptr));
    if (!reply)
        return std::nullopt;
    if (reply->type == m_incr)
        return readIncremental(fatal); // deleting the property above asked for the first chunk
    const int length = xcb_get_property_value_length(reply.get());
    m_totalBytes += length;
    if (m_totalBytes > X11ClipboardSnapshotReader::maxTotalBytes) {
        fatal = true;
        return std::nullopt;
    }
    return QByteArray(static_cast<const char *>(xcb_get_property_value(reply.get())), length);
}

std::optional<QByteArray> SelectionReader::readIncremental(bool &fatal)
{
    QByteArray data;
    for (;;) {
        Owned<xcb_generic_event_t> event = waitFor(
            [&](const xcb_generic_event_t *e) {
                if ((e->response_type & 0x7f) != XCB_PROPERTY_NOTIFY)
                    return false;
                const auto *notify = reinterpret_cast<const xcb_property_notify_event_t *>(e);
                return notify->window == m_window && notify->atom == m_property &&
                       notify->state == XCB_PROPERTY_NEW_VALUE;
            },
            X11ClipboardSnapshotReader::maxTargetWaitMs);
        if (!event) {
            // An abandoned transfer could still write into the property: stop the whole read.
            fatal = true;
            return std::nullopt;
        }
        Owned<xcb_get_property_reply_t> chunk(xcb_get_property_reply(
            m_c, xcb_get_property(m_c, 1, m_window, m_property, XCB_GET_PROPERTY_TYPE_ANY, 0, UINT32_MAX / 4),
            nullptr));
        xcb_flush(m_c);
        if (!chunk) {
            fatal = true;
            return std::nullopt;
        }
        const int length = xcb_get_property_value_length(chunk.get());
        if (length == 0)
            return data; // a zero-length chunk ends the transfer
        m_totalBytes += length;
        if (m_totalBytes > X11ClipboardSnapshotReader::maxTotalBytes) {
            fatal = true;
            return std::nullopt;
        }
        data.append(static_cast<const char *>(xcb_get_property_value(chunk.get())), length);
    }
}

Owned<xcb_generic_event_t> SelectionReader::waitFor(const std::function<bool(const xcb_generic_event_t *)> &match,
                                                    int ms)
{
    const QDeadlineTimer wait(ms);
    for (;;) {
        while (xcb_generic_event_t *event = xcb_poll_for_event(m_c)) {
            if (match(event))
                return Owned<xcb_generic_event_t>(event);
            free(event);
        }
        const qint64 remaining = std::min(wait.remainingTime(), m_deadline.remainingTime());
        if (xcb_connection_has_error(m_c) || remaining <= 0)
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
    auto result = std::make_shared<std::optional<ClipboardSnapshot>>();
    QThread *worker = QThread::create([result, display = m_display] { *result = readNow(display); });
    connect(worker, &QThread::finished, this, [this, worker, result, done = std::move(done)] {
        m_workers.removeOne(worker);
        worker->deleteLater();
        done(*result);
    });
    m_workers.append(worker);
    worker->start(QThread::HighPriority); // a paste is waiting for this read
}

std::optional<ClipboardSnapshot> X11ClipboardSnapshotReader::readNow(const QByteArray &display)
{
    return SelectionReader(display).run();
}

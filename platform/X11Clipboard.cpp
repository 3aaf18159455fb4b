// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/X11Clipboard.h"

#include "platform/X11ClipboardSnapshotReader.h"
#include "platform/X11Support.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <xcb/xfixes.h>

namespace {

Q_LOGGING_CATEGORY(clipboardLog, "stashwell.clipboard")

} // namespace

X11Clipboard::X11Clipboard(X11ClipboardSnapshotReader &reader, QObject *parent)
    : QObject(parent)
    , m_reader(reader)
{
    xcb_connection_t *c = X11::connection();
    const xcb_query_extension_reply_t *xfixes = c ? xcb_get_extension_data(c, &xcb_xfixes_id) : nullptr;
    if (!xfixes || !xfixes->present) {
        qCWarning(clipboardLog) << "No X11 display with XFixes: other applications' copies are not recorded.";
        return;
    }
    const xcb_setup_t *setup = xcb_get_setup(c);
    m_ownIdBase = setup->resource_id_base;
    m_ownIdMask = setup->resource_id_mask;
    m_ownerChange = xfixes->first_event + XCB_XFIXES_SELECTION_NOTIFY;
    m_window = xcb_generate_id(c);
    xcb_create_window(c, XCB_COPY_FROM_PARENT, m_window, X11::rootWindow(), 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_xfixes_select_selection_input(c, m_window, X11::atom("CLIPBOARD"),
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER
                                          | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY
                                          | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    xcb_flush(c);
    QCoreApplication::instance()->installNativeEventFilter(this);
}

X11Clipboard::~X11Clipboard()
{
    if (!m_window)
        return;
    QCoreApplication::instance()->removeNativeEventFilter(this);
    xcb_destroy_window(X11::connection(), m_window);
}

const QMimeData *X11Clipboard::contents() const
{
    QClipboard *clipboard = QGuiApplication::clipboard();
    return clipboard->ownsClipboard() ? clipboard->mimeData(QClipboard::Clipboard) : nullptr;
}

void X11Clipboard::write(QMimeData *data)
{
    QGuiApplication::clipboard()->setMimeData(data, QClipboard::Clipboard);
    advance(XCB_WINDOW_NONE);
}

void X11Clipboard::watch(std::function<void()> changed)
{
    m_changed = std::move(changed);
}

void X11Clipboard::read(qint64 changeCount, const ClipboardReadRequest &request,
                        std::function<void(std::optional<ClipboardItemData>)> done)
{
    if (changeCount != m_changeCount || m_owner == XCB_WINDOW_NONE)
        return done(std::nullopt); // replaced since, or emptied: nothing of that change is left
    m_reader.read(request, m_owner, std::move(done));
}

bool X11Clipboard::nativeEventFilter(const QByteArray &eventType, void *message, qintptr *)
{
    const auto *event = static_cast<const xcb_generic_event_t *>(message);
    if (!m_ownerChange || eventType != "xcb_generic_event_t" || (event->response_type & 0x7f) != m_ownerChange)
        return false;
    const auto *notify = reinterpret_cast<const xcb_xfixes_selection_notify_event_t *>(event);
    if (notify->window != m_window)
        return false; // Qt's own subscription
    const bool own = notify->owner != XCB_WINDOW_NONE && (notify->owner & ~m_ownIdMask) == m_ownIdBase;
    if (!own) // an own write was counted by `write`
        advance(notify->owner);
    return true;
}

void X11Clipboard::advance(quint32 owner)
{
    m_owner = owner;
    ++m_changeCount;
    if (m_changed)
        m_changed();
}

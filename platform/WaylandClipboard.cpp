// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/WaylandClipboard.h"

#include "platform/WaylandConnection.h"
#include "platform/WaylandDataControl.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QLoggingCategory>

namespace {

Q_LOGGING_CATEGORY(clipboardLog, "stashwell.clipboard")

} // namespace

WaylandClipboard::WaylandClipboard(WaylandConnection &connection, QObject *parent)
    : QObject(parent)
    , m_connection(connection)
    , m_control(std::make_unique<WaylandDataControl>(connection, [this](quint64 selection, bool empty) {
        QMetaObject::invokeMethod(this, [this, selection, empty] { advance(selection, empty); }, Qt::QueuedConnection);
    }))
{
    const bool posted = m_connection.post([this, control = m_control.get()] {
        const bool available = control->setUp();
        QMetaObject::invokeMethod(this, [this, available] { setAvailable(available); }, Qt::QueuedConnection);
    });
    if (!posted)
        QMetaObject::invokeMethod(this, [this] { setAvailable(false); }, Qt::QueuedConnection);
}

WaylandClipboard::~WaylandClipboard() = default;

void WaylandClipboard::setAvailable(bool available)
{
    m_available = available;
    if (!available)
        qCWarning(clipboardLog) << "The compositor offers no data-control protocol: other applications' copies are "
                                   "not recorded and pastes cannot own the clipboard.";
    emit availabilityKnown(available);
}

void WaylandClipboard::write(QMimeData *data)
{
    m_contents.reset(data);
    ClipboardItemData formats;
    for (const QString &format : data->formats())
        formats.append({format, data->data(format)});
    if (m_available == false) {
        // Without data control (GNOME) only Qt's own clipboard can be set, while a window of ours
        // has had the focus last.
        auto *copy = new QMimeData;
        for (const auto &[format, bytes] : std::as_const(formats))
            copy->setData(format, bytes);
        QGuiApplication::clipboard()->setMimeData(copy, QClipboard::Clipboard);
    } else {
        m_connection.post([control = m_control.get(), formats] { control->write(formats); });
    }
    advance(0, false);
}

void WaylandClipboard::watch(std::function<void()> changed)
{
    m_changed = std::move(changed);
}

void WaylandClipboard::advance(quint64 selection, bool empty)
{
    if (selection)
        m_contents.reset(); // another client's copy replaced the own write
    m_selection = empty ? 0 : selection;
    ++m_changeCount;
    if (m_changed)
        m_changed();
}

void WaylandClipboard::read(qint64 changeCount, const ClipboardReadRequest &request,
                            std::function<void(std::optional<ClipboardItemData>)> done)
{
    if (changeCount != m_changeCount || !m_selection)
        return done(std::nullopt); // replaced since, emptied or our own: nothing of that change to read
    const auto deliver = onMainThread(done);
    if (!m_connection.post([control = m_control.get(), selection = m_selection, request, deliver] {
            control->read(selection, request, deliver);
        }))
        done(std::nullopt);
}

void WaylandClipboard::read(std::function<void(std::optional<ClipboardSnapshot>)> done)
{
    const auto deliver = onMainThread(done);
    if (!m_connection.post([control = m_control.get(), deliver] {
            control->readAll(maxSnapshotBytes, maxSnapshotMs, deliver);
        }))
        QMetaObject::invokeMethod(this, [done] { done(std::nullopt); }, Qt::QueuedConnection);
}

template <typename T> std::function<void(T)> WaylandClipboard::onMainThread(std::function<void(T)> done)
{
    // Dropped with this object: Qt discards calls queued for a destroyed receiver.
    return [this, done = std::move(done)](T result) {
        QMetaObject::invokeMethod(this, [done, result = std::move(result)] { done(result); }, Qt::QueuedConnection);
    };
}

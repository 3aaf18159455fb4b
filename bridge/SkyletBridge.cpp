// SPDX-License-Identifier: GPL-3.0-or-later
#include "bridge/SkyletBridge.h"

#include "capture/HistoryStore.h"
#include "common/Clock.h"
#include "common/Graphemes.h"
#include "common/Paths.h"
#include "common/RelativeTime.h"
#include "l10n/L10n.h"

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLocale>
#include <QSocketNotifier>
#include <QTimer>

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

// Reading: the bytes are framed and decoded on the main thread. The socket is non-blocking
// and watched by a QSocketNotifier on the main thread: a read returns at once, so it never
// stalls the main thread, reads stay serial and in order, and no second thread is needed to
// hand the bytes over.
//
// Writing: a blocking write to a peer that stops reading would freeze the interface, so
// frames go through a FrameWriter: a short write is continued when the socket is writable
// again, never interleaved with the next frame, and the bytes waiting are capped. ::send with
// MSG_NOSIGNAL makes a vanished peer yield EPIPE instead of a SIGPIPE that kills the process.

namespace {

QString defaultAppID()
{
    const QString desktopFile = QGuiApplication::desktopFileName();
    return desktopFile.isEmpty() ? QString(SkyletBridge::fallbackAppID) : desktopFile;
}

// The system's locale as a BCP 47 tag for the relative-time formatter.
QString systemLanguage()
{
    const QLocale system = QLocale::system();
    return system.language() == QLocale::C ? QStringLiteral("en") : system.bcp47Name();
}

// Line-break characters: LF, VT, FF, CR, NEL, LINE SEPARATOR, PARAGRAPH SEPARATOR.
bool isLineBreak(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= 0x0A && u <= 0x0D) || u == 0x85 || u == 0x2028 || u == 0x2029;
}

const QString metaSeparator = QStringLiteral(" \u00B7 ");

} // namespace

SkyletBridge::SkyletBridge(HistoryStore &store, L10n &l10n, Clock &clock, ShowPalette showPalette, Confirm confirm,
                           SkyletBridgeOptions options, QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_l10n(l10n)
    , m_clock(clock)
    , m_showPalette(std::move(showPalette))
    , m_confirm(std::move(confirm))
    , m_log(std::move(options.log))
    , m_tickMs(options.tickMs > 0 ? options.tickMs : defaultTickMs)
    , m_appID(options.appID.isEmpty() ? defaultAppID() : options.appID)
    , m_relLanguage(options.relativeTimeLanguage.isEmpty() ? systemLanguage() : options.relativeTimeLanguage)
{
}

SkyletBridge::~SkyletBridge()
{
    dropConnection();
}

void SkyletBridge::start()
{
    if (m_retryTimer)
        return;
    connectIfPossible();

    m_retryTimer = new QTimer(this);
    m_retryTimer->setInterval(m_tickMs);
    connect(m_retryTimer, &QTimer::timeout, this, &SkyletBridge::tick);
    connect(&m_socketWatch, &QFileSystemWatcher::directoryChanged, this, [this] {
        connectIfPossible();
        followSocket();
    });
    followSocket();

    connect(&m_store, &HistoryStore::itemsChanged, this, [this] { declareIfChanged(false); });
    declareIfChanged(false); // the current value, as a subscription delivers it
}

void SkyletBridge::tick()
{
    if (m_fd >= 0)
        declareIfChanged(true);
    // So a dead peer found by the tick's own write is reconnected in the same tick.
    if (m_fd < 0)
        connectIfPossible();
    followSocket();
}

// Ticks run while the socket exists (connected, or a companion not answering yet). Without it
// nothing polls: the socket's folder, or the folder above until that exists, is watched, and a
// change there is the cue to connect.
void SkyletBridge::followSocket()
{
    const QFileInfo socket(Paths::skyletSocket());
    if (socket.exists()) {
        if (!m_retryTimer->isActive())
            m_retryTimer->start();
        return;
    }
    const QString dir = socket.absolutePath();
    const QString watched = QFileInfo::exists(dir) ? dir : QFileInfo(dir).absolutePath();
    const QStringList current = m_socketWatch.directories();
    if (current != QStringList{watched}) {
        if (!current.isEmpty())
            m_socketWatch.removePaths(current);
        if (!m_socketWatch.addPath(watched)) { // nothing to watch: keep trying every tick
            m_retryTimer->start();
            return;
        }
    }
    m_retryTimer->stop();
}

void SkyletBridge::connectIfPossible()
{
    if (m_fd >= 0)
        return;
    const QString path = Paths::skyletSocket();
    if (!QFileInfo::exists(path))
        return;
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return;

    // A longer path is cut so that the field always ends in a zero byte.
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray bytes = QFile::encodeName(path);
    std::memcpy(address.sun_path, bytes.constData(),
                std::min<size_t>(size_t(bytes.size()), sizeof(address.sun_path) - 1));
    // A full backlog gives EAGAIN on a non-blocking socket: the next tick tries again.
    if (::connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0) {
        ::close(fd);
        return;
    }

    m_fd = fd;
    installReader(fd);
    m_lastSentIDs.clear();
    declareIfChanged(true);
}

void SkyletBridge::installReader(int fd)
{
    m_reader = new QSocketNotifier(qintptr(fd), QSocketNotifier::Read, this);
    connect(m_reader, &QSocketNotifier::activated, this, &SkyletBridge::readAvailable);
    m_writable = new QSocketNotifier(qintptr(fd), QSocketNotifier::Write, this);
    m_writable->setEnabled(false);
    connect(m_writable, &QSocketNotifier::activated, this, &SkyletBridge::flush);
}

void SkyletBridge::readAvailable()
{
    if (m_fd < 0)
        return;
    char chunk[readChunkBytes];
    const ssize_t n = ::read(m_fd, chunk, sizeof(chunk));
    if (n > 0) {
        consume(QByteArrayView(chunk, qsizetype(n)));
        return;
    }
    if (n < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK))
        return;
    dropConnection(); // end of stream or a read error
}

void SkyletBridge::send(const WidgetMessage &message)
{
    if (m_fd < 0)
        return;
    const std::optional<QByteArray> json = message.encode();
    if (!json)
        return; // a non-finite number: dropped, the connection stays
    // Refused by the cap only while the peer has stopped reading: lost, like a failed write.
    if (!m_writer.enqueue(*json))
        return;
    flush();
}

void SkyletBridge::flush()
{
    if (m_fd < 0)
        return;
    const int fd = m_fd;
    const FrameWriter::Result result = m_writer.drain([fd](const char *data, qint64 size) -> qint64 {
        return ::send(fd, data, size_t(size), MSG_NOSIGNAL);
    });
    if (result == FrameWriter::Result::Failed) {
        dropConnection(); // no queue and no resend: the next connect declares anyway
        return;
    }
    m_writable->setEnabled(result == FrameWriter::Result::Pending);
}

void SkyletBridge::declareIfChanged(bool force)
{
    if (m_fd < 0)
        return;
    QList<ClipItem> selection;
    QList<QUuid> ids;
    for (const ClipItem &item : m_store.items()) {
        if (selection.size() == maxItems)
            break;
        if (item.hasImage || !item.text.value_or(QString()).isEmpty()) {
            selection.append(item);
            ids.append(item.id);
        }
    }
    if (!force && ids == m_lastSentIDs)
        return;
    m_lastSentIDs = ids; // before sending, whether or not the send succeeds

    QList<WidgetItem> items;
    items.reserve(selection.size());
    for (const ClipItem &item : selection)
        items.append(widgetItem(item));
    const WidgetAction action =
        WidgetMessage::openPaletteAction(text(QStringLiteral("menu.open")), text(QStringLiteral("skylet.dPalette")));
    send(WidgetMessage::state(m_appID, action, items, text(QStringLiteral("skylet.recent"))));
}

QString SkyletBridge::textTitle(const QString &text)
{
    const QString trimmed = text.trimmed();
    const auto lineEnd = std::find_if(trimmed.cbegin(), trimmed.cend(), isLineBreak);
    return Graphemes::left(trimmed.first(lineEnd - trimmed.cbegin()), maxTitleCharacters);
}

WidgetItem SkyletBridge::widgetItem(const ClipItem &item) const
{
    WidgetItem widget;
    widget.id = item.idString();
    if (item.hasImage) {
        widget.title = item.displayTitle();
        widget.path = QFileInfo(m_store.blobPath(item, "png")).absoluteFilePath();
    } else {
        widget.title = textTitle(item.text.value_or(QString()));
    }
    widget.meta = text(QStringLiteral("filter.") + ClipKinds::rawValue(item.kind)) + metaSeparator +
                  RelativeTime::abbreviated(item.createdAt, m_clock.now(), m_relLanguage);
    return widget;
}

QString SkyletBridge::text(const QString &key) const
{
    return m_hostLang ? m_l10n.string(key, *m_hostLang) : m_l10n.string(key);
}

void SkyletBridge::consume(QByteArrayView bytes)
{
    m_readBuffer.append(bytes);
    // A failed send inside the loop disconnects, which empties the buffer and ends the loop.
    while (const std::optional<QByteArray> line = m_readBuffer.takeLine()) {
        const std::optional<WidgetMessage> message = WidgetMessage::decode(*line);
        if (!message)
            continue;
        if (message->type == WidgetMessageType::hostInfo)
            applyHostLanguage(message->lang);
        else if (message->type == WidgetMessageType::command)
            handle(*message);
    }
}

void SkyletBridge::applyHostLanguage(const std::optional<QString> &code)
{
    const std::optional<AppLanguage> language = code ? AppLanguages::fromRawValue(*code) : std::nullopt;
    if (!language) {
        // Back to the application's own texts; the relative times keep their locale.
        if (m_hostLang) {
            m_hostLang.reset();
            declareIfChanged(true);
        }
        return;
    }
    if (language == m_hostLang)
        return;
    m_hostLang = language;
    m_relLanguage = AppLanguages::rawValue(*language);
    declareIfChanged(true);
}

void SkyletBridge::handle(const WidgetMessage &command)
{
    if (m_log) {
        m_log(QStringLiteral("skylet command action=%1 item=%2")
                  .arg(command.actionId.value_or(QStringLiteral("-")), command.itemId.value_or(QStringLiteral("-"))));
    }
    // Only the canonical 36-character form is a UUID here (QUuid would also take braces).
    if (command.itemId && command.itemId->size() == 36) {
        const QUuid id = QUuid::fromString(*command.itemId);
        const QList<ClipItem> &items = m_store.items();
        const auto found = std::find_if(items.cbegin(), items.cend(), [&](const ClipItem &i) { return i.id == id; });
        if (!id.isNull() && found != items.cend()) {
            const ClipItem entry = *found; // confirm may reorder the history
            if (m_confirm)
                m_confirm(entry);
            return;
        }
    }
    if (command.actionId == openPaletteActionID && m_showPalette)
        m_showPalette(QString(paletteTrigger));
}

void SkyletBridge::dropConnection()
{
    // Possibly called from a notifier's own signal: disabled now, deleted once it returned.
    for (QSocketNotifier **notifier : {&m_reader, &m_writable}) {
        if (*notifier) {
            (*notifier)->setEnabled(false);
            (*notifier)->deleteLater();
            *notifier = nullptr;
        }
    }
    m_readBuffer.clear();
    m_writer.clear();
    if (m_fd >= 0) {
        ::close(m_fd);
        m_fd = -1;
    }
}

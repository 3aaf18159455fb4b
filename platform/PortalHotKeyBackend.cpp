// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/PortalHotKeyBackend.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QKeySequence>
#include <QLoggingCategory>

namespace {

Q_LOGGING_CATEGORY(portalLog, "stashwell.hotkey")

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString shortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");

// One entry of BindShortcuts' a(sa{sv}): an identifier and its properties.
struct PortalShortcut {
    QString id;
    QVariantMap properties;
};

QDBusArgument &operator<<(QDBusArgument &argument, const PortalShortcut &shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, PortalShortcut &shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

QString shortcutName(quint32 id) { return QStringLiteral("hotkey-%1").arg(id); }

} // namespace

Q_DECLARE_METATYPE(PortalShortcut)

PortalHotKeyBackend::PortalHotKeyBackend(QDBusConnection bus, QString description, QObject *parent)
    : QObject(parent)
    , m_bus(std::move(bus))
    , m_description(std::move(description))
{
    qDBusRegisterMetaType<PortalShortcut>();
    qDBusRegisterMetaType<QList<PortalShortcut>>();
    if (!m_bus.isConnected()) {
        qCInfo(portalLog) << "No session bus, so no global shortcuts: bind the desktop's shortcut to `stashwell toggle`.";
        m_available = false;
        return;
    }
    request("CreateSession", {}, {{QStringLiteral("session_handle_token"), QStringLiteral("stashwell")}},
            SLOT(sessionResponse(uint, QVariantMap)));
}

std::optional<HotKeyBackend::Handle> PortalHotKeyBackend::installHandler(std::function<void(quint32)> handler)
{
    return m_handlers.install(std::move(handler));
}

void PortalHotKeyBackend::removeHandler(Handle handler)
{
    m_handlers.remove(handler);
}

HotKeyBackend::Registration PortalHotKeyBackend::registerHotKey(Qt::Key key, Qt::KeyboardModifiers modifiers, quint32 id)
{
    if (m_available == false)
        return {};
    const Handle handle = m_nextHandle++;
    m_shortcuts.insert(handle, {id, trigger(key, modifiers)});
    bind();
    return {handle};
}

void PortalHotKeyBackend::unregisterHotKey(Handle hotKey)
{
    // The portal cannot unbind: presses of a shortcut no longer registered are ignored.
    m_shortcuts.remove(hotKey);
}

QString PortalHotKeyBackend::trigger(Qt::Key key, Qt::KeyboardModifiers modifiers)
{
    QStringList parts;
    for (const auto &[modifier, name] : {std::pair{Qt::ControlModifier, "CTRL"}, std::pair{Qt::AltModifier, "ALT"},
                                         std::pair{Qt::ShiftModifier, "SHIFT"}, std::pair{Qt::MetaModifier, "LOGO"}})
        if (modifiers & modifier)
            parts << QLatin1String(name);
    // Keys by their keysym names, which are lower case for letters.
    const QString name = QKeySequence(key).toString(QKeySequence::PortableText);
    parts << (key >= Qt::Key_A && key <= Qt::Key_Z ? name.toLower() : name);
    return parts.join(QLatin1Char('+'));
}

void PortalHotKeyBackend::request(const char *method, const QList<QVariant> &arguments, QVariantMap options,
                                  const char *slot)
{
    // The portal answers on a request object whose path follows from our bus name and the token;
    // its Response is subscribed to before the call, so it cannot be missed.
    const QString token = QStringLiteral("stashwell%1").arg(m_nextToken++);
    QString sender = m_bus.baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    const QString path = QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2").arg(sender, token);
    m_bus.connect(QString(), path, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"), this,
                  slot);
    options.insert(QStringLiteral("handle_token"), token);
    QDBusMessage call = QDBusMessage::createMethodCall(portalService, portalPath, shortcutsInterface,
                                                       QLatin1String(method));
    call.setArguments(arguments + QList<QVariant>{options});
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, method](QDBusPendingCallWatcher *done) {
        done->deleteLater();
        if (!done->isError())
            return;
        qCInfo(portalLog).noquote() << QStringLiteral("No global shortcuts from the desktop portal (%1: %2): bind the "
                                                      "desktop's shortcut to `stashwell toggle`.")
                                           .arg(QLatin1String(method), done->error().name());
        setAvailable(false);
    });
}

void PortalHotKeyBackend::sessionResponse(uint response, const QVariantMap &results)
{
    const QVariant handle = results.value(QStringLiteral("session_handle"));
    m_session = handle.canConvert<QDBusObjectPath>() ? handle.value<QDBusObjectPath>().path() : handle.toString();
    if (response != 0 || m_session.isEmpty()) {
        setAvailable(false);
        return;
    }
    m_bus.connect(QString(), portalPath, shortcutsInterface, QStringLiteral("Activated"), this,
                  SLOT(activated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
    setAvailable(true);
    bind();
}

void PortalHotKeyBackend::bind()
{
    if (m_session.isEmpty() || m_available != true || m_shortcuts.isEmpty())
        return;
    QList<PortalShortcut> shortcuts;
    for (const Shortcut &shortcut : std::as_const(m_shortcuts))
        shortcuts.append({shortcutName(shortcut.id),
                          {{QStringLiteral("description"), m_description},
                           {QStringLiteral("preferred_trigger"), shortcut.trigger}}});
    request("BindShortcuts",
            {QVariant::fromValue(QDBusObjectPath(m_session)), QVariant::fromValue(shortcuts), QString()}, {},
            SLOT(bindResponse(uint, QVariantMap)));
}

void PortalHotKeyBackend::bindResponse(uint response, const QVariantMap &)
{
    // Refused or cancelled by the user in the desktop's confirmation.
    if (response != 0)
        setAvailable(false);
}

void PortalHotKeyBackend::activated(const QDBusObjectPath &session, const QString &shortcut, qulonglong,
                                    const QVariantMap &)
{
    if (session.path() != m_session)
        return;
    for (const Shortcut &registered : std::as_const(m_shortcuts)) {
        if (shortcutName(registered.id) != shortcut)
            continue;
        m_handlers.dispatch(registered.id);
    }
}

void PortalHotKeyBackend::setAvailable(bool available)
{
    if (m_available == available)
        return;
    m_available = available;
    if (!available)
        m_session.clear();
    emit availabilityKnown(available);
}

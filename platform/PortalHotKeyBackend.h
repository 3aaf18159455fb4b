// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "platform/HotKeyBackend.h"

#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QHash>
#include <QObject>
#include <QVariantMap>

// A global shortcut on Wayland through the desktop portal's GlobalShortcuts interface (KDE
// Plasma's portal offers it; wlroots and GNOME 45 and older do not). No client may grab keys
// there: the desktop binds the shortcut, may let the user confirm or change it, and reports its
// presses. Everything is asynchronous: until the portal answered, a registration is kept and
// bound once the session exists; a desktop without the interface makes every registration fail
// (`availabilityKnown(false)`), and the application then advises binding `stashwell toggle`.
class PortalHotKeyBackend final : public QObject, public HotKeyBackend {
    Q_OBJECT
public:
    // `description` names the shortcut in the desktop's shortcut settings.
    PortalHotKeyBackend(QDBusConnection bus, QString description, QObject *parent = nullptr);

    // nullopt while the portal has not answered yet.
    std::optional<bool> isAvailable() const { return m_available; }

    std::optional<Handle> installHandler(std::function<void(quint32 id)> handler) override;
    void removeHandler(Handle handler) override;
    // A handle unless the portal is known to be missing; the binding follows once it answered.
    Registration registerHotKey(Qt::Key key, Qt::KeyboardModifiers modifiers, quint32 id) override;
    void unregisterHotKey(Handle hotKey) override;

    // The shortcut in the portal's trigger notation: "SHIFT+LOGO+v", "CTRL+ALT+F5".
    static QString trigger(Qt::Key key, Qt::KeyboardModifiers modifiers);

signals:
    void availabilityKnown(bool available);

private slots:
    void sessionResponse(uint response, const QVariantMap &results);
    void bindResponse(uint response, const QVariantMap &results);
    void activated(const QDBusObjectPath &session, const QString &shortcut, qulonglong timestamp,
                   const QVariantMap &options);

private:
    struct Shortcut {
        quint32 id;
        QString trigger;
    };
    // A portal request with a fresh token: `slot` receives its Response signal.
    void request(const char *method, const QList<QVariant> &arguments, QVariantMap options, const char *slot);
    void bind();
    void setAvailable(bool available);

    QDBusConnection m_bus;
    QString m_description;
    std::optional<bool> m_available;
    QString m_session; // the session's object path once created
    HotKeyHandlers m_handlers;
    QHash<Handle, Shortcut> m_shortcuts;
    Handle m_nextHandle = 1;
    int m_nextToken = 0;
};

// SPDX-License-Identifier: GPL-3.0-or-later
// The global shortcut through the desktop portal, against a scripted portal on a private session
// bus: the session and binding requests, their answers, and the presses it reports.
#include "fakes/TestFiles.h"
#include "platform/PortalHotKeyBackend.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QProcess>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// Answers CreateSession and BindShortcuts as the portal does: a request path at once, then the
// Response signal on it. `answer` is "ok", "missing" (no GlobalShortcuts interface) or "cancelled"
// (the user declined the binding).
class FakePortal : public QDBusVirtualObject {
public:
    FakePortal(QDBusConnection bus, QString answer)
        : m_bus(std::move(bus))
        , m_answer(std::move(answer))
    {
    }
    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &) override
    {
        if (m_answer == QLatin1String("missing")) {
            m_bus.send(message.createErrorReply(QDBusError::UnknownInterface, QStringLiteral("no shortcuts")));
            return true;
        }
        const QVariantMap options = qdbus_cast<QVariantMap>(message.arguments().last());
        QString sender = message.service().mid(1);
        sender.replace(QLatin1Char('.'), QLatin1Char('_'));
        const QString request = QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2")
                                    .arg(sender, options.value(QStringLiteral("handle_token")).toString());
        m_bus.send(message.createReply(QVariant::fromValue(QDBusObjectPath(request))));
        uint response = 0;
        QVariantMap results;
        if (message.member() == QLatin1String("CreateSession")) {
            results.insert(QStringLiteral("session_handle"), QVariant::fromValue(QDBusObjectPath(session)));
        } else {
            bound = boundShortcuts(message.arguments().value(1).value<QDBusArgument>());
            response = m_answer == QLatin1String("cancelled") ? 1 : 0;
        }
        QDBusMessage signal = QDBusMessage::createSignal(request, QStringLiteral("org.freedesktop.portal.Request"),
                                                         QStringLiteral("Response"));
        signal << response << results;
        m_bus.send(signal);
        return true;
    }
    void press(const QString &sessionPath, const QString &shortcut)
    {
        QDBusMessage signal = QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/portal/desktop"),
                                                         QStringLiteral("org.freedesktop.portal.GlobalShortcuts"),
                                                         QStringLiteral("Activated"));
        signal << QVariant::fromValue(QDBusObjectPath(sessionPath)) << shortcut << qulonglong(0) << QVariantMap();
        m_bus.send(signal);
    }

    const QString session = QStringLiteral("/org/freedesktop/portal/desktop/session/1/stashwell");
    QStringList bound; // "id description trigger" of the last BindShortcuts

private:
    static QStringList boundShortcuts(const QDBusArgument &argument)
    {
        QStringList list;
        argument.beginArray();
        while (!argument.atEnd()) {
            QString id;
            QVariantMap properties;
            argument.beginStructure();
            argument >> id >> properties;
            argument.endStructure();
            list << id + ' ' + properties.value("description").toString() + ' '
                        + properties.value("preferred_trigger").toString();
        }
        argument.endArray();
        list.sort();
        return list;
    }

    QDBusConnection m_bus;
    QString m_answer;
};

} // namespace

class PortalHotKeyTest : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QProcess m_daemon;
    QString m_address;

private slots:
    void initTestCase()
    {
        // A bus of the test's own, with nothing to activate.
        const QString config = m_dir.filePath(QStringLiteral("bus.conf"));
        QVERIFY(writeFile(config, QStringLiteral("<busconfig><type>session</type><listen>unix:dir=%1</listen>"
                                                 "<auth>EXTERNAL</auth><policy context=\"default\">"
                                                 "<allow send_destination=\"*\"/><allow own=\"*\"/>"
                                                 "<allow receive_sender=\"*\"/></policy></busconfig>")
                                      .arg(m_dir.path())
                                      .toUtf8()));
        m_daemon.start(QStringLiteral("dbus-daemon"), {"--config-file=" + config, "--nofork", "--print-address=1"});
        QVERIFY(m_daemon.waitForReadyRead(10000));
        m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();
    }
    void cleanupTestCase()
    {
        m_daemon.terminate();
        m_daemon.waitForFinished(3000);
    }

    void bindsAndReportsPressesOrFailsAsThePortalAnswers_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<bool>("available");
        QTest::newRow("portal with shortcuts") << "ok" << true;
        QTest::newRow("portal without shortcuts") << "missing" << false;
        QTest::newRow("binding declined") << "cancelled" << false;
    }
    void bindsAndReportsPressesOrFailsAsThePortalAnswers()
    {
        QFETCH(QString, answer);
        QFETCH(bool, available);
        const QString tag = QString::fromLatin1(QTest::currentDataTag()).replace(' ', '-');
        QDBusConnection portalBus = QDBusConnection::connectToBus(m_address, "portal-" + tag);
        QDBusConnection appBus = QDBusConnection::connectToBus(m_address, "app-" + tag);
        const auto disconnect = qScopeGuard([&] {
            QDBusConnection::disconnectFromBus(portalBus.name());
            QDBusConnection::disconnectFromBus(appBus.name());
        });
        FakePortal portal(portalBus, answer);
        QVERIFY(portalBus.registerVirtualObject(QStringLiteral("/org/freedesktop/portal/desktop"), &portal));
        QVERIFY(portalBus.registerService(QStringLiteral("org.freedesktop.portal.Desktop")));

        PortalHotKeyBackend backend(appBus, QStringLiteral("Open the clipboard history"));
        QSignalSpy known(&backend, &PortalHotKeyBackend::availabilityKnown);
        QList<quint32> pressed;
        QVERIFY(backend.installHandler([&](quint32 id) { pressed << id; }));
        // Registered before the portal answered: kept, and bound once the session exists.
        QVERIFY(backend.registerHotKey(Qt::Key_V, Qt::MetaModifier | Qt::ShiftModifier, 7).handle);
        QTRY_COMPARE(backend.isAvailable(), std::optional(available));
        QCOMPARE(known.last().value(0).toBool(), available);
        QCOMPARE(bool(backend.registerHotKey(Qt::Key_F5, Qt::ControlModifier | Qt::AltModifier, 8).handle), available);
        if (!available)
            return;
        QTRY_COMPARE(portal.bound, QStringList({"hotkey-7 Open the clipboard history SHIFT+LOGO+v",
                                                "hotkey-8 Open the clipboard history CTRL+ALT+F5"}));
        portal.press(QStringLiteral("/org/freedesktop/portal/desktop/session/2/other"), QStringLiteral("hotkey-7"));
        portal.press(portal.session, QStringLiteral("hotkey-7"));
        QTRY_COMPARE(pressed, QList<quint32>{7}); // only its own session's presses
    }

    void withoutSessionBusNothingIsRegistered()
    {
        PortalHotKeyBackend backend(QDBusConnection(QStringLiteral("none")), QString());
        QCOMPARE(backend.isAvailable(), std::optional(false));
        QVERIFY(!backend.registerHotKey(Qt::Key_V, Qt::MetaModifier, 1).handle);
    }
};

QTEST_GUILESS_MAIN(PortalHotKeyTest)
#include "PortalHotKeyTest.moc"

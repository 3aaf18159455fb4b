// Parts 6.1 and 6.2 against their real peer: two clients (each its own settings, defaults and
// keychain, as on two machines) sign in through the reference server's sign-in page, driven
// by HTTP as a browser would, and synchronise their settings through it.
#include "app/AppSettings.h"
#include "cloud/CloudAccount.h"
#include "cloud/CloudSync.h"
#include "cloud/SyncPayload.h"
#include "fakes/CloudFakes.h"
#include "fakes/Fakes.h"
#include "platform/DefaultsStore.h"
#include "server/ReferenceServerProcess.h"
#include "server/SignInBrowser.h"

#include <QtTest>
#include <memory>

namespace {

// One machine: its own preferences, defaults file, keychain and browser.
struct Machine {
    Machine(QNetworkAccessManager &network, const QString &root)
        : settings(defaults, loginItem)
        , account(keychain, network, root, browser.opener())
        , sync(settings, account, keychain, defaults, network, root, 100)
    {
        sync.start();
    }
    DefaultsStore defaults{QString()};
    FakeLoginItem loginItem;
    AppSettings settings;
    MemoryKeychain keychain;
    FakeBrowser browser;
    CloudAccount account;
    CloudSync sync;
};

} // namespace

class CloudClientInteropTest : public QObject {
    Q_OBJECT

private:
    bool signIn(Machine &machine, const QString &email)
    {
        QSignalSpy changes(&machine.account, &CloudAccount::stateChanged);
        machine.account.signIn();
        const QUrl callback = signInAtPage(m_network, machine.browser.opened.last(), email);
        if (callback.scheme() != QLatin1String("stashwell") || !machine.account.handleCallback(callback))
            return false;
        return changes.wait(10000) && machine.account.state().signedIn;
    }

    static void waitForSync(Machine &machine)
    {
        QTest::qWait(50);
        QTRY_VERIFY_WITH_TIMEOUT(machine.sync.status() != CloudSync::Status::syncing, 10000);
    }

    ReferenceServerProcess m_server{QStringLiteral(STASHWELL_SERVER_BIN)};
    QNetworkAccessManager m_network;

private slots:
    void initTestCase() { QVERIFY2(m_server.start(), m_server.errorOutput().constData()); }

    void signInRefreshAndSignOut()
    {
        Machine laptop(m_network, m_server.root().toString());
        QVERIFY(signIn(laptop, QStringLiteral("ada@example.org")));
        QCOMPARE(laptop.account.state(), CloudAccount::State::signedInAs(QStringLiteral("ada@example.org"),
                                                                         QStringLiteral("free")));
        QVERIFY(!laptop.keychain.items.value(KeychainItem::token).isEmpty());

        QSignalSpy finished(&laptop.account, &CloudAccount::requestFinished);
        laptop.account.refresh();
        QVERIFY(finished.wait(10000));
        QCOMPARE(finished.last().value(1).toInt(), 200);
        QVERIFY(laptop.account.state().signedIn);

        const QString token = laptop.keychain.items.value(KeychainItem::token);
        laptop.account.signOut();
        QVERIFY(finished.wait(10000)); // the service was told: the token no longer works
        Machine stale(m_network, m_server.root().toString());
        stale.keychain.items.insert(KeychainItem::token, token);
        QSignalSpy staleFinished(&stale.account, &CloudAccount::requestFinished);
        stale.account.refresh();
        QVERIFY(staleFinished.wait(10000));
        QCOMPARE(staleFinished.last().value(1).toInt(), 401);
        QCOMPARE(stale.account.state(), CloudAccount::State::signedOut());
    }

    void aSettingChangedOnOneMachineArrivesOnTheOther_andAConflictGoesToTheService()
    {
        const QString root = m_server.root().toString();
        Machine laptop(m_network, root);
        Machine desktop(m_network, root);
        laptop.settings.setHistoryLimit(250);
        QVERIFY(signIn(laptop, QStringLiteral("two@example.org")));
        waitForSync(laptop); // the service was empty: the laptop's settings went up
        QCOMPARE(laptop.defaults.intValue(CloudSync::baseVersionKey), std::optional<qint64>(1));

        QVERIFY(signIn(desktop, QStringLiteral("two@example.org")));
        waitForSync(desktop); // the service's version is newer than the desktop's 0: it wins
        QCOMPARE(desktop.settings.historyLimit(), 250);

        // A change on the laptop arrives on the desktop at its next pull (its next launch).
        laptop.settings.setAlwaysPlainText(true);
        laptop.settings.setExcludedBundleIDs({QStringLiteral("org.keepassxc.KeePassXC")});
        QTRY_COMPARE_WITH_TIMEOUT(laptop.defaults.intValue(CloudSync::baseVersionKey), std::optional<qint64>(2), 10000);
        desktop.account.refresh();
        QTRY_COMPARE_WITH_TIMEOUT(desktop.settings.alwaysPlainText(), true, 10000);
        waitForSync(desktop);
        QCOMPARE(desktop.settings.excludedBundleIDs(), QStringList{QStringLiteral("org.keepassxc.KeePassXC")});
        QCOMPARE(SyncPayload::from(desktop.settings), SyncPayload::from(laptop.settings));

        // Both change at once; the desktop pushes second from a stale base: 409, the service wins.
        laptop.sync.setEnabled(false);
        laptop.settings.setHistoryLimit(999);
        desktop.settings.setClearOnQuit(true); // pushed first: version 3
        QTRY_COMPARE_WITH_TIMEOUT(desktop.defaults.intValue(CloudSync::baseVersionKey), std::optional<qint64>(3), 10000);
        laptop.sync.setEnabled(true); // pull: version 3 is newer than the laptop's 2, it wins
        QTRY_COMPARE_WITH_TIMEOUT(laptop.settings.clearOnQuit(), true, 10000);
        waitForSync(laptop);
        QCOMPARE(laptop.settings.historyLimit(), 250); // the laptop's unsent change is lost

        laptop.settings.setMoveToTopOnPaste(false); // version 4
        QTRY_COMPARE_WITH_TIMEOUT(laptop.defaults.intValue(CloudSync::baseVersionKey), std::optional<qint64>(4), 10000);
        desktop.settings.setHistoryLimit(5); // based on 3: refused, then the service's blob applies
        QTRY_COMPARE_WITH_TIMEOUT(desktop.settings.moveToTopOnPaste(), false, 10000);
        waitForSync(desktop);
        QCOMPARE(desktop.settings.historyLimit(), 250);
        QCOMPARE(desktop.sync.status(), CloudSync::Status::idle);
        QCOMPARE(desktop.defaults.intValue(CloudSync::baseVersionKey), std::optional<qint64>(4));
        QCOMPARE(SyncPayload::from(desktop.settings), SyncPayload::from(laptop.settings));
    }
};

QTEST_GUILESS_MAIN(CloudClientInteropTest)
#include "CloudClientInteropTest.moc"

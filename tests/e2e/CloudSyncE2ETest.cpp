// SPDX-License-Identifier: GPL-3.0-or-later
// End to end with every part real: two `stashwell` instances in X sessions of their own (two
// machines) sign in to one reference server through its sign-in page and keep their settings in
// step through it. A change on one arrives on the other; a conflicting one goes the service's way.
#include "cloud/CloudAccount.h"
#include "cloud/Keychain.h"
#include "cloud/ServiceClient.h"
#include "cloud/SyncPayload.h"
#include "e2e/XSession.h"
#include "fakes/CloudFakes.h"
#include "server/ReferenceServerProcess.h"
#include "server/SignInBrowser.h"

#include <QtTest>
#include <memory>

namespace {

const QString account = QStringLiteral("two-machines@example.org");
constexpr int syncTimeoutMs = 20000; // a push waits 2 s for more changes; the rest is generous

// Written last when a push is committed or a remote blob applied: a sync is over once it changed.
QString lastBlobOf(const XSession &machine) { return machine.defaults()["cloudSyncLastBlob"].toString(); }

SyncPayload decoded(const QString &blob) { return SyncPayload::decode(blob).value_or(SyncPayload{}); }

// `stashwell config KEY [VALUE]` from a second process; its output, or its exit code on failure.
QString config(const XSession &machine, const QStringList &args)
{
    const XSession::Run run = machine.runStashwellCommand(QStringList{QStringLiteral("config")} + args);
    if (run.exitCode != 0)
        return QStringLiteral("exit %1: %2").arg(run.exitCode).arg(QString::fromUtf8(run.err));
    return QString::fromUtf8(run.out);
}

} // namespace

class CloudSyncE2ETest : public QObject {
    Q_OBJECT

    ReferenceServerProcess m_server{QStringLiteral(STASHWELL_SERVER_BIN)};
    QNetworkAccessManager m_network;
    // The test's own client of the same account: it watches what the service holds.
    MemoryKeychain m_keychain;
    FakeBrowser m_browser;
    std::unique_ptr<CloudAccount> m_observer;

    QString root() const { return m_server.root().toString(); }

    bool startMachine(XSession &machine)
    {
        return machine.isUp() && machine.startSecretService()
            && machine.startStashwell({QStringLiteral("STASHWELL_SERVICE_URL=") + root()});
    }

    // The user's way: `stashwell sign-in` opens the sign-in page in the browser (here the
    // session's xdg-open, which records it), the browser signs in, and the desktop hands the
    // callback URL to Stashwell as `stashwell <url>`.
    void signIn(XSession &machine)
    {
        const qsizetype opened = machine.openedUrls().size();
        const XSession::Run started = machine.runStashwellCommand({QStringLiteral("sign-in")});
        QVERIFY2(started.exitCode == 0, started.err.constData());
        QVERIFY2(XSession::waitFor([&] { return machine.openedUrls().size() > opened; }, 10000), "no page opened");
        const QUrl page(machine.openedUrls().last());
        QVERIFY2(started.out.contains(page.toEncoded()), started.out.constData()); // and printed
        const QUrl callback = signInAtPage(m_network, page, account);
        QCOMPARE(callback.scheme(), QStringLiteral("stashwell"));
        const XSession::Run handed = machine.runStashwellCommand({callback.toString(QUrl::FullyEncoded)});
        QVERIFY2(handed.exitCode == 0, handed.err.constData());
    }

    // GET /api/sync/stashwell as the observer: its "version" and "blob", empty without an answer.
    QJsonObject serviceRecord()
    {
        auto record = std::make_shared<std::optional<QJsonObject>>();
        ServiceClient(m_network, root())
            .send("GET", QStringLiteral("/sync/stashwell"), m_keychain.get(KeychainItem::token), std::nullopt, this,
                  [record](const ServiceResponse &response) {
                      *record = response.isSuccess() ? response.object : QJsonObject();
                  });
        return XSession::waitFor([&] { return record->has_value(); }, 10000) ? **record : QJsonObject();
    }

private slots:
    void initTestCase()
    {
        QVERIFY2(m_server.start(), m_server.errorOutput().constData());
        m_observer = std::make_unique<CloudAccount>(m_keychain, m_network, root(), m_browser.opener());
        QSignalSpy signedIn(m_observer.get(), &CloudAccount::stateChanged);
        m_observer->signIn();
        QVERIFY(m_observer->handleCallback(signInAtPage(m_network, m_browser.opened.last(), account)));
        QVERIFY(signedIn.wait(10000));
        QVERIFY(m_observer->state().signedIn);
        QCOMPARE(serviceRecord()["version"], QJsonValue(0)); // nothing synchronised yet
    }

    void aSettingChangedOnOneMachineArrivesOnTheOther_andAConflictGoesToTheService()
    {
        XSession a, b;
        QVERIFY(startMachine(a));
        QVERIFY(startMachine(b));

        // Signed out, a change stays on A.
        QCOMPARE(config(a, {"historyLimit", "321"}), QString());
        QCOMPARE(config(a, {"historyLimit"}), QStringLiteral("321\n"));
        QCOMPARE(config(a, {"historyLimit", "many"}),
                 QStringLiteral("exit 2: historyLimit takes an integer, not \"many\".\n"));
        QCOMPARE(config(b, {"historyLimit"}), QStringLiteral("500\n"));
        QCOMPARE(serviceRecord()["version"], QJsonValue(0));

        // A signs in; the service is empty, so A's settings go up as its first version.
        signIn(a);
        if (QTest::currentTestFailed())
            return;
        QVERIFY(XSession::waitFor([&] { return serviceRecord()["version"] == 1; }, syncTimeoutMs));
        const QString first = serviceRecord()["blob"].toString();
        QCOMPARE(decoded(first).historyLimit, std::optional<qint64>(321));
        QVERIFY(XSession::waitFor([&] { return lastBlobOf(a) == first; }, syncTimeoutMs));
        QCOMPARE(a.defaults()["cloudSyncBaseVersion"], QJsonValue(1));

        // B signs in to the same account: the service's newer version replaces B's settings.
        signIn(b);
        if (QTest::currentTestFailed())
            return;
        QVERIFY(XSession::waitFor([&] { return lastBlobOf(b) == first; }, syncTimeoutMs));
        QCOMPARE(b.defaults()["cloudSyncBaseVersion"], QJsonValue(1));
        QCOMPARE(config(b, {"historyLimit"}), QStringLiteral("321\n"));
        QCOMPARE(b.defaults()["historyLimit"], QJsonValue(321));
        QCOMPARE(serviceRecord()["version"], QJsonValue(1)); // and B sent nothing back

        // A live change on A goes up after the push delay.
        QCOMPARE(config(a, {"moveToTopOnPaste", "false"}), QString());
        QVERIFY(XSession::waitFor([&] { return serviceRecord()["version"] == 2; }, syncTimeoutMs));
        const QString second = serviceRecord()["blob"].toString();
        QCOMPARE(decoded(second).moveToTopOnPaste, std::optional(false));
        QVERIFY(XSession::waitFor([&] { return lastBlobOf(a) == second; }, syncTimeoutMs));

        // B, still based on version 1, changes something else: its push is refused (409), it
        // pulls by force and the service's blob, A's, replaces B's settings; B's change is lost.
        QCOMPARE(config(b, {"clearOnQuit", "true"}), QString());
        QVERIFY(XSession::waitFor([&] { return lastBlobOf(b) == second; }, syncTimeoutMs));
        QCOMPARE(b.defaults()["cloudSyncBaseVersion"], QJsonValue(2));
        QCOMPARE(config(b, {"moveToTopOnPaste"}), QStringLiteral("false\n"));
        QCOMPARE(config(b, {"clearOnQuit"}), QStringLiteral("false\n"));
        QCOMPARE(config(b, {"historyLimit"}), QStringLiteral("321\n"));
        QCOMPARE(b.defaults()["clearOnQuit"], QJsonValue(false));

        const QJsonObject last = serviceRecord(); // still A's: B's push did not land
        QCOMPARE(last["version"], QJsonValue(2));
        QCOMPARE(last["blob"].toString(), second);
        QCOMPARE(lastBlobOf(a), second);
        QCOMPARE(decoded(second).clearOnQuit, std::optional(false));
    }
};

QTEST_MAIN(CloudSyncE2ETest)
#include "CloudSyncE2ETest.moc"

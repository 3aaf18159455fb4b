// Issue 6 with every part real: two `stashwell` instances, each in its own X session with its
// own XDG directories and Secret Service (two machines), sign in to one reference server through
// its sign-in page and keep their settings in step through it (Parts 6.1, 6.2). A setting
// changed on one arrives on the other; a conflicting change goes the service's way.
#include "cloud/CloudAccount.h"
#include "cloud/Keychain.h"
#include "cloud/ServiceClient.h"
#include "cloud/SyncPayload.h"
#include "e2e/XSession.h"
#include "fakes/CloudFakes.h"
#include "server/ReferenceServerProcess.h"
#include "server/SignInBrowser.h"

#include <QJsonDocument>
#include <QtTest>
#include <memory>

namespace {

const QString account = QStringLiteral("two-machines@example.org");
constexpr int syncTimeoutMs = 20000; // a push waits 2 s for more changes; the rest is generous

struct ServiceRecord {
    qint64 version = -1; // -1: no answer
    QString blob;
};

QJsonObject defaultsOf(const XSession &machine)
{
    QFile file(machine.defaultsFile());
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
}

qint64 baseVersionOf(const XSession &machine)
{
    return defaultsOf(machine).value(QStringLiteral("cloudSyncBaseVersion")).toInteger();
}

// Written last when a push is committed or a remote blob applied: a sync is over once it changed.
QString lastBlobOf(const XSession &machine)
{
    return defaultsOf(machine).value(QStringLiteral("cloudSyncLastBlob")).toString();
}

SyncPayload decoded(const QString &blob)
{
    return SyncPayload::decode(blob).value_or(SyncPayload{});
}

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
    // callback URL to Stashwell as `stashwell <url>`. Returns what went wrong, if anything.
    QString signIn(XSession &machine)
    {
        const qsizetype opened = machine.openedUrls().size();
        const XSession::Run started = machine.runStashwellCommand({QStringLiteral("sign-in")});
        if (started.exitCode != 0)
            return QStringLiteral("sign-in: ") + QString::fromUtf8(started.err);
        if (!QTest::qWaitFor([&] { return machine.openedUrls().size() > opened; }, 10000))
            return QStringLiteral("no browser was asked to open the sign-in page");
        const QUrl page(machine.openedUrls().last());
        if (!started.out.contains(page.toEncoded()))
            return QStringLiteral("sign-in did not print the page it opened: ") + QString::fromUtf8(started.out);
        const QUrl callback = signInAtPage(m_network, page, account);
        if (callback.scheme() != QLatin1String("stashwell"))
            return QStringLiteral("the sign-in page did not redirect to stashwell://");
        const XSession::Run handed = machine.runStashwellCommand({callback.toString(QUrl::FullyEncoded)});
        return handed.exitCode == 0 ? QString() : QStringLiteral("callback: ") + QString::fromUtf8(handed.err);
    }

    // GET /api/sync/stashwell as the observer.
    ServiceRecord serviceRecord()
    {
        auto record = std::make_shared<std::optional<ServiceRecord>>();
        ServiceClient(m_network, root())
            .send("GET", QStringLiteral("/sync/stashwell"), m_keychain.get(KeychainItem::token), std::nullopt, this,
                  [record](const ServiceResponse &response) {
                      *record = response.isSuccess()
                          ? ServiceRecord{response.object.value(QLatin1String("version")).toInteger(),
                                          response.object.value(QLatin1String("blob")).toString()}
                          : ServiceRecord{};
                  });
        return QTest::qWaitFor([&] { return record->has_value(); }, 10000) ? **record : ServiceRecord{};
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
        QCOMPARE(serviceRecord().version, qint64(0)); // nothing synchronised yet
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
        QCOMPARE(serviceRecord().version, qint64(0));

        // A signs in; the service is empty, so A's settings go up as its first version.
        QString failure = signIn(a);
        QVERIFY2(failure.isEmpty(), qPrintable(failure));
        QTRY_COMPARE_WITH_TIMEOUT(serviceRecord().version, qint64(1), syncTimeoutMs);
        const ServiceRecord first = serviceRecord();
        QCOMPARE(decoded(first.blob).historyLimit, std::optional<qint64>(321));
        QTRY_COMPARE_WITH_TIMEOUT(lastBlobOf(a), first.blob, syncTimeoutMs);
        QCOMPARE(baseVersionOf(a), qint64(1));

        // B signs in to the same account: the service's newer version replaces B's settings.
        failure = signIn(b);
        QVERIFY2(failure.isEmpty(), qPrintable(failure));
        QTRY_COMPARE_WITH_TIMEOUT(lastBlobOf(b), first.blob, syncTimeoutMs);
        QCOMPARE(baseVersionOf(b), qint64(1));
        QCOMPARE(config(b, {"historyLimit"}), QStringLiteral("321\n"));
        QCOMPARE(defaultsOf(b).value(QStringLiteral("historyLimit")), QJsonValue(321));
        QCOMPARE(serviceRecord().version, qint64(1)); // and B sent nothing back

        // A live change on A goes up after the push delay.
        QCOMPARE(config(a, {"moveToTopOnPaste", "false"}), QString());
        QTRY_COMPARE_WITH_TIMEOUT(serviceRecord().version, qint64(2), syncTimeoutMs);
        const ServiceRecord second = serviceRecord();
        QCOMPARE(decoded(second.blob).moveToTopOnPaste, std::optional(false));
        QTRY_COMPARE_WITH_TIMEOUT(lastBlobOf(a), second.blob, syncTimeoutMs);

        // B, still based on version 1, changes something else: its push is refused (409), it
        // pulls by force and the service's blob, A's, replaces B's settings; B's change is lost.
        QCOMPARE(config(b, {"clearOnQuit", "true"}), QString());
        QTRY_COMPARE_WITH_TIMEOUT(lastBlobOf(b), second.blob, syncTimeoutMs);
        QCOMPARE(baseVersionOf(b), qint64(2));
        QCOMPARE(config(b, {"moveToTopOnPaste"}), QStringLiteral("false\n"));
        QCOMPARE(config(b, {"clearOnQuit"}), QStringLiteral("false\n"));
        QCOMPARE(config(b, {"historyLimit"}), QStringLiteral("321\n"));
        QCOMPARE(defaultsOf(b).value(QStringLiteral("clearOnQuit")), QJsonValue(false));

        const ServiceRecord last = serviceRecord(); // still A's: B's push did not land
        QCOMPARE(last.version, qint64(2));
        QCOMPARE(last.blob, second.blob);
        QCOMPARE(lastBlobOf(a), last.blob);
        QCOMPARE(decoded(last.blob).clearOnQuit, std::optional(false));
    }
};

QTEST_MAIN(CloudSyncE2ETest)
#include "CloudSyncE2ETest.moc"

// Part 6.2 against a local HTTP server standing in for the vendor's web service.
#include "app/AppSettings.h"
#include "cloud/CloudAccount.h"
#include "cloud/CloudSync.h"
#include "cloud/SyncPayload.h"
#include "fakes/CloudFakes.h"
#include "fakes/Fakes.h"
#include "fakes/LocalHttpServer.h"
#include "platform/DefaultsStore.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QUrlQuery>
#include <QtTest>
#include <memory>

namespace {

const QByteArray syncPath = "/api/sync/stashwell";
const int shortDelayMs = 150; // the push debounce where the test is not about its length

HttpAnswer remote(qint64 version, const QString &blob)
{
    return HttpAnswer::json({{QStringLiteral("version"), version}, {QStringLiteral("blob"), blob}});
}

} // namespace

class CloudSyncTest : public QObject {
    Q_OBJECT

private:
    // Signed in (a token in the keychain), sync not yet started.
    void build(int pushDelayMs = shortDelayMs, const QString &root = {})
    {
        keychain.items = {{KeychainItem::token, QStringLiteral("tok")},
                          {KeychainItem::deviceID, QStringLiteral("DEVICE-1")}};
        const QString service = root.isNull() ? server->rootURL() : root;
        account = std::make_unique<CloudAccount>(keychain, network, service, browser.opener());
        sync = std::make_unique<CloudSync>(*settings, *account, keychain, *defaults, network, service, pushDelayMs);
    }

    // Local and service agree at `version`: the start's pull finds nothing to do.
    void startSynced(qint64 version = 3, int pushDelayMs = shortDelayMs)
    {
        build(pushDelayMs);
        const QString blob = SyncPayload::from(*settings).blob();
        defaults->set(CloudSync::baseVersionKey, version);
        defaults->set(CloudSync::lastBlobKey, blob);
        server->setRoute("GET", syncPath, remote(version, blob));
        server->setRoute("PUT", syncPath, HttpAnswer::json({{QStringLiteral("version"), version + 1}}));
        sync->start();
        QTRY_COMPARE(server->count(syncPath), 1);
        waitForIdle();
        server->clear();
    }

    void waitForIdle()
    {
        QTRY_VERIFY(sync->status() != CloudSync::Status::syncing);
        QTest::qWait(50); // nothing further queued behind it
        QTRY_VERIFY(sync->status() != CloudSync::Status::syncing);
    }

    QList<HttpRequest> puts() const
    {
        QList<HttpRequest> found;
        for (const HttpRequest &request : server->requests(syncPath))
            if (request.method == "PUT")
                found << request;
        return found;
    }
    int gets() const { return server->count(syncPath) - int(puts().size()); }

    std::unique_ptr<LocalHttpServer> server;
    std::unique_ptr<DefaultsStore> defaults;
    std::unique_ptr<AppSettings> settings;
    std::unique_ptr<CloudAccount> account;
    std::unique_ptr<CloudSync> sync;
    FakeLoginItem loginItem;
    QNetworkAccessManager network;
    MemoryKeychain keychain;
    FakeBrowser browser;

private slots:
    void init()
    {
        sync.reset();
        account.reset();
        keychain.items.clear();
        server = std::make_unique<LocalHttpServer>();
        defaults = std::make_unique<DefaultsStore>(QString());
        settings = std::make_unique<AppSettings>(*defaults, loginItem);
    }

    // --- The payload and its blob ------------------------------------------------------------

    void theBlobIsCompactWithSortedKeys()
    {
        settings->setExcludedBundleIDs({QStringLiteral("org.keepassxc.KeePassXC"), QStringLiteral("ü")});
        QCOMPARE(SyncPayload::from(*settings).blob(),
                 QStringLiteral(R"({"alwaysPlainText":false,"builtInExclusionsEnabled":true,"clearOnQuit":false,)"
                                R"("excludedBundleIDs":["org.keepassxc.KeePassXC","ü"],"historyLimit":500,)"
                                R"("historyRetentionDays":0,"improveDataSharing":true,"moveToTopOnPaste":true,)"
                                R"("restoreClipboardAfterPaste":false})"));
        settings->setLanguageCode(QStringLiteral("de"));
        QVERIFY(SyncPayload::from(*settings).blob().startsWith(QStringLiteral(R"({"alwaysPlainText":false,)")));
        QVERIFY(SyncPayload::from(*settings).blob().contains(QStringLiteral(R"("languageCode":"de",)")));
    }

    void unsyncedSettingsAreNotInThePayload()
    {
        const QString before = SyncPayload::from(*settings).blob();
        settings->setMonitoringPaused(true);
        settings->setCopyInsteadOfPaste(true);
        settings->setLaunchAtLogin(false);
        settings->setCrashReportingEnabled(false);
        settings->setOnboardingCompleted(true);
        QCOMPARE(SyncPayload::from(*settings).blob(), before);
    }

    void decodingIgnoresUnknownKeysAndRejectsWrongTypes()
    {
        const auto payload = SyncPayload::decode(QStringLiteral(R"({"historyLimit":42,"future":{"x":1}})"));
        QVERIFY(payload.has_value());
        QCOMPARE(payload->historyLimit, std::optional<qint64>(42));
        QCOMPARE(payload->languageCode, std::nullopt);
        QVERIFY(!SyncPayload::decode(QStringLiteral(R"({"historyLimit":"42"})")));
        QVERIFY(!SyncPayload::decode(QStringLiteral(R"({"historyLimit":4.5})")));
        QVERIFY(!SyncPayload::decode(QStringLiteral(R"({"clearOnQuit":1})")));
        QVERIFY(!SyncPayload::decode(QStringLiteral(R"({"excludedBundleIDs":["a",2]})")));
        QVERIFY(!SyncPayload::decode(QStringLiteral(R"(["historyLimit"])")));
        QVERIFY(!SyncPayload::decode(QStringLiteral("not json")));
        QVERIFY(SyncPayload::decode(QStringLiteral("{}")).has_value());
    }

    void aPayloadRoundTrips()
    {
        settings->setLanguageCode(QStringLiteral("fr"));
        settings->setHistoryLimit(1234);
        settings->setExcludedBundleIDs({QStringLiteral("a"), QStringLiteral("b")});
        const SyncPayload payload = SyncPayload::from(*settings);
        QCOMPARE(SyncPayload::decode(payload.blob()), std::optional(payload));
    }

    // --- enabled -----------------------------------------------------------------------------

    void enabledDefaultsToTrueAndIsStored()
    {
        build();
        QVERIFY(sync->enabled());
        defaults->set(CloudSync::enabledKey, QStringLiteral("no")); // not a bool
        build();
        QVERIFY(sync->enabled());
        defaults->set(CloudSync::enabledKey, false);
        build();
        QVERIFY(!sync->enabled());
        sync->setEnabled(true);
        QCOMPARE(defaults->boolValue(CloudSync::enabledKey), std::optional(true));
        QCOMPARE(sync->status(), CloudSync::Status::idle);
    }

    // --- Pushes (Algorithms 5-8) -------------------------------------------------------------

    void threeChangesWithinTwoSecondsGiveOnePutTwoSecondsAfterTheLast()
    {
        startSynced(3, CloudSync::defaultPushDelayMs);
        QElapsedTimer sinceLast;
        settings->setHistoryLimit(100);
        QTest::qWait(600);
        settings->setAlwaysPlainText(true);
        QTest::qWait(600);
        settings->setClearOnQuit(true);
        sinceLast.start();
        QTRY_COMPARE_WITH_TIMEOUT(puts().size(), 1, 5000);
        const qint64 elapsed = sinceLast.elapsed();
        QVERIFY2(elapsed >= 1900 && elapsed < 3500, qPrintable(QString::number(elapsed)));
        const QJsonObject body = puts().first().json();
        QCOMPARE(body.value(QStringLiteral("blob")).toString(), SyncPayload::from(*settings).blob());
        QCOMPARE(body.value(QStringLiteral("baseVersion")).toInteger(), 3);
        QCOMPARE(body.value(QStringLiteral("deviceId")).toString(), QStringLiteral("DEVICE-1"));
        QCOMPARE(puts().first().headers.value("authorization"), QByteArray("Bearer tok"));
        QCOMPARE(puts().first().headers.value("content-type"), QByteArray("application/json"));
        waitForIdle();
        QCOMPARE(defaults->intValue(CloudSync::baseVersionKey), std::optional<qint64>(4)); // commit
        QCOMPARE(defaults->stringValue(CloudSync::lastBlobKey), SyncPayload::from(*settings).blob());
        QCOMPARE(sync->status(), CloudSync::Status::idle);
        QTest::qWait(2500);
        QCOMPARE(puts().size(), 1);
    }

    void aChangeRevertedWithinTwoSecondsSendsNothing()
    {
        startSynced(3, CloudSync::defaultPushDelayMs);
        settings->setHistoryLimit(77);
        QTest::qWait(500);
        settings->setHistoryLimit(500);
        QTest::qWait(2600);
        QCOMPARE(server->count(), 0);
        QCOMPARE(sync->status(), CloudSync::Status::idle);
    }

    void anUnsyncedSettingSendsNothing()
    {
        startSynced();
        settings->setMonitoringPaused(true);
        QTest::qWait(shortDelayMs * 4);
        QCOMPARE(server->count(), 0);
    }

    void aPushWithoutVersionKeepsTheBase()
    {
        startSynced(7);
        server->setRoute("PUT", syncPath, HttpAnswer::json({{QStringLiteral("ok"), true}}));
        settings->setHistoryLimit(42);
        QTRY_COMPARE(puts().size(), 1);
        waitForIdle();
        QCOMPARE(defaults->intValue(CloudSync::baseVersionKey), std::optional<qint64>(7));
        QCOMPARE(defaults->stringValue(CloudSync::lastBlobKey), SyncPayload::from(*settings).blob());
    }

    void aFailedPushEndsInError_data()
    {
        QTest::addColumn<int>("status");
        QTest::newRow("500") << 500;
        QTest::newRow("401") << 401;
        QTest::newRow("403") << 403;
    }
    void aFailedPushEndsInError()
    {
        QFETCH(int, status);
        startSynced();
        const QString lastBlob = *defaults->stringValue(CloudSync::lastBlobKey);
        server->setRoute("PUT", syncPath, HttpAnswer{status, {}});
        settings->setHistoryLimit(42);
        QTRY_COMPARE(puts().size(), 1);
        QTRY_COMPARE(sync->status(), CloudSync::Status::error);
        QCOMPARE(defaults->stringValue(CloudSync::lastBlobKey), std::optional(lastBlob));
        QCOMPARE(defaults->intValue(CloudSync::baseVersionKey), std::optional<qint64>(3));
    }

    void aPushThatCannotReachTheServiceEndsInError()
    {
        startSynced();
        server.reset(); // the service goes away
        settings->setHistoryLimit(42);
        QTRY_COMPARE(sync->status(), CloudSync::Status::error);
    }

    void aPutAnswered409TakesTheServicesBlob()
    {
        startSynced(3);
        const QString theirs = QStringLiteral(R"({"historyLimit":222,"moveToTopOnPaste":false})");
        server->scriptAnswers({HttpAnswer{409, {}}, remote(5, theirs)});
        settings->setHistoryLimit(111); // the local unsent change
        QTRY_COMPARE(server->count(syncPath), 2);
        const QList<HttpRequest> requests = server->requests(syncPath);
        QCOMPARE(requests[0].method, QByteArray("PUT"));
        QCOMPARE(requests[1].method, QByteArray("GET")); // the forced pull
        waitForIdle();
        QCOMPARE(settings->historyLimit(), 222);
        QCOMPARE(settings->moveToTopOnPaste(), false);
        QCOMPARE(defaults->intValue(CloudSync::baseVersionKey), std::optional<qint64>(5));
        QCOMPARE(defaults->stringValue(CloudSync::lastBlobKey), std::optional(theirs));
        QCOMPARE(sync->status(), CloudSync::Status::idle);
        QTest::qWait(shortDelayMs * 4); // applying it pushes nothing back
        QCOMPARE(server->count(syncPath), 2);
    }

    void a409WinsEvenWhenTheServiceVersionIsNotNewer()
    {
        startSynced(3);
        server->scriptAnswers({HttpAnswer{409, {}}, remote(3, QStringLiteral(R"({"historyLimit":9})"))});
        settings->setHistoryLimit(111);
        QTRY_COMPARE(server->count(syncPath), 2);
        waitForIdle();
        QCOMPARE(settings->historyLimit(), 9);
    }

    // --- Pulls (Algorithms 3, 4, 9-11) -------------------------------------------------------

    void firstSignInOnAnEmptyServicePushesWithBaseVersionZero()
    {
        server->setRoute("POST", "/api/app/token", HttpAnswer::json({{QStringLiteral("token"), QStringLiteral("T")}}));
        server->setRoute("GET", syncPath, HttpAnswer::json({}));
        server->setRoute("PUT", syncPath, HttpAnswer::json({{QStringLiteral("version"), 1}}));
        account = std::make_unique<CloudAccount>(keychain, network, server->rootURL(), browser.opener());
        sync = std::make_unique<CloudSync>(*settings, *account, keychain, *defaults, network, server->rootURL(),
                                           shortDelayMs);
        sync->start();
        QTest::qWait(100);
        QCOMPARE(server->count(), 0); // signed out: nothing

        account->signIn();
        const QString state = QUrlQuery(browser.opened.last()).queryItemValue(QStringLiteral("state"));
        QVERIFY(account->handleCallback(QUrl(QStringLiteral("stashwell://auth?code=c&state=") + state)));
        QTRY_COMPARE(puts().size(), 1);
        QCOMPARE(gets(), 1);
        const QJsonObject body = puts().first().json();
        QCOMPARE(body.value(QStringLiteral("baseVersion")).toInteger(-1), 0);
        QCOMPARE(body.value(QStringLiteral("blob")).toString(), SyncPayload::from(*settings).blob());
        QCOMPARE(body.value(QStringLiteral("deviceId")).toString(), keychain.items.value(KeychainItem::deviceID));
        QCOMPARE(puts().first().headers.value("authorization"), QByteArray("Bearer T"));
        waitForIdle();
        QCOMPARE(defaults->intValue(CloudSync::baseVersionKey), std::optional<qint64>(1));
        QCOMPARE(sync->status(), CloudSync::Status::idle);
    }

    void aMissingBlobCountsAsAnEmptyService()
    {
        build();
        server->setRoute("GET", syncPath, HttpAnswer::json({{QStringLiteral("version"), 4}}));
        sync->start();
        QTRY_COMPARE(puts().size(), 1);
        QCOMPARE(puts().first().json().value(QStringLiteral("baseVersion")).toInteger(-1), 0);
    }

    void anEqualVersionWithADifferentBlobAndNoLocalChangeSendsNothing()
    {
        build();
        const QString local = SyncPayload::from(*settings).blob();
        defaults->set(CloudSync::baseVersionKey, 3);
        defaults->set(CloudSync::lastBlobKey, local);
        server->setRoute("GET", syncPath, remote(3, QStringLiteral(R"({"historyLimit":9})")));
        QSignalSpy statuses(sync.get(), &CloudSync::statusChanged);
        sync->start();
        QTRY_COMPARE(server->count(), 1);
        waitForIdle();
        QTest::qWait(100);
        QCOMPARE(server->count(), 1); // the GET only
        QCOMPARE(sync->status(), CloudSync::Status::idle);
        QCOMPARE(statuses.count(), 2); // syncing, idle
        QCOMPARE(settings->historyLimit(), 500);
        QCOMPARE(defaults->stringValue(CloudSync::lastBlobKey), std::optional(local));
    }

    void anEqualVersionWithALocalChangePushesIt()
    {
        build();
        defaults->set(CloudSync::baseVersionKey, 3);
        defaults->set(CloudSync::lastBlobKey, SyncPayload::from(*settings).blob());
        settings->setHistoryLimit(64); // changed while sync was not running
        server->setRoute("GET", syncPath, remote(3, QStringLiteral(R"({"historyLimit":9})")));
        server->setRoute("PUT", syncPath, HttpAnswer::json({{QStringLiteral("version"), 4}}));
        sync->start();
        QTRY_COMPARE(puts().size(), 1);
        QCOMPARE(puts().first().json().value(QStringLiteral("baseVersion")).toInteger(), 3);
        waitForIdle();
        QCOMPARE(settings->historyLimit(), 64);
        QCOMPARE(defaults->intValue(CloudSync::baseVersionKey), std::optional<qint64>(4));
    }

    void aNewerRemoteVersionWins()
    {
        build();
        defaults->set(CloudSync::baseVersionKey, 3);
        settings->setHistoryLimit(64);
        const QString theirs = QStringLiteral(R"({"historyLimit":1000,"excludedBundleIDs":["x.y"]})");
        server->setRoute("GET", syncPath, remote(4, theirs));
        sync->start();
        QTRY_COMPARE(server->count(), 1);
        waitForIdle();
        QCOMPARE(settings->historyLimit(), 1000);
        QCOMPARE(settings->excludedBundleIDs(), QStringList{QStringLiteral("x.y")});
        QCOMPARE(defaults->intValue(CloudSync::baseVersionKey), std::optional<qint64>(4));
        QCOMPARE(defaults->stringValue(CloudSync::lastBlobKey), std::optional(theirs));
        QCOMPARE(defaults->intValue(QStringLiteral("historyLimit")), std::optional<qint64>(1000)); // stored as usual
    }

    void aRemotePayloadWithoutLanguageCodeClearsTheOverrideAndLeavesMissingFieldsAlone()
    {
        build();
        settings->setLanguageCode(QStringLiteral("de"));
        settings->setHistoryLimit(700);
        server->setRoute("GET", syncPath, remote(9, QStringLiteral(R"({"alwaysPlainText":true})")));
        sync->start();
        QTRY_COMPARE(server->count(), 1);
        waitForIdle();
        QCOMPARE(settings->languageCode(), std::nullopt);
        QVERIFY(!defaults->contains(QStringLiteral("languageCode")));
        QCOMPARE(settings->historyLimit(), 700);
        QCOMPARE(settings->alwaysPlainText(), true);
    }

    void applyingARemoteBlobDoesNotPushItBack()
    {
        build();
        QList<bool> applyingDuringChanges;
        connect(settings.get(), &AppSettings::changed, this,
                [&] { applyingDuringChanges << sync->isApplyingRemote(); });
        server->setRoute("GET", syncPath,
                         remote(2, QStringLiteral(R"({"clearOnQuit":true,"historyLimit":5,"languageCode":"ja"})")));
        sync->start();
        QTRY_COMPARE(server->count(), 1);
        waitForIdle();
        QCOMPARE(settings->languageCode(), std::optional<QString>(QStringLiteral("ja")));
        QCOMPARE(applyingDuringChanges, (QList<bool>{true, true, true})); // languageCode, historyLimit, clearOnQuit
        QVERIFY(!sync->isApplyingRemote());
        QTest::qWait(shortDelayMs * 4);
        QCOMPARE(server->count(), 1);
    }

    void aBlobThatDoesNotDecodeBecomesTheBaseWithoutBeingApplied()
    {
        build();
        settings->setHistoryLimit(64);
        const QString broken = QStringLiteral(R"({"historyLimit":"many","clearOnQuit":true})");
        server->setRoute("GET", syncPath, remote(6, broken));
        sync->start();
        QTRY_COMPARE(server->count(), 1);
        waitForIdle();
        QCOMPARE(settings->historyLimit(), 64);
        QCOMPARE(settings->clearOnQuit(), false);
        QCOMPARE(defaults->intValue(CloudSync::baseVersionKey), std::optional<qint64>(6));
        QCOMPARE(defaults->stringValue(CloudSync::lastBlobKey), std::optional(broken));
        QCOMPARE(sync->status(), CloudSync::Status::idle);
    }

    void aPullAnswered401IsIdleAndOtherFailuresAreErrors()
    {
        build();
        server->setDefaultStatus(401);
        sync->start();
        QTRY_COMPARE(server->count(), 1);
        waitForIdle();
        QCOMPARE(sync->status(), CloudSync::Status::idle);

        server->setDefaultStatus(500);
        sync->setEnabled(true); // pulls again
        QTRY_COMPARE(server->count(), 2);
        QTRY_COMPARE(sync->status(), CloudSync::Status::error);
        QCOMPARE(defaults->contains(CloudSync::baseVersionKey), false);
    }

    void everySignedInAssignmentPulls()
    {
        startSynced();
        server->setRoute("GET", "/api/me", HttpAnswer::json({{QStringLiteral("email"), QStringLiteral("a@b.c")}}));
        account->refresh(); // assigns signedIn again
        QTRY_COMPARE(gets(), 1);
        account->refresh();
        QTRY_COMPARE(gets(), 2);
    }

    void syncSwitchedOffSendsNothingAndSwitchingItOnPullsOnce()
    {
        startSynced();
        sync->setEnabled(false);
        QCOMPARE(defaults->boolValue(CloudSync::enabledKey), std::optional(false));
        settings->setHistoryLimit(31);
        account->refresh();
        QTest::qWait(shortDelayMs * 4);
        QCOMPARE(server->count(syncPath), 0);

        sync->setEnabled(true);
        QTRY_COMPARE(gets(), 1);
        QTRY_COMPARE(puts().size(), 1); // the change made meanwhile goes out, based on the stored version
        QCOMPARE(puts().first().json().value(QStringLiteral("blob")).toString(), SyncPayload::from(*settings).blob());
        waitForIdle();
        QCOMPARE(gets(), 1);
    }

    void signingOutStopsPushesAndKeepsTheSyncKeys()
    {
        startSynced();
        account->signOut();
        settings->setHistoryLimit(31);
        QTest::qWait(shortDelayMs * 4);
        QCOMPARE(server->count(syncPath), 0);
        QCOMPARE(defaults->intValue(CloudSync::baseVersionKey), std::optional<qint64>(3));
        QVERIFY(defaults->contains(CloudSync::lastBlobKey));
    }

    void withoutAServiceNothingIsSent()
    {
        build(shortDelayMs, QStringLiteral(""));
        sync->start();
        settings->setHistoryLimit(31);
        sync->setEnabled(true);
        QTest::qWait(shortDelayMs * 4);
        QCOMPARE(server->count(), 0);
        QCOMPARE(sync->status(), CloudSync::Status::idle);
    }
};

QTEST_GUILESS_MAIN(CloudSyncTest)
#include "CloudSyncTest.moc"

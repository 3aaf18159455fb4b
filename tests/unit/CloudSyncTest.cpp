// SPDX-License-Identifier: GPL-3.0-or-later
// The settings sync against a local HTTP server standing in for the web service.
#include "app/AppSettings.h"
#include "cloud/CloudAccount.h"
#include "cloud/CloudSync.h"
#include "cloud/SyncPayload.h"
#include "fakes/CloudFakes.h"
#include "fakes/Fakes.h"
#include "fakes/LocalHttpServer.h"
#include "platform/DefaultsStore.h"

#include <QNetworkAccessManager>
#include <QtTest>

namespace {

const QByteArray syncPath = "/api/sync/stashwell";
constexpr int shortDelayMs = 100; // the push delay where the test is not about its length

// The service's answer to a pull: `version` and `blob` when given.
QByteArray remote(int version, const QString &blob = {})
{
    QJsonObject answer;
    if (version)
        answer.insert("version", version);
    if (!blob.isNull())
        answer.insert("blob", blob);
    return QJsonDocument(answer).toJson(QJsonDocument::Compact);
}

} // namespace

class CloudSyncTest : public QObject {
    Q_OBJECT

    std::unique_ptr<LocalHttpServer> server;
    std::unique_ptr<DefaultsStore> defaults;
    std::unique_ptr<AppSettings> settings;
    std::unique_ptr<CloudAccount> account;
    std::unique_ptr<CloudSync> sync;
    FakeLoginItem loginItem;
    QNetworkAccessManager network;
    MemoryKeychain keychain;
    FakeBrowser browser;

    // Signed in (a token in the keychain); the start's pull finds `pulled` and pushes get version 7.
    void start(const QByteArray &pulled, int pushDelayMs = shortDelayMs)
    {
        keychain.items = {{KeychainItem::token, "tok"}, {KeychainItem::deviceID, "DEVICE-1"}};
        account = std::make_unique<CloudAccount>(keychain, network, server->rootURL(), browser.opener());
        sync = std::make_unique<CloudSync>(*settings, *account, keychain, *defaults, network, server->rootURL(), pushDelayMs);
        server->setRoute("GET", syncPath, {200, pulled});
        server->setRoute("PUT", syncPath, HttpAnswer::json({{"version", 7}}));
        sync->start();
        QTRY_VERIFY(gets() >= 1); // then whatever push follows from it
        QTRY_VERIFY(sync->status() != CloudSync::Status::syncing);
    }
    // Local and service agree at version 3: the start's pull finds nothing to do.
    void startSynced(int pushDelayMs = shortDelayMs)
    {
        defaults->set(CloudSync::baseVersionKey, 3);
        defaults->set(CloudSync::lastBlobKey, localBlob());
        start(remote(3, localBlob()), pushDelayMs);
        server->clear();
    }
    QString localBlob() const { return SyncPayload::from(*settings).blob(); }
    QList<HttpRequest> puts() const
    {
        QList<HttpRequest> found = server->requests(syncPath);
        found.removeIf([](const HttpRequest &request) { return request.method != "PUT"; });
        return found;
    }
    int gets() const { return server->count(syncPath) - int(puts().size()); }
    std::optional<qint64> base() const { return defaults->intValue(CloudSync::baseVersionKey); }

private slots:
    void init()
    {
        sync.reset();
        account.reset();
        server = std::make_unique<LocalHttpServer>();
        defaults = std::make_unique<DefaultsStore>(QString());
        settings = std::make_unique<AppSettings>(*defaults, loginItem);
    }

    void theBlobHoldsOnlyTheSyncedSettingsWithSortedKeys()
    {
        settings->setExcludedBundleIDs({"org.keepassxc.KeePassXC", "ü"});
        QCOMPARE(localBlob(), QStringLiteral(R"({"alwaysPlainText":false,"builtInExclusionsEnabled":true,"clearOnQuit":false,)"
                                      R"("excludedBundleIDs":["org.keepassxc.KeePassXC","ü"],"historyLimit":500,)"
                                      R"("historyRetentionDays":0,"improveDataSharing":true,"moveToTopOnPaste":true,)"
                                      R"("restoreClipboardAfterPaste":false})"));
        settings->setLanguageCode(QStringLiteral("de"));
        settings->setHistoryLimit(1234);
        QVERIFY(localBlob().contains(R"("improveDataSharing":true,"languageCode":"de","moveToTopOnPaste")"));
        QCOMPARE(SyncPayload::decode(localBlob()), std::optional(SyncPayload::from(*settings)));
        QCOMPARE(SyncPayload::decode(R"({"historyLimit":42,"future":{"x":1}})").value_or(SyncPayload()).historyLimit, 42);
        for (const char *wrong : {R"({"historyLimit":"42"})", R"({"historyLimit":4.5})", R"({"clearOnQuit":1})",
                                  R"({"excludedBundleIDs":["a",2]})", R"(["historyLimit"])", "not json"})
            QVERIFY2(!SyncPayload::decode(wrong), wrong);
    }

    void changesWithinTheDelayGiveOnePutAfterTheLast()
    {
        startSynced(400);
        settings->setHistoryLimit(100);
        QTest::qWait(150);
        settings->setAlwaysPlainText(true);
        QTest::qWait(150);
        settings->setClearOnQuit(true);
        QElapsedTimer sinceLast;
        sinceLast.start();
        QTRY_COMPARE_WITH_TIMEOUT(puts().size(), 1, 5000);
        QVERIFY2(sinceLast.elapsed() >= 380, qPrintable(QString::number(sinceLast.elapsed())));
        const HttpRequest put = puts().first();
        QCOMPARE(put.json(), (QJsonObject{{"blob", localBlob()}, {"baseVersion", 3}, {"deviceId", "DEVICE-1"}}));
        QCOMPARE(put.headers.value("authorization"), QByteArray("Bearer tok"));
        QTRY_COMPARE(base(), std::optional<qint64>(7)); // committed
        QCOMPARE(defaults->stringValue(CloudSync::lastBlobKey), std::optional(localBlob()));
        QCOMPARE(sync->status(), CloudSync::Status::idle);
    }

    // A failed push keeps the base; a refused one takes the service's copy, even at a version not newer.
    void aFailedPushKeepsTheBaseAndAConflictTakesTheServicesCopy()
    {
        startSynced();
        const auto lastBlob = defaults->stringValue(CloudSync::lastBlobKey);
        server->setRoute("PUT", syncPath, {500, {}});
        settings->setHistoryLimit(420);
        QTRY_COMPARE(sync->status(), CloudSync::Status::error);
        QCOMPARE(defaults->stringValue(CloudSync::lastBlobKey), lastBlob);
        QCOMPARE(base(), std::optional<qint64>(3));
        const QString theirs = QStringLiteral(R"({"historyLimit":222,"moveToTopOnPaste":false})");
        server->scriptAnswers({{409, {}}, {200, remote(3, theirs)}});
        settings->setHistoryLimit(1110); // the local unsent change
        QTRY_COMPARE(server->count(syncPath), 3);
        QCOMPARE(server->requests(syncPath)[2].method, QByteArray("GET")); // after the refused PUT
        QTRY_COMPARE(sync->status(), CloudSync::Status::idle);
        QCOMPARE(settings->historyLimit(), 222);
        QCOMPARE(settings->moveToTopOnPaste(), false);
        QCOMPARE(defaults->stringValue(CloudSync::lastBlobKey), std::optional(theirs));
    }

    void aPullDecidesByVersion_data()
    {
        QTest::addColumn<QByteArray>("pulled");
        QTest::addColumn<int>("storedBase"); // 0: nothing stored
        QTest::addColumn<bool>("localChange");
        QTest::addColumn<int>("putBase"); // -1: no push
        QTest::addColumn<int>("limitAfter");
        QTest::addColumn<int>("baseAfter");
        const QString nine = QStringLiteral(R"({"historyLimit":9})");
        QTest::newRow("empty service") << remote(0) << 0 << false << 0 << 500 << 7;
        QTest::newRow("version without blob") << remote(4) << 0 << false << 0 << 500 << 7;
        QTest::newRow("same version, nothing changed here") << remote(3, nine) << 3 << false << -1 << 500 << 3;
        QTest::newRow("same version, changed here") << remote(3, nine) << 3 << true << 3 << 640 << 7;
        QTest::newRow("newer version") << remote(4, R"({"historyLimit":1000})") << 3 << true << -1 << 1000 << 4;
        QTest::newRow("newer version with a limit of 0 (would prune everything)")
            << remote(5, R"({"historyLimit":0})") << 3 << true << -1 << 640 << 5;
        QTest::newRow("newer version that does not decode")
            << remote(6, R"({"historyLimit":"many","clearOnQuit":true})") << 3 << true << -1 << 640 << 6;
    }
    void aPullDecidesByVersion()
    {
        QFETCH(QByteArray, pulled);
        QFETCH(int, storedBase);
        QFETCH(bool, localChange);
        QFETCH(int, putBase);
        QFETCH(int, limitAfter);
        QFETCH(int, baseAfter);
        if (storedBase) {
            defaults->set(CloudSync::baseVersionKey, storedBase);
            defaults->set(CloudSync::lastBlobKey, localBlob());
        }
        if (localChange)
            settings->setHistoryLimit(640);
        start(pulled);
        QCOMPARE(puts().size(), putBase < 0 ? 0 : 1);
        QCOMPARE(puts().value(0).json().value("baseVersion").toInteger(-1), putBase);
        QCOMPARE(settings->historyLimit(), limitAfter);
        QCOMPARE(settings->clearOnQuit(), false);
        QCOMPARE(base(), std::optional<qint64>(baseAfter));
        QCOMPARE(sync->status(), CloudSync::Status::idle);
    }

    void applyingARemoteChangeIsNotPushedBack()
    {
        settings->setLanguageCode(QStringLiteral("de"));
        settings->setHistoryLimit(700);
        QList<bool> applying;
        connect(settings.get(), &AppSettings::changed, this, [&] { applying << sync->isApplyingRemote(); });
        start(remote(9, R"({"alwaysPlainText":true,"clearOnQuit":true})"));
        QCOMPARE(settings->languageCode(), std::nullopt); // absent: the override is cleared
        QCOMPARE(settings->historyLimit(), 700);          // absent: left alone
        QVERIFY(settings->alwaysPlainText() && settings->clearOnQuit());
        QCOMPARE(applying, QList<bool>(3, true));
        QVERIFY(!sync->isApplyingRemote());
        QTest::qWait(shortDelayMs * 3); // the push delay passes: nothing may be sent
        QCOMPARE(server->count(), 1); // the GET only
    }

    void aPullAnswered401IsIdleAndOtherFailuresAreErrors()
    {
        server->scriptAnswers({{401, {}}});
        start({});
        QCOMPARE(sync->status(), CloudSync::Status::idle);
        server->scriptAnswers({{500, {}}});
        sync->setEnabled(true); // pulls again
        QTRY_COMPARE(sync->status(), CloudSync::Status::error);
        QVERIFY(!base());
    }

    void nothingIsSentRevertedUnsyncedSwitchedOffOrSignedOut()
    {
        startSynced();
        settings->setHistoryLimit(770);
        settings->setHistoryLimit(500); // reverted before the push
        settings->setMonitoringPaused(true); // not synchronised
        QTest::qWait(shortDelayMs * 3); // the push delay passes: nothing may be sent
        QCOMPARE(server->count(), 0);
        sync->setEnabled(false);
        QCOMPARE(defaults->boolValue(CloudSync::enabledKey), std::optional(false));
        settings->setHistoryLimit(310);
        account->refresh(); // signed in again: would pull
        QTRY_COMPARE(server->count("/api/me"), 1);
        QTest::qWait(shortDelayMs * 3);
        QCOMPARE(server->count(syncPath), 0);

        sync->setEnabled(true); // pulls, then pushes what changed meanwhile
        QTRY_COMPARE(puts().size(), 1);
        QCOMPARE(puts().first().json().value("blob").toString(), localBlob());
        account->refresh(); // every signed-in assignment pulls
        QTRY_COMPARE(gets(), 2);
        account->signOut();
        settings->setHistoryLimit(320);
        QTest::qWait(shortDelayMs * 3);
        QCOMPARE(puts().size(), 1);
    }
};

QTEST_GUILESS_MAIN(CloudSyncTest)
#include "CloudSyncTest.moc"

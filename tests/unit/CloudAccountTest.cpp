// Part 6.1 against a local HTTP server standing in for the vendor's web service.
#include "cloud/CloudAccount.h"
#include "fakes/CloudFakes.h"
#include "fakes/LocalHttpServer.h"

#include <QNetworkAccessManager>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTcpServer>
#include <QUrlQuery>
#include <QtTest>
#include <memory>

namespace {

using State = CloudAccount::State;

const QRegularExpression urlSafe(QStringLiteral("^[A-Za-z0-9_-]+$"));
const QRegularExpression upperUuid(QStringLiteral("^[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$"));

QUrl callback(const QString &code, const QString &state)
{
    return QUrl(QStringLiteral("stashwell://auth?code=%1&state=%2").arg(code, state));
}

// A root on which nothing listens: every request fails at once (offline).
QString unreachableRoot()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    const quint16 port = probe.serverPort();
    probe.close();
    return QStringLiteral("http://127.0.0.1:%1").arg(port);
}

} // namespace

class CloudAccountTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<CloudAccount> makeAccount(const QString &root)
    {
        return std::make_unique<CloudAccount>(keychain, network, root, browser.opener());
    }
    std::unique_ptr<CloudAccount> makeAccount() { return makeAccount(server->rootURL()); }

    // The state value of the sign-in just started, read from the browser's address.
    QString openedState() const
    {
        return QUrlQuery(browser.opened.last()).queryItemValue(QStringLiteral("state"));
    }

    // A sign-in started and its callback handed back with the code "c": true when the exchange started.
    bool startAndCallBack(CloudAccount &account)
    {
        account.signIn();
        return account.handleCallback(callback(QStringLiteral("c"), openedState()));
    }

    void signInStored(const QString &token = QStringLiteral("tok"))
    {
        keychain.items = {{KeychainItem::token, token},
                          {KeychainItem::email, QStringLiteral("ada@example.com")},
                          {KeychainItem::tier, QStringLiteral("pro")},
                          {KeychainItem::deviceID, QStringLiteral("DEVICE-1")}};
    }

    static bool waitForRequestFinished(QSignalSpy &spy, int count = 1)
    {
        for (int i = 0; i < 100 && spy.count() < count; ++i)
            spy.wait(100);
        return spy.count() >= count;
    }

    std::unique_ptr<LocalHttpServer> server;
    QNetworkAccessManager network;
    MemoryKeychain keychain;
    FakeBrowser browser;

private slots:
    void init()
    {
        server = std::make_unique<LocalHttpServer>();
        keychain.items.clear();
        browser.opened.clear();
    }

    // --- Creation (Algorithm 1) -------------------------------------------------------------

    void createdSignedOutWithoutToken()
    {
        auto account = makeAccount();
        QCOMPARE(account->state(), State::signedOut());
        QCOMPARE(account->pendingVerifier(), std::nullopt);
        QCOMPARE(account->pendingState(), std::nullopt);
    }

    void createdSignedInFromTheKeychainWithoutNetwork()
    {
        keychain.items = {{KeychainItem::token, QStringLiteral("tok")}};
        auto account = makeAccount();
        QCOMPARE(account->state(), State::signedInAs(QString(), QStringLiteral("free")));
        signInStored();
        QCOMPARE(makeAccount()->state(), State::signedInAs(QStringLiteral("ada@example.com"), QStringLiteral("pro")));
        QTest::qWait(100);
        QCOMPARE(server->count(), 0);
    }

    // --- Random values and the challenge (Algorithms 2, 3) -----------------------------------

    void verifierStateAndChallengeShapes()
    {
        auto account = makeAccount();
        for (int i = 0; i < 200; ++i) {
            account->signIn();
            const QString verifier = *account->pendingVerifier();
            const QString state = *account->pendingState();
            QCOMPARE(verifier.size(), 43);
            QCOMPARE(state.size(), 22);
            QVERIFY(urlSafe.match(verifier).hasMatch());
            QVERIFY(urlSafe.match(state).hasMatch());
            const QString challenge = CloudAccount::challenge(verifier);
            QCOMPARE(challenge.size(), 43);
            QVERIFY(urlSafe.match(challenge).hasMatch());
        }
        QCOMPARE(CloudAccount::randomURLSafe(32) == CloudAccount::randomURLSafe(32), false);
    }

    void challengeIsPkceS256() // RFC 7636, Appendix B
    {
        QCOMPARE(CloudAccount::challenge(QStringLiteral("dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk")),
                 QStringLiteral("E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM"));
    }

    // --- Sign-in (Algorithm 4) ---------------------------------------------------------------

    void signInOpensTheConnectPageWithItemsInOrder()
    {
        auto account = makeAccount(server->rootURL() + QStringLiteral("/"));
        const QUrl returned = account->signIn();
        QCOMPARE(browser.opened.size(), 1);
        const QUrl url = browser.opened.first();
        QCOMPARE(returned, url); // what `stashwell sign-in` prints
        QCOMPARE(url.toString(QUrl::RemoveQuery), server->rootURL() + QStringLiteral("/app/connect"));
        const auto items = QUrlQuery(url).queryItems();
        QCOMPARE(items.size(), 3);
        QCOMPARE(items[0], qMakePair(QStringLiteral("app"), QStringLiteral("stashwell")));
        QCOMPARE(items[1], qMakePair(QStringLiteral("challenge"), CloudAccount::challenge(*account->pendingVerifier())));
        QCOMPARE(items[2], qMakePair(QStringLiteral("state"), *account->pendingState()));
        QCOMPARE(server->count(), 0); // only the browser goes there
    }

    void withoutAServiceSignInIsNotAvailable()
    {
        keychain.items = {{KeychainItem::token, QStringLiteral("tok")}};
        auto account = makeAccount(QString());
        QVERIFY(!account->isAvailable());
        QVERIFY(account->signIn().isEmpty());
        QVERIFY(browser.opened.isEmpty());
        QCOMPARE(account->pendingState(), std::nullopt);
        QSignalSpy finished(account.get(), &CloudAccount::requestFinished);
        account->start();
        account->signOut(); // local only
        QTest::qWait(100);
        QCOMPARE(finished.count(), 0);
        QCOMPARE(account->state(), State::signedOut());
        QVERIFY(makeAccount(server->rootURL())->isAvailable());
    }

    // --- The callback (Algorithm 5) ----------------------------------------------------------

    void twoSignInsInARowOnlyTheSecondCallbackIsAccepted()
    {
        server->setRoute("POST", "/api/app/token", HttpAnswer::json({{QStringLiteral("token"), QStringLiteral("t")}}));
        auto account = makeAccount();
        account->signIn();
        const QString first = openedState();
        account->signIn();
        const QString second = openedState();
        QVERIFY(first != second);
        QVERIFY(!account->handleCallback(callback(QStringLiteral("c1"), first)));
        QCOMPARE(account->pendingState(), std::optional(second)); // a refused callback changes nothing
        QVERIFY(account->handleCallback(callback(QStringLiteral("c2"), second)));
        QTRY_COMPARE(server->count("/api/app/token"), 1);
        QCOMPARE(server->requests("/api/app/token").first().json().value(QStringLiteral("code")).toString(),
                 QStringLiteral("c2"));
    }

    void anAcceptedCallbackCannotBeReplayed()
    {
        auto account = makeAccount();
        account->signIn();
        const QUrl url = callback(QStringLiteral("code"), openedState());
        QVERIFY(account->handleCallback(url));
        QCOMPARE(account->pendingVerifier(), std::nullopt);
        QCOMPARE(account->pendingState(), std::nullopt);
        QVERIFY(!account->handleCallback(url));
        QTRY_COMPARE(server->count("/api/app/token"), 1);
        QTest::qWait(100);
        QCOMPARE(server->count("/api/app/token"), 1);
    }

    void refusedCallbacks_data()
    {
        QTest::addColumn<QString>("url");
        QTest::newRow("wrong host") << QStringLiteral("stashwell://other?code=c&state=STATE");
        QTest::newRow("no query") << QStringLiteral("stashwell://auth");
        QTest::newRow("no code") << QStringLiteral("stashwell://auth?state=STATE");
        QTest::newRow("no state") << QStringLiteral("stashwell://auth?code=c");
        QTest::newRow("empty code") << QStringLiteral("stashwell://auth?code=&state=STATE");
        QTest::newRow("code without value") << QStringLiteral("stashwell://auth?code&state=STATE");
        QTest::newRow("other state") << QStringLiteral("stashwell://auth?code=c&state=forged");
        QTest::newRow("http page") << QStringLiteral("https://example.com/auth?code=c&state=STATE");
    }
    void refusedCallbacks()
    {
        QFETCH(QString, url);
        auto account = makeAccount();
        account->signIn();
        const QString state = openedState();
        QSignalSpy changes(account.get(), &CloudAccount::stateChanged);
        QVERIFY(!account->handleCallback(QUrl(url.replace(QStringLiteral("STATE"), state))));
        QCOMPARE(account->pendingState(), std::optional(state));
        QVERIFY(account->pendingVerifier().has_value());
        QCOMPARE(changes.count(), 0);
    }

    void aCallbackWithoutSignInInProgressIsRefused()
    {
        auto account = makeAccount();
        QVERIFY(!account->handleCallback(callback(QStringLiteral("c"), QStringLiteral("s"))));
    }

    void anySchemeAndTheFirstOfRepeatedItemsAreTaken()
    {
        auto account = makeAccount();
        account->signIn();
        const QString state = openedState();
        QVERIFY(account->handleCallback(
            QUrl(QStringLiteral("other-app://auth?code=first&code=second&state=%1&state=x").arg(state))));
        QTRY_COMPARE(server->count("/api/app/token"), 1);
        QCOMPARE(server->requests().first().json().value(QStringLiteral("code")).toString(), QStringLiteral("first"));
    }

    // --- The exchange (Algorithm 6) ----------------------------------------------------------

    void exchangeSendsCodeVerifierAndANewDeviceID()
    {
        server->setRoute("POST", "/api/app/token",
                         HttpAnswer::json({{QStringLiteral("token"), QStringLiteral("T1")},
                                           {QStringLiteral("email"), QStringLiteral("ada@example.com")},
                                           {QStringLiteral("tier"), QStringLiteral("pro")}}));
        auto account = makeAccount();
        QSignalSpy changes(account.get(), &CloudAccount::stateChanged);
        account->signIn();
        const QString verifier = *account->pendingVerifier();
        QVERIFY(account->handleCallback(callback(QStringLiteral("the-code"), openedState())));
        QVERIFY(keychain.items.contains(KeychainItem::deviceID)); // created and stored first
        QVERIFY(changes.wait(5000));
        QCOMPARE(account->state(), State::signedInAs(QStringLiteral("ada@example.com"), QStringLiteral("pro")));

        const HttpRequest request = server->requests().first();
        QCOMPARE(request.method, QByteArray("POST"));
        QCOMPARE(request.path, QByteArray("/api/app/token"));
        QCOMPARE(request.headers.value("content-type"), QByteArray("application/json"));
        QVERIFY(!request.headers.contains("authorization"));
        const QString deviceID = keychain.items.value(KeychainItem::deviceID);
        QVERIFY(upperUuid.match(deviceID).hasMatch());
        QCOMPARE(request.json(), (QJsonObject{{QStringLiteral("code"), QStringLiteral("the-code")},
                                              {QStringLiteral("verifier"), verifier},
                                              {QStringLiteral("deviceId"), deviceID}}));
        QCOMPARE(keychain.items.value(KeychainItem::token), QStringLiteral("T1"));
        QCOMPARE(keychain.items.value(KeychainItem::email), QStringLiteral("ada@example.com"));
        QCOMPARE(keychain.items.value(KeychainItem::tier), QStringLiteral("pro"));
    }

    void anExistingDeviceIDIsReused()
    {
        keychain.items = {{KeychainItem::deviceID, QStringLiteral("KEEP-ME")}};
        auto account = makeAccount();
        QVERIFY(startAndCallBack(*account));
        QTRY_COMPARE(server->count(), 1);
        QCOMPARE(server->requests().first().json().value(QStringLiteral("deviceId")).toString(),
                 QStringLiteral("KEEP-ME"));
    }

    void aTokenOnlyAnswerGivesEmptyEmailAndTierFree()
    {
        server->setRoute("POST", "/api/app/token", HttpAnswer::json({{QStringLiteral("token"), QStringLiteral("T")}}));
        auto account = makeAccount();
        QSignalSpy changes(account.get(), &CloudAccount::stateChanged);
        QVERIFY(startAndCallBack(*account));
        QVERIFY(changes.wait(5000));
        QCOMPARE(account->state(), State::signedInAs(QString(), QStringLiteral("free")));
        QCOMPARE(keychain.items.value(KeychainItem::email), QString());
        QVERIFY(keychain.items.contains(KeychainItem::email)); // stored as an empty string
        QCOMPARE(keychain.items.value(KeychainItem::tier), QStringLiteral("free"));
    }

    void nonStringDetailsGetTheirDefaults()
    {
        server->setRoute("POST", "/api/app/token",
                         HttpAnswer::json({{QStringLiteral("token"), QStringLiteral("T")},
                                           {QStringLiteral("email"), 42},
                                           {QStringLiteral("tier"), QJsonValue::Null}}));
        auto account = makeAccount();
        QSignalSpy changes(account.get(), &CloudAccount::stateChanged);
        QVERIFY(startAndCallBack(*account));
        QVERIFY(changes.wait(5000));
        QCOMPARE(account->state(), State::signedInAs(QString(), QStringLiteral("free")));
    }

    void failedExchangesAssignSignedOutAgain_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("500") << 500 << QByteArray(R"({"token":"T"})");
        QTest::newRow("401") << 401 << QByteArray();
        QTest::newRow("no token") << 200 << QByteArray(R"({"email":"a@b.c"})");
        QTest::newRow("token not a string") << 200 << QByteArray(R"({"token":5})");
        QTest::newRow("array body") << 200 << QByteArray(R"([{"token":"T"}])");
        QTest::newRow("not JSON") << 200 << QByteArray("token=T");
    }
    void failedExchangesAssignSignedOutAgain()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        server->setRoute("POST", "/api/app/token", HttpAnswer{status, body});
        auto account = makeAccount();
        QSignalSpy changes(account.get(), &CloudAccount::stateChanged);
        QVERIFY(startAndCallBack(*account));
        QVERIFY(changes.wait(5000));
        QCOMPARE(changes.count(), 1);
        QCOMPARE(account->state(), State::signedOut());
        QVERIFY(!keychain.items.contains(KeychainItem::token));
    }

    void anExchangeThatCannotReachTheServiceSignsOut()
    {
        auto account = makeAccount(unreachableRoot());
        QSignalSpy changes(account.get(), &CloudAccount::stateChanged);
        QVERIFY(startAndCallBack(*account));
        QVERIFY(changes.wait(5000));
        QCOMPARE(account->state(), State::signedOut());
    }

    void aNewSignInReplacesTheAccount()
    {
        signInStored(QStringLiteral("old"));
        server->setRoute("POST", "/api/app/token",
                         HttpAnswer::json({{QStringLiteral("token"), QStringLiteral("new")},
                                           {QStringLiteral("email"), QStringLiteral("bob@example.com")}}));
        auto account = makeAccount();
        QSignalSpy changes(account.get(), &CloudAccount::stateChanged);
        QVERIFY(startAndCallBack(*account));
        QVERIFY(changes.wait(5000));
        QCOMPARE(account->state(), State::signedInAs(QStringLiteral("bob@example.com"), QStringLiteral("free")));
        QCOMPARE(keychain.items.value(KeychainItem::token), QStringLiteral("new"));
        QCOMPARE(keychain.items.value(KeychainItem::deviceID), QStringLiteral("DEVICE-1"));
    }

    // --- Refresh (Algorithm 7) and start ----------------------------------------------------

    void startRefreshesOnlyWithAStoredToken()
    {
        auto signedOut = makeAccount();
        signedOut->start();
        QTest::qWait(100);
        QCOMPARE(server->count(), 0);

        signInStored();
        server->setRoute("GET", "/api/me",
                         HttpAnswer::json({{QStringLiteral("email"), QStringLiteral("new@example.com")},
                                           {QStringLiteral("tier"), QStringLiteral("team")}}));
        auto account = makeAccount();
        QSignalSpy finished(account.get(), &CloudAccount::requestFinished);
        account->start();
        QVERIFY(waitForRequestFinished(finished));
        const HttpRequest request = server->requests().first();
        QCOMPARE(request.method, QByteArray("GET"));
        QCOMPARE(request.path, QByteArray("/api/me"));
        QCOMPARE(request.headers.value("authorization"), QByteArray("Bearer tok"));
        QCOMPARE(account->state(), State::signedInAs(QStringLiteral("new@example.com"), QStringLiteral("team")));
        QCOMPARE(keychain.items.value(KeychainItem::email), QStringLiteral("new@example.com"));
        QCOMPARE(keychain.items.value(KeychainItem::tier), QStringLiteral("team"));
    }

    void aRefreshAnswered500KeepsTheUserSignedIn()
    {
        signInStored();
        server->setDefaultStatus(500);
        auto account = makeAccount();
        QSignalSpy finished(account.get(), &CloudAccount::requestFinished);
        QSignalSpy changes(account.get(), &CloudAccount::stateChanged);
        account->refresh();
        QVERIFY(waitForRequestFinished(finished));
        QCOMPARE(finished.first().value(1).toInt(), 500);
        QCOMPARE(changes.count(), 0);
        QCOMPARE(account->state(), State::signedInAs(QStringLiteral("ada@example.com"), QStringLiteral("pro")));
        QCOMPARE(keychain.items.size(), 4);
    }

    void aRefreshAnswered401SignsOutButKeepsTheDeviceID()
    {
        signInStored();
        server->setDefaultStatus(401);
        auto account = makeAccount();
        QSignalSpy finished(account.get(), &CloudAccount::requestFinished);
        account->refresh();
        QVERIFY(waitForRequestFinished(finished));
        QCOMPARE(account->state(), State::signedOut());
        QCOMPARE(keychain.items.keys(), QStringList{KeychainItem::deviceID});
    }

    void aRefreshThatCannotReachTheServiceChangesNothing()
    {
        signInStored();
        auto account = makeAccount(unreachableRoot());
        QSignalSpy finished(account.get(), &CloudAccount::requestFinished);
        account->refresh();
        QVERIFY(waitForRequestFinished(finished));
        QCOMPARE(finished.first().value(1).toInt(), 0);
        QCOMPARE(account->state(), State::signedInAs(QStringLiteral("ada@example.com"), QStringLiteral("pro")));
    }

    void aRefreshAnswerAfterSignOutIsIgnored()
    {
        signInStored();
        server->hold();
        server->setRoute("GET", "/api/me", HttpAnswer::json({{QStringLiteral("email"), QStringLiteral("x@y.z")}}));
        auto account = makeAccount();
        QSignalSpy finished(account.get(), &CloudAccount::requestFinished);
        account->refresh();
        QTRY_COMPARE(server->count("/api/me"), 1);
        account->signOut();
        server->release();
        QVERIFY(waitForRequestFinished(finished, 2));
        QCOMPARE(account->state(), State::signedOut());
        QVERIFY(!keychain.items.contains(KeychainItem::email));
    }

    // --- Sign-out (Algorithm 8) --------------------------------------------------------------

    void signOutTellsTheServiceAndClearsTheAccount()
    {
        signInStored();
        auto account = makeAccount();
        QSignalSpy finished(account.get(), &CloudAccount::requestFinished);
        account->signOut();
        QCOMPARE(account->state(), State::signedOut());
        QCOMPARE(keychain.items.keys(), QStringList{KeychainItem::deviceID});
        QVERIFY(waitForRequestFinished(finished));
        const HttpRequest request = server->requests().first();
        QCOMPARE(request.method, QByteArray("POST"));
        QCOMPARE(request.path, QByteArray("/api/app/logout"));
        QCOMPARE(request.headers.value("authorization"), QByteArray("Bearer tok"));
        QCOMPARE(request.body, QByteArray("{}"));
    }

    void signOutWhileOfflineSignsOutLocallyAtOnce()
    {
        signInStored();
        auto account = makeAccount(unreachableRoot());
        QSignalSpy finished(account.get(), &CloudAccount::requestFinished);
        QSignalSpy changes(account.get(), &CloudAccount::stateChanged);
        account->signOut();
        QCOMPARE(changes.count(), 1); // at once, not after the request
        QCOMPARE(account->state(), State::signedOut());
        QCOMPARE(keychain.items.keys(), QStringList{KeychainItem::deviceID});
        QVERIFY(waitForRequestFinished(finished)); // the request fails in the background
        QCOMPARE(finished.first().value(1).toInt(), 0);
        QCOMPARE(account->state(), State::signedOut());
    }

    void signOutWithoutTokenSendsNothing()
    {
        auto account = makeAccount();
        QSignalSpy changes(account.get(), &CloudAccount::stateChanged);
        account->signOut();
        QCOMPARE(changes.count(), 1);
        QTest::qWait(100);
        QCOMPARE(server->count(), 0);
    }

    // --- Concurrency (Algorithm 10) ----------------------------------------------------------

    void stateChangesArriveOnTheMainThread()
    {
        signInStored();
        server->setDefaultStatus(401);
        auto account = makeAccount();
        QList<QThread *> threads;
        connect(account.get(), &CloudAccount::stateChanged, this,
                [&threads] { threads << QThread::currentThread(); }, Qt::DirectConnection);
        QSignalSpy finished(account.get(), &CloudAccount::requestFinished);
        account->refresh();
        QVERIFY(waitForRequestFinished(finished));
        account->signOut();
        QCOMPARE(threads.size(), 2);
        for (QThread *thread : threads)
            QCOMPARE(thread, qApp->thread());
    }
};

QTEST_GUILESS_MAIN(CloudAccountTest)
#include "CloudAccountTest.moc"

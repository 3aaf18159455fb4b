// SPDX-License-Identifier: GPL-3.0-or-later
// The sign-in to the web service against a local HTTP server standing in for it.
#include "cloud/CloudAccount.h"
#include "fakes/CloudFakes.h"
#include "fakes/LocalHttpServer.h"

#include <QNetworkAccessManager>
#include <QtTest>

namespace {

using State = CloudAccount::State;
const State ada = State::signedInAs("ada@example.com", "pro");
const QString unreachableRoot = QStringLiteral("http://127.0.0.1:1"); // nothing listens there: offline

} // namespace

Q_DECLARE_METATYPE(HttpAnswer)

class CloudAccountTest : public QObject {
    Q_OBJECT

    std::unique_ptr<LocalHttpServer> server;
    QNetworkAccessManager network;
    MemoryKeychain keychain;
    FakeBrowser browser;

    std::unique_ptr<CloudAccount> makeAccount(const std::optional<QString> &root = {})
    {
        return std::make_unique<CloudAccount>(keychain, network, root.value_or(server->rootURL()), browser.opener());
    }
    // The state value of the sign-in just started, read from the browser's address.
    QString openedState() const { return QUrlQuery(browser.opened.last()).queryItemValue("state"); }
    void storeAccount()
    {
        keychain.items = {{KeychainItem::token, "tok"}, {KeychainItem::email, "ada@example.com"},
                          {KeychainItem::tier, "pro"}, {KeychainItem::deviceID, "DEVICE-1"}};
    }
    // Signs in with the code "c" and waits for the exchange's outcome.
    bool signInAndWait(CloudAccount &account)
    {
        QSignalSpy changes(&account, &CloudAccount::stateChanged);
        account.signIn();
        return account.handleCallback(QUrl("stashwell://auth?code=c&state=" + openedState())) && changes.wait(5000);
    }

private slots:
    void init()
    {
        server = std::make_unique<LocalHttpServer>();
        keychain.items.clear();
        browser.opened.clear();
    }

    void signInOpensTheConnectPageWithAFreshPkceChallenge()
    {
        auto account = makeAccount(server->rootURL() + "/");
        const QUrl opened = account->signIn();
        QCOMPARE(browser.opened, QList<QUrl>{opened});
        QCOMPARE(opened.toString(QUrl::RemoveQuery), server->rootURL() + "/app/connect");
        const QString verifier = account->pendingVerifier().value_or("");
        const QString state = account->pendingState().value_or("");
        QCOMPARE(QUrlQuery(opened).queryItems(), (QList<QPair<QString, QString>>{
                                                     {"app", "stashwell"}, {"challenge", CloudAccount::challenge(verifier)}, {"state", state}}));
        QVERIFY(QRegularExpression("^[A-Za-z0-9_-]{43}$").match(verifier).hasMatch());
        QVERIFY(QRegularExpression("^[A-Za-z0-9_-]{22}$").match(state).hasMatch());
        account->signIn();
        QVERIFY(account->pendingVerifier() != verifier && account->pendingState() != state);
        QCOMPARE(CloudAccount::challenge("dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk"), // RFC 7636, appendix B
                 QStringLiteral("E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM"));
    }

    void withoutAServiceNothingIsOpenedOrSent()
    {
        storeAccount();
        auto account = makeAccount(QString());
        QVERIFY(!account->isAvailable() && account->signIn().isEmpty() && browser.opened.isEmpty());
        QSignalSpy finished(account.get(), &CloudAccount::requestFinished);
        account->start();
        account->signOut(); // local only
        QCoreApplication::processEvents();
        QCOMPARE(finished.count(), 0);
        QCOMPARE(account->state(), State::signedOut());
    }

    void callbacksWithoutTheCurrentStateAreRefused_data()
    {
        QTest::addColumn<QString>("url"); // STATE: the current sign-in's, EARLIER: the one before
        QTest::newRow("earlier sign-in") << "stashwell://auth?code=c&state=EARLIER";
        QTest::newRow("forged state") << "stashwell://auth?code=c&state=forged";
        QTest::newRow("no state") << "stashwell://auth?code=c";
        QTest::newRow("no code") << "stashwell://auth?state=STATE";
        QTest::newRow("empty code") << "stashwell://auth?code=&state=STATE";
        QTest::newRow("other host") << "stashwell://other?code=c&state=STATE";
    }
    void callbacksWithoutTheCurrentStateAreRefused()
    {
        QFETCH(QString, url);
        auto account = makeAccount();
        QVERIFY(!account->handleCallback(QUrl("stashwell://auth?code=c&state=s"))); // none in progress
        account->signIn();
        const QString earlier = openedState();
        account->signIn();
        QSignalSpy changes(account.get(), &CloudAccount::stateChanged);
        QVERIFY(!account->handleCallback(QUrl(url.replace("EARLIER", earlier).replace("STATE", openedState()))));
        QCOMPARE(account->pendingState(), std::optional(openedState())); // a refused callback changes nothing
        QVERIFY(account->pendingVerifier());
        QCOMPARE(changes.count(), 0);
    }

    void anAcceptedCallbackExchangesTheCodeOnce()
    {
        server->setRoute("POST", "/api/app/token", HttpAnswer::json({{"token", "T1"}, {"email", "ada@example.com"}, {"tier", "pro"}}));
        auto account = makeAccount();
        QSignalSpy changes(account.get(), &CloudAccount::stateChanged);
        account->signIn();
        const QString verifier = account->pendingVerifier().value_or("");
        // Any scheme; of repeated items the first counts.
        const QUrl url("other-app://auth?code=the-code&code=second&state=" + openedState() + "&state=x");
        QVERIFY(account->handleCallback(url));
        QVERIFY(!account->pendingState() && !account->pendingVerifier());
        QVERIFY(!account->handleCallback(url)); // no replay
        QVERIFY(changes.wait(5000));
        QCOMPARE(account->state(), ada);
        QCOMPARE(server->count(), 1);
        const HttpRequest request = server->requests().first();
        QCOMPARE(request.method + ' ' + request.path, QByteArray("POST /api/app/token"));
        QVERIFY(!request.headers.contains("authorization"));
        const QString deviceID = keychain.items.value(KeychainItem::deviceID); // created and stored
        QVERIFY(QRegularExpression("^[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$").match(deviceID).hasMatch());
        QCOMPARE(request.json(), (QJsonObject{{"code", "the-code"}, {"verifier", verifier}, {"deviceId", deviceID}}));
    }

    void theExchangesAnswerDecidesTheAccount_data()
    {
        QTest::addColumn<HttpAnswer>("answer"); // status 0: the service cannot be reached
        QTest::addColumn<State>("state");
        QTest::newRow("details") << HttpAnswer::json({{"token", "T"}, {"email", "ada@example.com"}, {"tier", "pro"}}) << ada;
        QTest::newRow("details not strings") << HttpAnswer::json({{"token", "T"}, {"email", 42}, {"tier", QJsonValue()}})
                                             << State::signedInAs("", "free");
        QTest::newRow("server error") << HttpAnswer{500, R"({"token":"T"})"} << State::signedOut();
        QTest::newRow("refused") << HttpAnswer{401, {}} << State::signedOut();
        QTest::newRow("no token") << HttpAnswer{200, R"({"email":"a@b.c"})"} << State::signedOut();
        QTest::newRow("token not a string") << HttpAnswer{200, R"({"token":5})"} << State::signedOut();
        QTest::newRow("not JSON") << HttpAnswer{200, "token=T"} << State::signedOut();
        QTest::newRow("unreachable") << HttpAnswer{0, {}} << State::signedOut();
    }
    void theExchangesAnswerDecidesTheAccount()
    {
        QFETCH(HttpAnswer, answer);
        QFETCH(State, state);
        keychain.items = {{KeychainItem::deviceID, "DEVICE-1"}}; // kept from an earlier sign-in
        server->setRoute("POST", "/api/app/token", answer);
        auto account = makeAccount(answer.status ? std::nullopt : std::optional(unreachableRoot));
        QVERIFY(signInAndWait(*account));
        QCOMPARE(account->state(), state);
        QCOMPARE(keychain.items.value(KeychainItem::token), QString(state.signedIn ? "T" : ""));
        QCOMPARE(keychain.items.value(KeychainItem::email), state.email);
        QCOMPARE(keychain.items.value(KeychainItem::tier), state.tier);
        QCOMPARE(keychain.items.value(KeychainItem::deviceID), QStringLiteral("DEVICE-1"));
        QCOMPARE(server->requests().value(0).json().value("deviceId").toString(), QString(answer.status ? "DEVICE-1" : ""));
    }

    void aRefreshAdoptsDetailsSignsOutOn401AndOtherwiseKeepsTheAccount_data()
    {
        QTest::addColumn<int>("status"); // 0: the service cannot be reached
        QTest::addColumn<QString>("email"); // empty: signed out
        QTest::newRow("answered") << 200 << "new@example.com";
        QTest::newRow("server error") << 500 << "ada@example.com";
        QTest::newRow("unreachable") << 0 << "ada@example.com";
        QTest::newRow("token refused") << 401 << "";
    }
    void aRefreshAdoptsDetailsSignsOutOn401AndOtherwiseKeepsTheAccount()
    {
        QFETCH(int, status);
        QFETCH(QString, email);
        storeAccount();
        server->setRoute("GET", "/api/me", HttpAnswer::json({{"email", "new@example.com"}, {"tier", "pro"}}, status));
        auto account = makeAccount(status ? std::nullopt : std::optional(unreachableRoot));
        QSignalSpy finished(account.get(), &CloudAccount::requestFinished);
        account->start(); // a stored token: refreshed at launch
        QVERIFY(finished.wait(5000));
        QCOMPARE(finished.first().value(1).toInt(), status);
        QCOMPARE(account->state(), email.isEmpty() ? State::signedOut() : State::signedInAs(email, "pro"));
        QCOMPARE(keychain.items.value(KeychainItem::email), email);
        QCOMPARE(keychain.items.contains(KeychainItem::token), !email.isEmpty());
        QVERIFY(keychain.items.contains(KeychainItem::deviceID));
        QCOMPARE(server->requests().value(0).headers.value("authorization"), QByteArray(status ? "Bearer tok" : ""));
    }

    void signOutIsLocalAtOnceTellsTheServiceAndOutdatesARefresh()
    {
        storeAccount();
        server->hold();
        server->setRoute("GET", "/api/me", HttpAnswer::json({{"email", "x@y.z"}}));
        auto account = makeAccount();
        QSignalSpy finished(account.get(), &CloudAccount::requestFinished);
        QSignalSpy changes(account.get(), &CloudAccount::stateChanged);
        account->refresh();
        QTRY_COMPARE(server->count("/api/me"), 1);
        account->signOut();
        QCOMPARE(changes.count(), 1); // at once, not after the request
        QCOMPARE(keychain.items.keys(), QStringList{KeychainItem::deviceID});
        server->release();
        QTRY_COMPARE(finished.count(), 2);
        QCOMPARE(account->state(), State::signedOut()); // the refresh answered for a token now gone
        QVERIFY(!keychain.items.contains(KeychainItem::email));
        const HttpRequest logout = server->requests("/api/app/logout").value(0);
        QCOMPARE(logout.method + ' ' + logout.body, QByteArray("POST {}"));
        QCOMPARE(logout.headers.value("authorization"), QByteArray("Bearer tok"));
    }
};

QTEST_GUILESS_MAIN(CloudAccountTest)
#include "CloudAccountTest.moc"

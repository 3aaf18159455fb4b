// SPDX-License-Identifier: GPL-3.0-or-later
// Drives the real stashwell-server over HTTP: PKCE sign-in, account and sync endpoints, bad input, limits.
#include "server/ReferenceServerProcess.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTcpSocket>
#include <QtTest>
#include <algorithm>
#include <array>

namespace {

using Headers = QList<QPair<QByteArray, QByteArray>>;

struct Reply {
    int status = 0;
    QByteArray body, location, cacheControl, authenticate;
    QJsonObject json() const { return QJsonDocument::fromJson(body).object(); }
};

QString base64Url(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}
QString randomVerifier() { return base64Url(QUuid::createUuid().toRfc4122() + QUuid::createUuid().toRfc4122()); }
QString challengeFor(const QString &verifier) { return base64Url(QCryptographicHash::hash(verifier.toUtf8(), QCryptographicHash::Sha256)); }
QByteArray json(const QJsonObject &object) { return QJsonDocument(object).toJson(QJsonDocument::Compact); }

} // namespace

class ReferenceServerTest : public QObject {
    Q_OBJECT

    ReferenceServerProcess m_server{QStringLiteral(STASHWELL_SERVER_BIN)};
    QNetworkAccessManager m_nam;

    Reply send(const QByteArray &method, const QUrl &url, const QByteArray &body = {}, const Headers &headers = {})
    {
        QNetworkRequest request(url);
        request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
        for (const auto &[name, value] : headers)
            request.setRawHeader(name, value);
        QNetworkReply *reply = m_nam.sendCustomRequest(request, method, body);
        if (!reply->isFinished())
            QSignalSpy(reply, &QNetworkReply::finished).wait(15000);
        reply->deleteLater();
        return {reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), reply->readAll(),
                reply->rawHeader("Location"), reply->rawHeader("Cache-Control"), reply->rawHeader("WWW-Authenticate")};
    }
    // A request with a JSON body unless told otherwise, and the bearer token if any.
    Reply call(const QByteArray &method, const QString &path, const QByteArray &body = {}, const QByteArray &token = {},
               const QByteArray &type = "application/json")
    {
        Headers headers{{"Content-Type", type}};
        if (!token.isEmpty())
            headers.append({"Authorization", "Bearer " + token});
        return send(method, m_server.url(path), body, headers);
    }
    Reply submitForm(const QString &challenge, const QString &email)
    {
        const QString form = "app=stashwell&state=st&challenge=" + challenge + "&email="
                             + QString::fromLatin1(QUrl::toPercentEncoding(email));
        return call("POST", "/app/connect", form.toUtf8(), {}, "application/x-www-form-urlencoded");
    }
    // The browser's part of a sign-in: the page, then its form. Returns the callback's code.
    QString browserSignIn(const QString &email, const QString &verifier)
    {
        if (send("GET", m_server.connectUrl(challengeFor(verifier), "st")).status != 200)
            return {};
        return QUrlQuery(QUrl(submitForm(challengeFor(verifier), email).location)).queryItemValue("code", QUrl::FullyDecoded);
    }
    Reply exchange(const QString &code, const QString &verifier)
    {
        return call("POST", "/api/app/token", json({{"code", code}, {"verifier", verifier}, {"deviceId", "D"}}));
    }
    QByteArray signIn(const QString &email)
    {
        const QString verifier = randomVerifier();
        return exchange(browserSignIn(email, verifier), verifier).json()["token"].toString().toLatin1();
    }
    Reply putSync(const QByteArray &token, const QString &blob, qint64 base)
    {
        return call("PUT", "/api/sync/stashwell", json({{"blob", blob}, {"baseVersion", base}}), token);
    }
    QJsonObject syncRecord(const QByteArray &token) { return call("GET", "/api/sync/stashwell", {}, token).json(); }

private slots:
    void initTestCase() { QVERIFY2(m_server.start(), m_server.errorOutput().constData()); }

    void aBrowserSignInIssuesATokenUntilSignOut()
    {
        const QString verifier = randomVerifier();
        const QString challenge = challengeFor(verifier);
        const Reply page = send("GET", m_server.connectUrl(challenge, "st"));
        QCOMPARE(page.status, 200);
        QVERIFY(page.body.contains("<form method=\"post\" action=\"/app/connect\">"));
        QVERIFY(page.body.contains("name=\"state\" value=\"st\"") && page.body.contains(challenge.toLatin1()));
        for (const QString &wrong : {"someone.example.org", "some one@example.org", "<b>@x.org"})
            QVERIFY(submitForm(challenge, wrong).location.isEmpty());
        const Reply submitted = submitForm(challenge, "Flow@Example.org");
        QCOMPARE(submitted.status, 302);
        const QUrl callback(QString::fromUtf8(submitted.location));
        QCOMPARE(callback.toString(QUrl::RemoveQuery), QStringLiteral("stashwell://auth"));
        QCOMPARE(QUrlQuery(callback).queryItemValue("state"), QStringLiteral("st"));

        const Reply token = exchange(QUrlQuery(callback).queryItemValue("code"), verifier);
        QCOMPARE(token.cacheControl, QByteArray("no-store"));
        const QByteArray bearer = token.json()["token"].toString().toLatin1();
        QCOMPARE(token.json(), (QJsonObject{{"token", QString::fromLatin1(bearer)}, {"email", "flow@example.org"}, {"tier", "free"}}));
        QCOMPARE(call("GET", "/api/me", {}, bearer).json(), (QJsonObject{{"email", "flow@example.org"}, {"tier", "free"}}));

        const QByteArray otherMachine = signIn("  FLOW@example.ORG ");
        QCOMPARE(call("POST", "/api/app/logout", "{}", bearer).body, QByteArray("{}"));
        for (const char *path : {"/api/me", "/api/sync/stashwell"})
            QCOMPARE(call("GET", path, {}, bearer).status, 401);
        QCOMPARE(call("POST", "/api/app/logout", "{}", bearer).status, 401);
        QCOMPARE(call("GET", "/api/me", {}, otherMachine).status, 200); // only that session ended
    }

    void aCodeIsGoodForOneExchangeWithItsOwnVerifier()
    {
        const QString verifier = randomVerifier();
        QString code = browserSignIn("pkce@example.org", verifier);
        const Reply wrong = exchange(code, randomVerifier());
        QCOMPARE(wrong.json(), (QJsonObject{{"error", "invalid_grant"}, {"message", wrong.json()["message"]}}));
        QCOMPARE(exchange(code, verifier).status, 400); // used up by the wrong attempt
        code = browserSignIn("pkce@example.org", verifier);
        QCOMPARE(exchange(code, verifier).status, 200);
        QCOMPARE(exchange(code, verifier).status, 400); // no replay
        QCOMPARE(exchange(QString(43, 'A'), verifier).status, 400);
    }

    void syncKeepsVersionsPerAccountAndRefusesStalePushes()
    {
        const QByteArray laptop = signIn("sync@example.org");
        const QByteArray desktop = signIn("Sync@Example.org"); // the same account
        QCOMPARE(syncRecord(laptop), QJsonObject({{"version", 0}})); // empty: no blob
        const QString first = QStringLiteral("{\"languageCode\":\"de\",\"x\":\"\u00e9\"} not even JSON");
        QCOMPARE(putSync(laptop, first, 0).json(), QJsonObject({{"version", 1}}));
        QCOMPARE(syncRecord(desktop), (QJsonObject{{"version", 1}, {"blob", first}})); // kept exactly as sent
        QCOMPARE(putSync(desktop, "{\"a\":2}", 1).json()["version"].toInt(), 2);
        for (const qint64 base : {1, 0, 5}) { // behind the service, or ahead of it
            const Reply stale = putSync(laptop, "{\"a\":9}", base);
            QCOMPARE(stale.status, 409);
            QCOMPARE(stale.json()["blob"].toString(), QStringLiteral("{\"a\":2}"));
        }
        QCOMPARE(syncRecord(laptop), (QJsonObject{{"version", 2}, {"blob", "{\"a\":2}"}}));
        const QByteArray other = signIn("other@example.org");
        QCOMPARE(syncRecord(other), QJsonObject({{"version", 0}}));
        QCOMPARE(call("PUT", "/api/sync/stashwell", R"({"blob":"","baseVersion":0})", other).status, 200); // no deviceId
        QCOMPARE(syncRecord(other), (QJsonObject{{"version", 1}, {"blob", ""}}));
    }

    void accountEndpointsNeedAValidBearerToken_data()
    {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("authorization");
        for (const auto &[method, path] : QList<QPair<QByteArray, QString>>{
                 {"GET", "/api/me"}, {"POST", "/api/app/logout"}, {"GET", "/api/sync/stashwell"}, {"PUT", "/api/sync/stashwell"}}) {
            for (const QByteArray &authorization : {QByteArray(), "Bearer " + QByteArray(43, 'A'), QByteArray("Basic dXNlcjpwYXNz"), QByteArray("Bearer ")})
                QTest::addRow("%s %s '%s'", method.constData(), qPrintable(path), authorization.constData()) << method << path << authorization;
        }
    }
    void accountEndpointsNeedAValidBearerToken()
    {
        QFETCH(QByteArray, method);
        QFETCH(QString, path);
        QFETCH(QByteArray, authorization);
        const Reply reply = send(method, m_server.url(path), method == "GET" ? "" : R"({"blob":"{}","baseVersion":0})",
                                 {{"Content-Type", "application/json"}, {"Authorization", authorization}});
        QCOMPARE(reply.status, 401);
        QVERIFY(reply.authenticate.startsWith("Bearer"));
    }

    void badTokenAndSyncRequestsAreRefused_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("body");
        const QString token = "/api/app/token", sync = "/api/sync/stashwell";
        const QByteArray verifier = randomVerifier().toLatin1();
        QTest::newRow("token malformed") << token << QByteArray("{\"code\":");
        QTest::newRow("token code missing") << token << "{\"verifier\":\"" + verifier + "\"}";
        QTest::newRow("token code a number") << token << "{\"code\":5,\"verifier\":\"" + verifier + "\"}";
        QTest::newRow("token short verifier") << token << QByteArray(R"({"code":"c","verifier":"abc"})");
        QTest::newRow("token deviceId a number") << token << "{\"code\":\"c\",\"verifier\":\"" + verifier + "\",\"deviceId\":1}";
        QTest::newRow("sync blob missing") << sync << QByteArray(R"({"baseVersion":0})");
        QTest::newRow("sync baseVersion fraction") << sync << QByteArray(R"({"blob":"{}","baseVersion":0.5})");
        QTest::newRow("sync baseVersion negative") << sync << QByteArray(R"({"blob":"{}","baseVersion":-1})");
        QTest::newRow("sync baseVersion huge") << sync << QByteArray(R"({"blob":"{}","baseVersion":1e300})");
        QTest::newRow("sync deviceId a number") << sync << QByteArray(R"({"blob":"{}","baseVersion":0,"deviceId":3})");
    }
    void badTokenAndSyncRequestsAreRefused()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, body);
        static const QByteArray token = signIn("validate@example.org");
        const QByteArray method = path.endsWith("token") ? "POST" : "PUT";
        const Reply reply = call(method, path, body, token);
        QCOMPARE(reply.status, 400);
        QVERIFY(reply.json()["message"].isString());
        QCOMPARE(call(method, path, R"({"blob":"{}","baseVersion":0})", token, "text/plain").status, 415);
        QCOMPARE(syncRecord(token)["version"].toInt(), 0); // nothing stored
    }

    void onlyABodyOverTheLimitIs413()
    {
        const auto logOf = [](qsizetype bytes) { return "{\"log\":\"" + QByteArray(bytes - 10, 'x') + "\"}"; };
        QCOMPARE(call("POST", "/api/testlog", logOf(4 << 20)).status, 400); // read whole, then refused as no log
        QCOMPARE(call("POST", "/api/testlog", logOf((4 << 20) + 1)).status, 413);
        QVERIFY(m_server.running() && call("GET", "/api/me").status == 401); // and serves on
    }

    // A request trickled in byte by byte hits the deadline; one address at its cap does not lock out another.
    void tricklingClientsAreCutOffWithoutStarvingOthers()
    {
        ReferenceServerProcess server(QStringLiteral(STASHWELL_SERVER_BIN));
        QVERIFY2(server.start({"--idle-timeout", "1", "--request-timeout", "3", "--max-connections-per-address", "3"}),
                 server.errorOutput().constData());
        const auto open = [&](QTcpSocket &socket, const QHostAddress &from, const QByteArray &bytes) {
            socket.bind(from);
            socket.connectToHost(QHostAddress::LocalHost, server.port());
            socket.write(bytes);
        };
        // What comes back before the server closes (nothing when it refuses); events run meanwhile.
        const auto answer = [&](const QHostAddress &from, const QByteArray &bytes) {
            QTcpSocket socket;
            open(socket, from, bytes);
            if (!QTest::qWaitFor([&] { return socket.state() == QAbstractSocket::UnconnectedState; }, 5000))
                return QByteArray("still open");
            return socket.readAll().left(13);
        };
        const QByteArray get = "GET / HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n";
        const QHostAddress other("127.0.0.2"); // loopback too on Linux

        // Three requests from 127.0.0.1 trickle in a byte every 200 ms, well within the idle timeout.
        std::array<QTcpSocket, 3> trickling;
        for (QTcpSocket &socket : trickling)
            open(socket, QHostAddress::LocalHost, "GET /");
        QTimer trickle;
        connect(&trickle, &QTimer::timeout, this, [&] {
            for (QTcpSocket &socket : trickling) {
                if (socket.state() == QAbstractSocket::ConnectedState)
                    socket.write("a");
            }
        });
        trickle.start(200);
        QTRY_VERIFY(std::ranges::all_of(trickling, [](const QTcpSocket &s) { return s.state() == QAbstractSocket::ConnectedState; }));

        // Another address is served, while 127.0.0.1 is still at its cap before and after.
        QCOMPARE(answer(QHostAddress::LocalHost, get), QByteArray());
        QCOMPARE(answer(other, get), QByteArray("HTTP/1.1 200 "));
        QCOMPARE(answer(QHostAddress::LocalHost, get), QByteArray());

        // The deadline answers the tricklers 408 and frees their slots.
        for (QTcpSocket &socket : trickling) {
            QTRY_COMPARE_WITH_TIMEOUT(socket.state(), QAbstractSocket::UnconnectedState, 15000);
            QCOMPARE(socket.readAll().left(13), QByteArray("HTTP/1.1 408 "));
        }
        QTRY_COMPARE_WITH_TIMEOUT(answer(QHostAddress::LocalHost, get), QByteArray("HTTP/1.1 200 "), 10000);
        // A stalled request is answered 408 too; an idle connection is closed without a word.
        QCOMPARE(answer(other, "POST /api/crash HTTP/1.1\r\nContent-Length: 9\r\n\r\n{"), QByteArray("HTTP/1.1 408 "));
        QCOMPARE(answer(other, {}), QByteArray());
    }
};

QTEST_MAIN(ReferenceServerTest)
#include "ReferenceServerTest.moc"

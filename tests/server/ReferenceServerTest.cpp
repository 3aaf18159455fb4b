// Drives the real stashwell-server binary over HTTP: the browser sign-in of Part 6.1 with
// PKCE, the account endpoints, the sync endpoint of Part 6.2 with its versions and
// conflicts, the uploads of Parts 7.1-7.3, and bad input at every layer.
#include "server/ReferenceServerProcess.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRandomGenerator>
#include <QTcpSocket>
#include <QtTest>

namespace {

struct Reply {
    int status = 0;
    QByteArray body;
    QList<QNetworkReply::RawHeaderPair> headers;
    QJsonObject json() const { return QJsonDocument::fromJson(body).object(); }
    QByteArray header(const QByteArray &name) const
    {
        for (const auto &[key, value] : headers) {
            if (key.compare(name, Qt::CaseInsensitive) == 0)
                return value;
        }
        return {};
    }
};

QString base64Url(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

QString randomVerifier()
{
    QByteArray bytes(32, Qt::Uninitialized);
    for (char &byte : bytes)
        byte = static_cast<char>(QRandomGenerator::global()->bounded(256));
    return base64Url(bytes);
}

QString challengeFor(const QString &verifier)
{
    return base64Url(QCryptographicHash::hash(verifier.toUtf8(), QCryptographicHash::Sha256));
}

QByteArray json(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QByteArray formBody(const QList<QPair<QString, QString>> &fields)
{
    QByteArray body;
    for (const auto &[name, value] : fields) {
        if (!body.isEmpty())
            body += '&';
        body += QUrl::toPercentEncoding(name) + '=' + QUrl::toPercentEncoding(value);
    }
    return body;
}

// A crash report with every member Part 7.2 always sends.
QJsonObject crashReport()
{
    return {{"type", "crash"}, {"app", "stashwell"}, {"installID", "5A1B3C4D-0000-4000-8000-00000000CAFE"},
            {"appVersion", "0.1.0"}, {"build", "1"}, {"osVersion", "Debian GNU/Linux 12"}, {"arch", "x86_64"},
            {"callStack", "{\"threads\":[]}"}, {"signal", 11}};
}

QJsonObject improveBatch(int events)
{
    QJsonArray list;
    for (int i = 0; i < events; ++i)
        list.append(QJsonObject{{"t", 1700000000.5 + i}, {"n", "palette.open"}, {"p", QJsonObject{{"items", i}}}});
    return {{"app", "stashwell"}, {"installID", "5A1B3C4D-0000-4000-8000-00000000CAFE"}, {"appVersion", "0.1.0"},
            {"build", "1"}, {"os", "Debian GNU/Linux 12"}, {"arch", "x86_64"}, {"locale", "en_US"},
            {"events", list}};
}

QJsonObject testlog()
{
    return {{"type", "testlog"}, {"app", "stashwell"}, {"installID", "5A1B3C4D-0000-4000-8000-00000000CAFE"},
            {"appVersion", "0.1.0"}, {"build", "1"}, {"osVersion", "Debian GNU/Linux 12"},
            {"log", "== app log (DebugLog) ==\nline\n"}};
}

} // namespace

class ReferenceServerTest : public QObject {
    Q_OBJECT

private:
    ReferenceServerProcess m_server{QStringLiteral(STASHWELL_SERVER_BIN)};
    QNetworkAccessManager m_nam;

    Reply send(const QByteArray &method, const QUrl &url, const QByteArray &body = {},
               const QList<QPair<QByteArray, QByteArray>> &headers = {})
    {
        QNetworkRequest request(url);
        request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
        for (const auto &[name, value] : headers)
            request.setRawHeader(name, value);
        QNetworkReply *reply = m_nam.sendCustomRequest(request, method, body);
        QSignalSpy finished(reply, &QNetworkReply::finished);
        if (!reply->isFinished())
            finished.wait(15000);
        Reply result;
        result.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        result.body = reply->readAll();
        result.headers = reply->rawHeaderPairs();
        reply->deleteLater();
        return result;
    }
    Reply get(const QUrl &url, const QByteArray &token = {})
    {
        return send("GET", url, {}, token.isEmpty() ? QList<QPair<QByteArray, QByteArray>>{} : auth(token));
    }
    Reply postJson(const QString &path, const QByteArray &body, const QByteArray &token = {},
                   const QByteArray &method = "POST")
    {
        QList<QPair<QByteArray, QByteArray>> headers{{"Content-Type", "application/json"}};
        if (!token.isEmpty())
            headers += auth(token);
        return send(method, m_server.url(path), body, headers);
    }
    static QList<QPair<QByteArray, QByteArray>> auth(const QByteArray &token)
    {
        return {{"Authorization", "Bearer " + token}};
    }
    Reply submitForm(const ReferenceServerProcess &server, const QList<QPair<QString, QString>> &fields)
    {
        return send("POST", server.url(QStringLiteral("/app/connect")), formBody(fields),
                    {{"Content-Type", "application/x-www-form-urlencoded"}});
    }

    // The browser part of a sign-in: the page, then the form; returns the callback URL.
    QUrl browserSignIn(const ReferenceServerProcess &server, const QString &email, const QString &challenge,
                       const QString &state, const QList<QPair<QString, QString>> &extraFields = {})
    {
        const Reply page = get(server.connectUrl(challenge, state));
        if (page.status != 200)
            return {};
        const Reply submitted = submitForm(server, QList<QPair<QString, QString>>{{"app", "stashwell"}, {"challenge", challenge},
                                                                                  {"state", state}, {"email", email}}
                                                       + extraFields);
        return submitted.status == 302 ? QUrl(QString::fromUtf8(submitted.header("Location"))) : QUrl();
    }
    static QString codeOf(const QUrl &callback) { return QUrlQuery(callback).queryItemValue("code", QUrl::FullyDecoded); }

    Reply exchange(const QString &code, const QString &verifier, const QString &deviceId = QStringLiteral("DEVICE-A"))
    {
        return postJson("/api/app/token", json({{"code", code}, {"verifier", verifier}, {"deviceId", deviceId}}));
    }
    // A complete sign-in; returns the session token.
    QByteArray signIn(const QString &email, ReferenceServerProcess *server = nullptr)
    {
        ReferenceServerProcess &target = server ? *server : m_server;
        const QString verifier = randomVerifier();
        const QUrl callback = browserSignIn(target, email, challengeFor(verifier), QStringLiteral("st"));
        const Reply reply = send("POST", target.url("/api/app/token"),
                                 json({{"code", codeOf(callback)}, {"verifier", verifier}, {"deviceId", "D"}}),
                                 {{"Content-Type", "application/json"}});
        return reply.json().value("token").toString().toLatin1();
    }
    Reply putSync(const QByteArray &token, const QString &blob, qint64 baseVersion)
    {
        return postJson("/api/sync/stashwell", json({{"blob", blob}, {"baseVersion", baseVersion}, {"deviceId", "DEV"}}),
                        token, "PUT");
    }
    QJsonArray received(const QString &kind)
    {
        return get(m_server.url("/test/received?kind=" + kind)).json().value("items").toArray();
    }
    // Writes raw bytes on a new connection and returns all that comes back until the
    // server closes the connection (or `waitMs` pass).
    QByteArray raw(const QByteArray &bytes, int waitMs = 5000)
    {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, m_server.port());
        if (!socket.waitForConnected(3000))
            return {};
        socket.write(bytes);
        QByteArray answer;
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < waitMs && socket.state() == QAbstractSocket::ConnectedState) {
            socket.waitForReadyRead(100);
            answer += socket.readAll();
        }
        return answer + socket.readAll();
    }
    void expectServerAlive()
    {
        QVERIFY(m_server.running());
        QCOMPARE(get(m_server.url("/")).status, 200);
    }

private slots:
    void initTestCase()
    {
        QVERIFY2(m_server.start(), m_server.errorOutput().constData());
    }

    void signInFlowEndToEnd()
    {
        const QString verifier = randomVerifier();
        const QString challenge = challengeFor(verifier);
        const QString state = QStringLiteral("Zq8-x_y7AbCdEfGhIjKlMn");
        const Reply page = get(m_server.connectUrl(challenge, state));
        QCOMPARE(page.status, 200);
        QVERIFY(page.header("Content-Type").startsWith("text/html"));
        QVERIFY(page.body.contains("<form method=\"post\" action=\"/app/connect\">"));
        QVERIFY(page.body.contains("name=\"email\" type=\"email\""));
        QVERIFY(page.body.contains("name=\"state\" value=\"" + state.toLatin1() + "\""));
        QVERIFY(page.body.contains("name=\"challenge\" value=\"" + challenge.toLatin1() + "\""));

        const Reply submitted = submitForm(m_server, {{"app", "stashwell"}, {"challenge", challenge},
                                                      {"state", state}, {"email", "Flow@Example.org"}});
        QCOMPARE(submitted.status, 302);
        const QUrl callback(QString::fromUtf8(submitted.header("Location")));
        QCOMPARE(callback.scheme(), QStringLiteral("stashwell"));
        QCOMPARE(callback.host(), QStringLiteral("auth"));
        QCOMPARE(QUrlQuery(callback).queryItemValue("state"), state);
        const QString code = codeOf(callback);
        QCOMPARE(code.size(), 43);

        const Reply token = exchange(code, verifier);
        QCOMPARE(token.status, 200);
        QCOMPARE(token.header("Cache-Control"), QByteArray("no-store"));
        const QByteArray bearer = token.json().value("token").toString().toLatin1();
        QCOMPARE(bearer.size(), 43);
        QCOMPARE(token.json().value("email").toString(), QStringLiteral("flow@example.org"));
        QCOMPARE(token.json().value("tier").toString(), QStringLiteral("free"));

        const Reply me = get(m_server.url("/api/me"), bearer);
        QCOMPARE(me.status, 200);
        QCOMPARE(me.json(), (QJsonObject{{"email", "flow@example.org"}, {"tier", "free"}}));

        // An empty record has no version (0) and no blob: the client pushes with baseVersion 0.
        const Reply empty = get(m_server.url("/api/sync/stashwell"), bearer);
        QCOMPARE(empty.status, 200);
        QCOMPARE(empty.json().value("version").toInt(-1), 0);
        QVERIFY(!empty.json().contains("blob"));

        const QString first = QStringLiteral(R"({"clearOnQuit":false,"historyLimit":200})");
        const Reply put1 = putSync(bearer, first, 0);
        QCOMPARE(put1.status, 200);
        QCOMPARE(put1.json(), QJsonObject({{"version", 1}}));
        const Reply after1 = get(m_server.url("/api/sync/stashwell"), bearer);
        QCOMPARE(after1.json(), (QJsonObject{{"version", 1}, {"blob", first}}));

        const QString second = QStringLiteral(R"({"clearOnQuit":true,"historyLimit":500})");
        QCOMPARE(putSync(bearer, second, 1).json().value("version").toInt(), 2);

        // A push based on version 1 after the service moved on to 2 is stale.
        const Reply stale = putSync(bearer, QStringLiteral(R"({"historyLimit":9})"), 1);
        QCOMPARE(stale.status, 409);
        QCOMPARE(stale.json().value("version").toInt(), 2);
        QCOMPARE(stale.json().value("blob").toString(), second);
        QCOMPARE(get(m_server.url("/api/sync/stashwell"), bearer).json(), (QJsonObject{{"version", 2}, {"blob", second}}));

        const Reply logout = postJson("/api/app/logout", "{}", bearer);
        QCOMPARE(logout.status, 200);
        QCOMPARE(logout.json(), QJsonObject());
        QCOMPARE(get(m_server.url("/api/me"), bearer).status, 401);
        QCOMPARE(get(m_server.url("/api/sync/stashwell"), bearer).status, 401);
        QCOMPARE(postJson("/api/app/logout", "{}", bearer).status, 401);
    }

    void aPushAheadOfTheServiceIsAConflictToo()
    {
        const QByteArray token = signIn("ahead@example.org");
        QCOMPARE(putSync(token, "{}", 5).status, 409);
        QCOMPARE(putSync(token, "{}", 0).json().value("version").toInt(), 1);
    }

    void syncBlobIsKeptExactlyAsSent()
    {
        // The blob is opaque to the service (Part 6.2): even text that is not JSON is kept.
        const QByteArray token = signIn("opaque@example.org");
        const QString blob = QStringLiteral("{\"languageCode\":\"de\",\"x\":\"\u00e9\\u00e9\"} not json");
        QCOMPARE(putSync(token, blob, 0).status, 200);
        QCOMPARE(get(m_server.url("/api/sync/stashwell"), token).json().value("blob").toString(), blob);
    }

    void connectPageRejectsBadLinks_data()
    {
        QTest::addColumn<QString>("query");
        const QString challenge = challengeFor(randomVerifier());
        QTest::newRow("no parameters") << QString();
        QTest::newRow("other app") << "app=other&challenge=" + challenge + "&state=s";
        QTest::newRow("no challenge") << QStringLiteral("app=stashwell&state=s");
        QTest::newRow("short challenge") << QStringLiteral("app=stashwell&challenge=abc&state=s");
        QTest::newRow("challenge with bad characters") << "app=stashwell&challenge=" + challenge.left(42) + "%21&state=s";
        QTest::newRow("no state") << "app=stashwell&challenge=" + challenge;
        QTest::newRow("huge state") << "app=stashwell&challenge=" + challenge + "&state=" + QString(600, 'a');
    }
    void connectPageRejectsBadLinks()
    {
        QFETCH(QString, query);
        const Reply page = get(m_server.url("/app/connect?" + query));
        QCOMPARE(page.status, 400);
        QVERIFY(page.body.contains("This sign-in link is not valid"));
        QVERIFY(!page.body.contains("<form"));
    }

    void signInFormRejectsInvalidEmail_data()
    {
        QTest::addColumn<QString>("email");
        QTest::newRow("empty") << QString();
        QTest::newRow("no at") << QStringLiteral("someone.example.org");
        QTest::newRow("no domain") << QStringLiteral("someone@");
        QTest::newRow("no local part") << QStringLiteral("@example.org");
        QTest::newRow("space inside") << QStringLiteral("some one@example.org");
        QTest::newRow("markup") << QStringLiteral("<b>@example.org");
        QTest::newRow("too long") << QString(250, 'a') + QStringLiteral("@example.org");
    }
    void signInFormRejectsInvalidEmail()
    {
        QFETCH(QString, email);
        const Reply reply = submitForm(m_server, {{"app", "stashwell"}, {"challenge", challengeFor(randomVerifier())},
                                                  {"state", "s"}, {"email", email}});
        QCOMPARE(reply.status, 400);
        QVERIFY(reply.header("Location").isEmpty());
        QVERIFY(reply.body.contains("Enter a valid e-mail address."));
        QVERIFY(reply.body.contains("<form")); // shown again to correct it
    }

    void signInPagesEscapeWhatTheyEcho()
    {
        const QString state = QStringLiteral("\"><script>alert(1)</script>");
        const Reply page = get(m_server.connectUrl(challengeFor(randomVerifier()), state));
        QCOMPARE(page.status, 200);
        QVERIFY(!page.body.contains("<script>"));
        QVERIFY(page.body.contains("&quot;&gt;&lt;script&gt;"));
        QVERIFY(page.header("Content-Security-Policy").contains("default-src 'none'"));
    }

    void signInFormNeedsFormEncoding()
    {
        const Reply reply = send("POST", m_server.url("/app/connect"), "{}", {{"Content-Type", "application/json"}});
        QCOMPARE(reply.status, 415);
    }

    void pkceMismatchIsRejectedAndUsesUpTheCode()
    {
        const QString verifier = randomVerifier();
        const QUrl callback = browserSignIn(m_server, "pkce@example.org", challengeFor(verifier), "s1");
        QVERIFY(callback.isValid());
        const Reply wrong = exchange(codeOf(callback), randomVerifier());
        QCOMPARE(wrong.status, 400);
        QCOMPARE(wrong.json().value("error").toString(), QStringLiteral("invalid_grant"));
        QVERIFY(!wrong.json().contains("token"));
        // One attempt per code: the right verifier cannot be tried after a wrong one.
        QCOMPARE(exchange(codeOf(callback), verifier).status, 400);
    }

    void codeIsSingleUse()
    {
        const QString verifier = randomVerifier();
        const QUrl callback = browserSignIn(m_server, "once@example.org", challengeFor(verifier), "s2");
        QCOMPARE(exchange(codeOf(callback), verifier).status, 200);
        const Reply replay = exchange(codeOf(callback), verifier);
        QCOMPARE(replay.status, 400);
        QCOMPARE(replay.json().value("error").toString(), QStringLiteral("invalid_grant"));
    }

    void deviceIdIsOptional()
    {
        const QString verifier = randomVerifier();
        const QUrl callback = browserSignIn(m_server, "nodevice@example.org", challengeFor(verifier), "s");
        const Reply token = postJson("/api/app/token", json({{"code", codeOf(callback)}, {"verifier", verifier}}));
        QCOMPARE(token.status, 200);
        const QByteArray bearer = token.json().value("token").toString().toLatin1();
        const Reply put = postJson("/api/sync/stashwell", json({{"blob", ""}, {"baseVersion", 0}}), bearer, "PUT");
        QCOMPARE(put.status, 200);
        QCOMPARE(get(m_server.url("/api/sync/stashwell"), bearer).json(), (QJsonObject{{"version", 1}, {"blob", ""}}));
    }

    void unknownCodeIsRejected()
    {
        const Reply reply = exchange(QStringLiteral("AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA"), randomVerifier());
        QCOMPARE(reply.status, 400);
        QCOMPARE(reply.json().value("error").toString(), QStringLiteral("invalid_grant"));
    }

    void expiredCodeIsRejected()
    {
        ReferenceServerProcess shortLived(QStringLiteral(STASHWELL_SERVER_BIN));
        QVERIFY2(shortLived.start({"--code-lifetime", "1"}), shortLived.errorOutput().constData());
        const QString verifier = randomVerifier();
        const QUrl callback = browserSignIn(shortLived, "late@example.org", challengeFor(verifier), "s");
        QVERIFY(callback.isValid());
        QTest::qWait(1300);
        const Reply reply = send("POST", shortLived.url("/api/app/token"),
                                 json({{"code", codeOf(callback)}, {"verifier", verifier}, {"deviceId", "D"}}),
                                 {{"Content-Type", "application/json"}});
        QCOMPARE(reply.status, 400);
        QCOMPARE(reply.json().value("error").toString(), QStringLiteral("invalid_grant"));
    }

    void tokenRequestIsValidated_data()
    {
        QTest::addColumn<QByteArray>("contentType");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("status");
        const QByteArray verifier = randomVerifier().toLatin1();
        QTest::newRow("not JSON media type") << QByteArray("text/plain") << QByteArray("{}") << 415;
        QTest::newRow("malformed JSON") << QByteArray("application/json") << QByteArray("{\"code\":") << 400;
        QTest::newRow("array") << QByteArray("application/json") << QByteArray("[]") << 400;
        QTest::newRow("empty body") << QByteArray("application/json") << QByteArray() << 400;
        QTest::newRow("code missing") << QByteArray("application/json") << ("{\"verifier\":\"" + verifier + "\"}") << 400;
        QTest::newRow("code not a string") << QByteArray("application/json; charset=utf-8")
                                           << ("{\"code\":5,\"verifier\":\"" + verifier + "\"}") << 400;
        QTest::newRow("verifier too short") << QByteArray("application/json") << QByteArray("{\"code\":\"c\",\"verifier\":\"abc\"}") << 400;
        QTest::newRow("deviceId not a string") << QByteArray("application/json")
                                               << ("{\"code\":\"c\",\"verifier\":\"" + verifier + "\",\"deviceId\":1}") << 400;
    }
    void tokenRequestIsValidated()
    {
        QFETCH(QByteArray, contentType);
        QFETCH(QByteArray, body);
        QFETCH(int, status);
        const Reply reply = send("POST", m_server.url("/api/app/token"), body, {{"Content-Type", contentType}});
        QCOMPARE(reply.status, status);
        QVERIFY(reply.json().value("error").isString());
    }

    void emailCaseNamesOneAccount()
    {
        const QByteArray first = signIn("Same.Person@Example.org");
        const QByteArray second = signIn("  same.person@EXAMPLE.org ");
        QVERIFY(first != second);
        QCOMPARE(putSync(first, "{\"a\":1}", 0).status, 200);
        // The second machine sees the first one's blob and must base its push on it.
        QCOMPARE(get(m_server.url("/api/sync/stashwell"), second).json().value("version").toInt(), 1);
        QCOMPARE(putSync(second, "{\"a\":2}", 0).status, 409);
        QCOMPARE(putSync(second, "{\"a\":2}", 1).json().value("version").toInt(), 2);
    }

    void accountsAreIsolated()
    {
        const QByteArray alice = signIn("alice@example.org");
        const QByteArray bob = signIn("bob@example.org");
        QCOMPARE(putSync(alice, "{\"owner\":\"alice\"}", 0).status, 200);
        QCOMPARE(get(m_server.url("/api/sync/stashwell"), bob).json(), QJsonObject({{"version", 0}}));
        QCOMPARE(get(m_server.url("/api/me"), bob).json().value("email").toString(), QStringLiteral("bob@example.org"));
    }

    void logoutEndsOnlyThatSession()
    {
        const QByteArray laptop = signIn("two@example.org");
        const QByteArray desktop = signIn("two@example.org");
        QCOMPARE(postJson("/api/app/logout", "{}", laptop).status, 200);
        QCOMPARE(get(m_server.url("/api/me"), laptop).status, 401);
        QCOMPARE(get(m_server.url("/api/me"), desktop).status, 200);
    }

    void accountEndpointsNeedAValidBearerToken_data()
    {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("authorization");
        for (const auto &[method, path] : QList<QPair<QByteArray, QString>>{
                 {"GET", "/api/me"}, {"POST", "/api/app/logout"}, {"GET", "/api/sync/stashwell"}, {"PUT", "/api/sync/stashwell"}}) {
            const QByteArray name = method + ' ' + path.toLatin1();
            QTest::newRow(name + " without header") << method << path << QByteArray();
            QTest::newRow(name + " unknown token") << method << path << QByteArray("Bearer AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA");
            QTest::newRow(name + " other scheme") << method << path << QByteArray("Basic dXNlcjpwYXNz");
            QTest::newRow(name + " empty bearer") << method << path << QByteArray("Bearer ");
        }
    }
    void accountEndpointsNeedAValidBearerToken()
    {
        QFETCH(QByteArray, method);
        QFETCH(QString, path);
        QFETCH(QByteArray, authorization);
        QList<QPair<QByteArray, QByteArray>> headers{{"Content-Type", "application/json"}};
        if (!authorization.isEmpty())
            headers.append({"Authorization", authorization});
        const Reply reply = send(method, m_server.url(path), method == "GET" ? QByteArray() : QByteArray("{\"blob\":\"{}\",\"baseVersion\":0}"), headers);
        QCOMPARE(reply.status, 401);
        QVERIFY(reply.header("WWW-Authenticate").startsWith("Bearer"));
    }

    void syncPutIsValidated_data()
    {
        QTest::addColumn<QByteArray>("contentType");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("status");
        QTest::newRow("not JSON media type") << QByteArray("text/plain") << QByteArray("{\"blob\":\"{}\",\"baseVersion\":0}") << 415;
        QTest::newRow("malformed JSON") << QByteArray("application/json") << QByteArray("{\"blob\":") << 400;
        QTest::newRow("blob missing") << QByteArray("application/json") << QByteArray("{\"baseVersion\":0}") << 400;
        QTest::newRow("blob an object") << QByteArray("application/json") << QByteArray("{\"blob\":{},\"baseVersion\":0}") << 400;
        QTest::newRow("baseVersion missing") << QByteArray("application/json") << QByteArray("{\"blob\":\"{}\"}") << 400;
        QTest::newRow("baseVersion a string") << QByteArray("application/json") << QByteArray("{\"blob\":\"{}\",\"baseVersion\":\"0\"}") << 400;
        QTest::newRow("baseVersion fractional") << QByteArray("application/json") << QByteArray("{\"blob\":\"{}\",\"baseVersion\":0.5}") << 400;
        QTest::newRow("baseVersion negative") << QByteArray("application/json") << QByteArray("{\"blob\":\"{}\",\"baseVersion\":-1}") << 400;
        QTest::newRow("baseVersion huge") << QByteArray("application/json") << QByteArray("{\"blob\":\"{}\",\"baseVersion\":1e300}") << 400;
        QTest::newRow("deviceId a number") << QByteArray("application/json") << QByteArray("{\"blob\":\"{}\",\"baseVersion\":0,\"deviceId\":3}") << 400;
    }
    void syncPutIsValidated()
    {
        QFETCH(QByteArray, contentType);
        QFETCH(QByteArray, body);
        QFETCH(int, status);
        static const QByteArray token = signIn("validate@example.org");
        const Reply reply = send("PUT", m_server.url("/api/sync/stashwell"), body,
                                 {{"Content-Type", contentType}, {"Authorization", "Bearer " + token}});
        QCOMPARE(reply.status, status);
        QCOMPARE(get(m_server.url("/api/sync/stashwell"), token).json().value("version").toInt(), 0);
    }

    void uploadsAreStoredAsSent()
    {
        const QByteArray token = signIn("stats@example.org");
        const QByteArray improve = json(improveBatch(3));
        QCOMPARE(postJson("/api/improve", improve, token).status, 200);
        QCOMPARE(postJson("/api/improve", json(improveBatch(200))).status, 200);
        const QByteArray crash = json(crashReport());
        QCOMPARE(postJson("/api/crash", crash).status, 200);
        const QByteArray log = json(testlog());
        QCOMPARE(postJson("/api/testlog", log).status, 200);

        const QJsonArray improves = received("improve");
        QCOMPARE(improves.size(), 2);
        QCOMPARE(improves[0].toObject().value("body").toObject(), QJsonDocument::fromJson(improve).object());
        QCOMPARE(improves[0].toObject().value("account").toString(), QStringLiteral("stats@example.org"));
        QVERIFY(improves[1].toObject().value("account").isNull());
        QCOMPARE(improves[1].toObject().value("body").toObject().value("events").toArray().size(), 200);
        const QJsonArray crashes = received("crash");
        QCOMPARE(crashes.size(), 1);
        QCOMPARE(crashes[0].toObject().value("body").toObject(), crashReport());
        QCOMPARE(received("testlog")[0].toObject().value("body").toObject(), testlog());
        QCOMPARE(get(m_server.url("/test/received")).json().value("items").toArray().size(), 4);
        QCOMPARE(get(m_server.url("/test/received?kind=bogus")).status, 400);
    }

    void statisticsWithAnUnknownTokenAreAnonymous()
    {
        const int before = received("improve").size();
        QCOMPARE(postJson("/api/improve", json(improveBatch(1)), "revoked-token").status, 200);
        const QJsonArray after = received("improve");
        QCOMPARE(after.size(), before + 1);
        QVERIFY(after.last().toObject().value("account").isNull());
    }

    void uploadBodiesAreChecked_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("contentType");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("status");
        auto without = [](QJsonObject object, const char *key) { object.remove(key); return json(object); };
        auto with = [](QJsonObject object, const char *key, const QJsonValue &value) { object.insert(key, value); return json(object); };
        for (const char *path : {"/api/improve", "/api/crash", "/api/testlog"}) {
            QTest::newRow(QByteArray(path) + " form encoded") << path << QByteArray("application/x-www-form-urlencoded") << QByteArray("a=b") << 415;
            QTest::newRow(QByteArray(path) + " no content type") << path << QByteArray() << QByteArray("{}") << 415;
            QTest::newRow(QByteArray(path) + " malformed") << path << QByteArray("application/json") << QByteArray("{\"app\":\"stash") << 400;
            QTest::newRow(QByteArray(path) + " array") << path << QByteArray("application/json") << QByteArray("[1,2]") << 400;
            QTest::newRow(QByteArray(path) + " empty object") << path << QByteArray("application/json") << QByteArray("{}") << 400;
            QTest::newRow(QByteArray(path) + " deep nesting") << path << QByteArray("application/json")
                                                              << QByteArray(100000, '[') << 400;
        }
        QTest::newRow("improve other app") << "/api/improve" << QByteArray("application/json") << with(improveBatch(1), "app", "other") << 400;
        QTest::newRow("improve no events") << "/api/improve" << QByteArray("application/json") << without(improveBatch(1), "events") << 400;
        QTest::newRow("improve 201 events") << "/api/improve" << QByteArray("application/json") << json(improveBatch(201)) << 400;
        QTest::newRow("improve bad event") << "/api/improve" << QByteArray("application/json")
                                           << with(improveBatch(0), "events", QJsonArray{QJsonObject{{"n", "x"}}}) << 400;
        QTest::newRow("improve no installID") << "/api/improve" << QByteArray("application/json") << without(improveBatch(1), "installID") << 400;
        QTest::newRow("crash wrong type") << "/api/crash" << QByteArray("application/json") << with(crashReport(), "type", "testlog") << 400;
        QTest::newRow("crash no callStack") << "/api/crash" << QByteArray("application/json") << without(crashReport(), "callStack") << 400;
        QTest::newRow("crash signal as text") << "/api/crash" << QByteArray("application/json") << with(crashReport(), "signal", "SIGSEGV") << 400;
        QTest::newRow("crash null reason") << "/api/crash" << QByteArray("application/json") << with(crashReport(), "terminationReason", QJsonValue()) << 400;
        QTest::newRow("testlog no log") << "/api/testlog" << QByteArray("application/json") << without(testlog(), "log") << 400;
        QTest::newRow("testlog log not text") << "/api/testlog" << QByteArray("application/json") << with(testlog(), "log", 5) << 400;
    }
    void uploadBodiesAreChecked()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, contentType);
        QFETCH(QByteArray, body);
        QFETCH(int, status);
        const int before = get(m_server.url("/test/received")).json().value("items").toArray().size();
        QList<QPair<QByteArray, QByteArray>> headers;
        if (!contentType.isEmpty())
            headers.append({"Content-Type", contentType});
        const Reply reply = send("POST", m_server.url(path), body, headers);
        QCOMPARE(reply.status, status);
        QVERIFY(!reply.json().value("message").toString().isEmpty());
        QCOMPARE(get(m_server.url("/test/received")).json().value("items").toArray().size(), before);
    }

    void optionalCrashMembersMayBeLeftOut()
    {
        QJsonObject report = crashReport();
        report.remove("signal");
        QCOMPARE(postJson("/api/crash", json(report)).status, 200);
        report.insert("exceptionType", 1);
        report.insert("exceptionCode", 2);
        report.insert("terminationReason", "Namespace SIGNAL, Code 11");
        QCOMPARE(postJson("/api/crash", json(report)).status, 200);
    }

    void dumpListsStoredUploads()
    {
        QCOMPARE(postJson("/api/testlog", json(testlog())).status, 200);
        QProcess dump;
        dump.start(m_server.binary(), {"--db", m_server.databasePath(), "--dump", "testlog"});
        QVERIFY(dump.waitForFinished(10000));
        QCOMPARE(dump.exitCode(), 0);
        const QList<QByteArray> lines = dump.readAllStandardOutput().trimmed().split('\n');
        QCOMPARE(lines.size(), received("testlog").size());
        const QJsonObject last = QJsonDocument::fromJson(lines.last()).object();
        QCOMPARE(last.value("kind").toString(), QStringLiteral("testlog"));
        QCOMPARE(last.value("body").toObject(), testlog());
    }

    void testEndpointExistsOnlyInTestMode()
    {
        QCOMPARE(get(m_server.url("/test/received")).status, 200);
        ReferenceServerProcess production(QStringLiteral(STASHWELL_SERVER_BIN));
        QTemporaryDir dir;
        QProcess process;
        process.start(production.binary(), {"--port", "0", "--db", dir.filePath("p.sqlite"), "--quiet"});
        QVERIFY(process.waitForReadyRead(10000));
        const QByteArray line = process.readAllStandardOutput();
        const quint16 port = QRegularExpression(":(\\d+) ").match(QString::fromLatin1(line)).captured(1).toUShort();
        QVERIFY(port > 0);
        QCOMPARE(get(QUrl(QStringLiteral("http://127.0.0.1:%1/test/received").arg(port))).status, 404);
        process.terminate();
        QVERIFY(process.waitForFinished(5000));
    }

    void unknownRoutesAre404()
    {
        for (const char *path : {"/nope", "/api", "/api/me/", "/api/sync/other", "/API/ME", "/%00", "/app/connect/x"}) {
            const Reply reply = get(m_server.url(QString::fromLatin1(path)));
            QCOMPARE(reply.status, 404);
            QCOMPARE(reply.json().value("error").toString(), QStringLiteral("not_found"));
        }
    }

    void wrongMethodsAre405WithAllow()
    {
        QCOMPARE(send("DELETE", m_server.url("/api/sync/stashwell")).header("Allow"), QByteArray("GET, HEAD, PUT"));
        QCOMPARE(send("DELETE", m_server.url("/api/sync/stashwell")).status, 405);
        QCOMPARE(get(m_server.url("/api/app/token")).status, 405);
        QCOMPARE(get(m_server.url("/api/app/token")).header("Allow"), QByteArray("POST"));
        QCOMPARE(send("POST", m_server.url("/api/me"), "{}", {{"Content-Type", "application/json"}}).status, 405);
        QCOMPARE(get(m_server.url("/api/crash")).status, 405);
        QCOMPARE(send("PUT", m_server.url("/app/connect")).status, 405);
    }

    void headIsAnsweredWithoutBody()
    {
        const QByteArray answer = raw("HEAD / HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
        QVERIFY(answer.startsWith("HTTP/1.1 200 OK\r\n"));
        QVERIFY(answer.endsWith("\r\n\r\n"));
        QVERIFY(!answer.contains("Content-Length: 0\r\n"));
    }

    void oversizedBodyIs413()
    {
        const QByteArray huge = "{\"log\":\"" + QByteArray(4 * 1024 * 1024, 'x') + "\"}";
        const Reply reply = send("POST", m_server.url("/api/testlog"), huge, {{"Content-Type", "application/json"}});
        QCOMPARE(reply.status, 413);
        expectServerAlive();
    }

    void oversizedChunkedBodyIs413()
    {
        QByteArray request = "POST /api/crash HTTP/1.1\r\nHost: x\r\nContent-Type: application/json\r\n"
                             "Transfer-Encoding: chunked\r\n\r\n";
        for (int i = 0; i < 5; ++i)
            request += "100000\r\n" + QByteArray(0x100000, 'a') + "\r\n";
        const QByteArray answer = raw(request);
        QVERIFY2(answer.startsWith("HTTP/1.1 413 "), answer.left(80).constData());
        expectServerAlive();
    }

    void malformedRequestsAreAnsweredNotFatal_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<int>("status");
        QTest::newRow("garbage") << QByteArray("\x01\x02 hello\r\n\r\n") << 400;
        QTest::newRow("no version") << QByteArray("GET /\r\n\r\n") << 400;
        QTest::newRow("HTTP/2.0") << QByteArray("GET / HTTP/2.0\r\n\r\n") << 505;
        QTest::newRow("absolute target") << QByteArray("GET http://x/ HTTP/1.1\r\n\r\n") << 400;
        QTest::newRow("header without colon") << QByteArray("GET / HTTP/1.1\r\nHost x\r\n\r\n") << 400;
        QTest::newRow("space before colon") << QByteArray("GET / HTTP/1.1\r\nHost : x\r\n\r\n") << 400;
        QTest::newRow("folded header") << QByteArray("GET / HTTP/1.1\r\nHost: x\r\n continued\r\n\r\n") << 400;
        QTest::newRow("letters in Content-Length") << QByteArray("POST /api/crash HTTP/1.1\r\nContent-Length: 1x\r\n\r\n") << 400;
        QTest::newRow("negative Content-Length") << QByteArray("POST /api/crash HTTP/1.1\r\nContent-Length: -1\r\n\r\n") << 400;
        QTest::newRow("two Content-Lengths") << QByteArray("POST /api/crash HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\nab") << 400;
        QTest::newRow("huge Content-Length") << QByteArray("POST /api/crash HTTP/1.1\r\nContent-Length: 99999999999999999999\r\n\r\n") << 400;
        QTest::newRow("Content-Length over the cap") << QByteArray("POST /api/crash HTTP/1.1\r\nContent-Length: 4194305\r\n\r\n") << 413;
        QTest::newRow("both framings") << QByteArray("POST /api/crash HTTP/1.1\r\nContent-Length: 3\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n") << 400;
        QTest::newRow("gzip coding") << QByteArray("POST /api/crash HTTP/1.1\r\nTransfer-Encoding: gzip\r\n\r\n") << 501;
        QTest::newRow("bad chunk size") << QByteArray("POST /api/crash HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n") << 400;
        QTest::newRow("chunk longer than said") << QByteArray("POST /api/crash HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nabcd\r\n") << 400;
        QTest::newRow("unknown expectation") << QByteArray("POST /api/crash HTTP/1.1\r\nExpect: magic\r\nContent-Length: 2\r\n\r\n{}") << 417;
        QTest::newRow("head too large") << ("GET / HTTP/1.1\r\nX-Big: " + QByteArray(70 * 1024, 'a') + "\r\n\r\n") << 431;
        QByteArray many = "GET / HTTP/1.1\r\n";
        for (int i = 0; i < 150; ++i)
            many += "X-" + QByteArray::number(i) + ": 1\r\n";
        QTest::newRow("too many headers") << many + "\r\n" << 431;
        QTest::newRow("NUL in header") << QByteArray("GET / HTTP/1.1\r\nX: a\0b\r\n\r\n", 26) << 400;
    }
    void malformedRequestsAreAnsweredNotFatal()
    {
        QFETCH(QByteArray, request);
        QFETCH(int, status);
        const QByteArray answer = raw(request);
        QVERIFY2(answer.startsWith("HTTP/1.1 " + QByteArray::number(status) + ' '), answer.left(100).constData());
        QVERIFY(answer.contains("Connection: close\r\n"));
        expectServerAlive();
    }

    void chunkedBodiesAreAccepted()
    {
        const QByteArray body = json(crashReport());
        QByteArray request = "POST /api/crash HTTP/1.1\r\nHost: x\r\nContent-Type: application/json\r\n"
                             "Transfer-Encoding: chunked\r\nConnection: close\r\n\r\n";
        request += QByteArray::number(10, 16) + ";ext=1\r\n" + body.left(10) + "\r\n";
        request += QByteArray::number(body.size() - 10, 16) + "\r\n" + body.mid(10) + "\r\n0\r\nX-Trailer: 1\r\n\r\n";
        const int before = received("crash").size();
        const QByteArray answer = raw(request);
        QVERIFY2(answer.startsWith("HTTP/1.1 200 OK\r\n"), answer.left(200).constData());
        QCOMPARE(received("crash").size(), before + 1);
        QCOMPARE(received("crash").last().toObject().value("body").toObject(), crashReport());
    }

    void expectContinueIsHonoured()
    {
        const QByteArray body = json(crashReport());
        const QByteArray head = "POST /api/crash HTTP/1.1\r\nHost: x\r\nContent-Type: application/json\r\nExpect: 100-continue\r\n"
                                "Connection: close\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n";
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, m_server.port());
        QVERIFY(socket.waitForConnected(3000));
        socket.write(head);
        QVERIFY(socket.waitForReadyRead(3000));
        QCOMPARE(socket.readAll(), QByteArray("HTTP/1.1 100 Continue\r\n\r\n"));
        socket.write(body);
        QByteArray answer;
        while (socket.waitForReadyRead(3000))
            answer += socket.readAll();
        QVERIFY2(answer.startsWith("HTTP/1.1 200 OK\r\n"), answer.constData());

        // Too large: refused at once, before the client sends the body.
        const QByteArray refused = raw("POST /api/crash HTTP/1.1\r\nHost: x\r\nExpect: 100-continue\r\n"
                                       "Content-Length: 99999999\r\n\r\n");
        QVERIFY(refused.startsWith("HTTP/1.1 413 "));
        QVERIFY(!refused.contains("100 Continue"));
    }

    void pipelinedRequestsAreAnsweredInOrder()
    {
        const QByteArray answer = raw("GET /nope HTTP/1.1\r\nHost: x\r\n\r\n"
                                      "GET / HTTP/1.1\r\nHost: x\r\n\r\n"
                                      "GET /api/me HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
        const qsizetype notFound = answer.indexOf("HTTP/1.1 404 ");
        const qsizetype ok = answer.indexOf("HTTP/1.1 200 ");
        const qsizetype unauthorized = answer.indexOf("HTTP/1.1 401 ");
        QVERIFY(notFound == 0);
        QVERIFY(ok > notFound);
        QVERIFY(unauthorized > ok);
    }

    void http10ClosesAfterTheAnswer()
    {
        const QByteArray answer = raw("GET / HTTP/1.0\r\n\r\n", 3000);
        QVERIFY(answer.startsWith("HTTP/1.1 200 OK\r\n"));
        QVERIFY(answer.contains("Connection: close\r\n"));
    }

    void manyConnectionsAtOnce()
    {
        QList<QNetworkReply *> replies;
        for (int i = 0; i < 40; ++i)
            replies.append(m_nam.get(QNetworkRequest(m_server.url("/api/me"))));
        for (QNetworkReply *reply : replies) {
            if (!reply->isFinished())
                QSignalSpy(reply, &QNetworkReply::finished).wait(10000);
            QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 401);
            reply->deleteLater();
        }
    }

    void halfSentRequestsDoNotBlockOthers()
    {
        QTcpSocket stalled;
        stalled.connectToHost(QHostAddress::LocalHost, m_server.port());
        QVERIFY(stalled.waitForConnected(3000));
        stalled.write("POST /api/crash HTTP/1.1\r\nContent-Length: 100\r\n\r\n{\"par");
        stalled.flush();
        expectServerAlive();
    }

    void randomBytesDoNotBringItDown()
    {
        const QList<QByteArray> prefixes{"", "POST /api/crash HTTP/1.1\r\n", "GET / HTTP/1.1\r\nContent-Length: 5\r\n",
                                         "PUT /api/sync/stashwell HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n"};
        QRandomGenerator random(20240601);
        QList<QTcpSocket *> sockets;
        for (int i = 0; i < 200; ++i) {
            QByteArray noise(random.bounded(1, 3000), Qt::Uninitialized);
            for (char &byte : noise)
                byte = static_cast<char>(random.bounded(256));
            auto *socket = new QTcpSocket(this);
            socket->connectToHost(QHostAddress::LocalHost, m_server.port());
            QVERIFY(socket->waitForConnected(3000));
            socket->write(prefixes[i % prefixes.size()] + noise + (i % 2 ? "\r\n\r\n" : ""));
            socket->flush();
            sockets.append(socket);
        }
        QTest::qWait(200);
        for (QTcpSocket *socket : sockets) {
            socket->abort(); // some mid-request, some after an answer
            socket->deleteLater();
        }
        expectServerAlive();
        QCOMPARE(get(m_server.url("/api/me")).status, 401);
    }

    void stalledRequestsTimeOut()
    {
        ReferenceServerProcess impatient(QStringLiteral(STASHWELL_SERVER_BIN));
        QVERIFY2(impatient.start({"--idle-timeout", "1"}), impatient.errorOutput().constData());
        QTcpSocket stalled;
        stalled.connectToHost(QHostAddress::LocalHost, impatient.port());
        QVERIFY(stalled.waitForConnected(3000));
        stalled.write("POST /api/crash HTTP/1.1\r\nContent-Length: 100\r\n\r\n{\"par");
        QVERIFY(stalled.waitForReadyRead(4000));
        QVERIFY(stalled.readAll().startsWith("HTTP/1.1 408 "));

        QTcpSocket idle;
        idle.connectToHost(QHostAddress::LocalHost, impatient.port());
        QVERIFY(idle.waitForConnected(3000));
        QVERIFY(idle.waitForDisconnected(4000)); // closed without a word
        QCOMPARE(idle.readAll(), QByteArray());
    }

    void accountsAndSyncSurviveARestart()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("nested/keep.sqlite");
        QByteArray token;
        {
            ReferenceServerProcess first(QStringLiteral(STASHWELL_SERVER_BIN));
            QVERIFY2(first.start({}, path), first.errorOutput().constData());
            token = signIn("restart@example.org", &first);
            QVERIFY(!token.isEmpty());
            QCOMPARE(send("PUT", first.url("/api/sync/stashwell"), json({{"blob", "{\"k\":1}"}, {"baseVersion", 0}}),
                          {{"Content-Type", "application/json"}, {"Authorization", "Bearer " + token}}).status, 200);
        }
        ReferenceServerProcess second(QStringLiteral(STASHWELL_SERVER_BIN));
        QVERIFY2(second.start({}, path), second.errorOutput().constData());
        QCOMPARE(get(second.url("/api/me"), token).status, 200);
        QCOMPARE(get(second.url("/api/sync/stashwell"), token).json(), (QJsonObject{{"version", 1}, {"blob", "{\"k\":1}"}}));
        // A new database directory and file are private to the user.
        QCOMPARE(QFile::permissions(path) & 0x0077, QFileDevice::Permissions());
        QCOMPARE(QFileInfo(QFileInfo(path).absolutePath()).permissions() & 0x0077, QFileDevice::Permissions());
    }

    void secretsAreStoredOnlyHashed()
    {
        const QString verifier = randomVerifier();
        const QUrl callback = browserSignIn(m_server, "hashed@example.org", challengeFor(verifier), "s");
        const QString code = codeOf(callback);
        const QByteArray token = exchange(code, verifier).json().value("token").toString().toLatin1();
        QVERIFY(!token.isEmpty());
        QByteArray stored;
        for (const QString &suffix : {QString(), QStringLiteral("-wal")}) {
            QFile file(m_server.databasePath() + suffix);
            if (file.open(QIODevice::ReadOnly))
                stored += file.readAll();
        }
        QVERIFY(stored.contains("hashed@example.org"));
        QVERIFY(stored.contains(QCryptographicHash::hash(token, QCryptographicHash::Sha256).toHex()));
        QVERIFY(!stored.contains(token));
        QVERIFY(!stored.contains(code.toLatin1()));
    }

    void accessCodeGuardsSignInWhenConfigured()
    {
        ReferenceServerProcess guarded(QStringLiteral(STASHWELL_SERVER_BIN));
        QVERIFY2(guarded.start({"--access-code", "open sesame"}), guarded.errorOutput().constData());
        const QString challenge = challengeFor(randomVerifier());
        QVERIFY(get(guarded.connectUrl(challenge, "s")).body.contains("name=\"accessCode\""));
        QList<QPair<QString, QString>> fields{{"app", "stashwell"}, {"challenge", challenge}, {"state", "s"}, {"email", "g@example.org"}};
        const Reply missing = submitForm(guarded, fields);
        QCOMPARE(missing.status, 403);
        QVERIFY(missing.header("Location").isEmpty());
        QCOMPARE(submitForm(guarded, fields + QList<QPair<QString, QString>>{{"accessCode", "open sesamE"}}).status, 403);
        QCOMPARE(submitForm(guarded, fields + QList<QPair<QString, QString>>{{"accessCode", "open sesame"}}).status, 302);
    }

    void callbackSchemeIsConfigurable()
    {
        ReferenceServerProcess other(QStringLiteral(STASHWELL_SERVER_BIN));
        QVERIFY2(other.start({"--callback-scheme", "stashwell-dev"}), other.errorOutput().constData());
        const QUrl callback = browserSignIn(other, "dev@example.org", challengeFor(randomVerifier()), "s");
        QCOMPARE(callback.scheme(), QStringLiteral("stashwell-dev"));
    }

    void badCommandLinesAreRefused_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("port out of range") << QStringList{"--port", "70000"};
        QTest::newRow("port not a number") << QStringList{"--port", "http"};
        QTest::newRow("listen not an address") << QStringList{"--listen", "localhost:80"};
        QTest::newRow("bad scheme") << QStringList{"--callback-scheme", "1x://"};
        QTest::newRow("tiny body cap") << QStringList{"--max-body", "10"};
        QTest::newRow("zero idle timeout") << QStringList{"--idle-timeout", "0"};
        QTest::newRow("unwritable database") << QStringList{"--db", "/proc/stashwell/x.sqlite"};
        QTest::newRow("dump of an unknown kind") << QStringList{"--dump", "stats"};
        QTest::newRow("dump of a missing database") << QStringList{"--dump", "crash"};
    }
    void badCommandLinesAreRefused()
    {
        QFETCH(QStringList, arguments);
        QTemporaryDir dir;
        QProcess process;
        const QStringList base{"--port", "0", "--quiet", "--db", dir.filePath("db.sqlite")};
        process.start(QStringLiteral(STASHWELL_SERVER_BIN), base + arguments);
        QVERIFY(process.waitForFinished(10000));
        QVERIFY(process.exitCode() != 0);
        QVERIFY(process.readAllStandardError().startsWith("stashwell-server: "));
    }

    void cleanupTestCase()
    {
        QVERIFY(m_server.running()); // nothing above brought it down
    }
};

QTEST_MAIN(ReferenceServerTest)
#include "ReferenceServerTest.moc"

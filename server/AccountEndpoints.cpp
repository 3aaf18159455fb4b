// SPDX-License-Identifier: GPL-3.0-or-later
#include "server/AccountEndpoints.h"

#include "server/ApiSupport.h"
#include "server/Router.h"
#include "server/SecureTokens.h"
#include "server/SignInPage.h"

#include <QDateTime>
#include <QUrl>

namespace EmailAddress {

QString normalized(const QString &input)
{
    const QString email = input.trimmed().toLower();
    const qsizetype at = email.lastIndexOf(QLatin1Char('@'));
    if (email.size() > 254 || at < 1 || at > 64 || at == email.size() - 1)
        return {};
    const QString domain = email.mid(at + 1);
    if (domain.startsWith(QLatin1Char('.')) || domain.endsWith(QLatin1Char('.')) || domain.contains(QLatin1String("..")))
        return {};
    const bool clean = std::none_of(email.begin(), email.end(), [](QChar c) {
        return c.isSpace() || c.category() == QChar::Other_Control || c == QLatin1Char('<') || c == QLatin1Char('>');
    });
    return clean ? email : QString();
}

} // namespace EmailAddress

namespace {
constexpr qsizetype maxStateLength = 512;
constexpr qsizetype maxDeviceIdLength = 128;
}

AccountEndpoints::AccountEndpoints(ServerStore &store, const ServiceConfig &config)
    : m_store(store)
    , m_config(config)
{
}

void AccountEndpoints::registerRoutes(Router &router)
{
    router.add("GET", QStringLiteral("/app/connect"), [this](const HttpRequest &r) { return connectPage(r); });
    router.add("POST", QStringLiteral("/app/connect"), [this](const HttpRequest &r) { return connectSubmit(r); });
    router.add("POST", QStringLiteral("/api/app/token"), [this](const HttpRequest &r) { return token(r); });
    router.add("GET", QStringLiteral("/api/me"), [this](const HttpRequest &r) { return me(r); });
    router.add("POST", QStringLiteral("/api/app/logout"), [this](const HttpRequest &r) { return logout(r); });
}

AccountEndpoints::Link AccountEndpoints::checkLink(const QString &app, const QString &challenge, const QString &state)
{
    Link link{app, challenge, state, {}};
    if (app != QLatin1String("stashwell"))
        link.problem = QStringLiteral("It was not made by Stashwell.");
    else if (!SecureTokens::isValidChallenge(challenge))
        link.problem = QStringLiteral("Its security challenge is missing or malformed.");
    else if (state.isEmpty() || state.size() > maxStateLength)
        link.problem = QStringLiteral("Its state value is missing or too long.");
    return link;
}

QByteArray AccountEndpoints::callbackUrl(const QString &code, const QString &state) const
{
    return m_config.callbackScheme.toLatin1() + "://auth?code=" + QUrl::toPercentEncoding(code)
        + "&state=" + QUrl::toPercentEncoding(state);
}

HttpResponse AccountEndpoints::connectPage(const HttpRequest &request)
{
    const Link link = checkLink(request.queryValue(QStringLiteral("app")), request.queryValue(QStringLiteral("challenge")),
                                request.queryValue(QStringLiteral("state")));
    if (!link.problem.isEmpty())
        return HttpResponse::html(400, SignInPage::invalidLink(link.problem));
    return HttpResponse::html(200, SignInPage::form({link.app, link.challenge, link.state, {}, {},
                                                     !m_config.accessCode.isEmpty()}));
}

HttpResponse AccountEndpoints::connectSubmit(const HttpRequest &request)
{
    if (request.mediaType() != "application/x-www-form-urlencoded")
        return HttpResponse::html(415, SignInPage::invalidLink(QStringLiteral("The form was not sent as a web form.")));
    const FormEncoding::Fields fields = FormEncoding::parse(request.body);
    auto field = [&](const char *name) { return FormEncoding::value(fields, QString::fromLatin1(name)); };
    const Link link = checkLink(field("app"), field("challenge"), field("state"));
    if (!link.problem.isEmpty())
        return HttpResponse::html(400, SignInPage::invalidLink(link.problem));

    SignInPage::Form again{link.app, link.challenge, link.state, field("email"), {}, !m_config.accessCode.isEmpty()};
    if (!m_config.accessCode.isEmpty()
        && !SecureTokens::constantTimeEquals(field("accessCode").toUtf8(), m_config.accessCode.toUtf8())) {
        again.error = QStringLiteral("The access code is not correct.");
        return HttpResponse::html(403, SignInPage::form(again));
    }
    const QString email = EmailAddress::normalized(field("email"));
    if (email.isEmpty()) {
        again.error = QStringLiteral("Enter a valid e-mail address.");
        return HttpResponse::html(400, SignInPage::form(again));
    }
    const std::optional<ServerStore::Account> account = m_store.findOrCreateAccount(email);
    const QString code = SecureTokens::randomUrlSafe(32);
    const qint64 expires = QDateTime::currentMSecsSinceEpoch() + qint64(m_config.codeLifetimeSeconds) * 1000;
    if (!account || !m_store.storeAuthCode(SecureTokens::hashForStorage(code), account->id, link.challenge, expires))
        return HttpResponse::html(500, SignInPage::invalidLink(QStringLiteral("The server could not store the sign-in.")));
    const QByteArray location = callbackUrl(code, link.state);
    return HttpResponse::redirect(location, SignInPage::returning(QString::fromLatin1(location)));
}

HttpResponse AccountEndpoints::token(const HttpRequest &request)
{
    const ApiSupport::JsonBody body = ApiSupport::jsonBody(request);
    if (body.error)
        return *body.error;
    const QJsonValue code = body.object.value(QStringLiteral("code"));
    const QJsonValue verifier = body.object.value(QStringLiteral("verifier"));
    const QJsonValue deviceId = body.object.value(QStringLiteral("deviceId"));
    if (!code.isString() || !verifier.isString())
        return ApiSupport::badRequest(QStringLiteral("code and verifier must be strings"));
    if (!deviceId.isUndefined() && (!deviceId.isString() || deviceId.toString().size() > maxDeviceIdLength))
        return ApiSupport::badRequest(QStringLiteral("deviceId must be a string of at most 128 characters"));
    if (!SecureTokens::isValidVerifier(verifier.toString()))
        return ApiSupport::badRequest(QStringLiteral("the verifier must be 43 to 128 URL-safe characters"));

    // Consumed before the verifier is checked: a code gets one attempt, right or wrong.
    const auto grant = m_store.consumeAuthCode(SecureTokens::hashForStorage(code.toString()),
                                               QDateTime::currentMSecsSinceEpoch());
    if (!grant)
        return HttpResponse::error(400, QStringLiteral("invalid_grant"), QStringLiteral("unknown, used or expired code"));
    if (!SecureTokens::constantTimeEquals(SecureTokens::pkceChallenge(verifier.toString()).toLatin1(),
                                          grant->challenge.toLatin1())) {
        return HttpResponse::error(400, QStringLiteral("invalid_grant"), QStringLiteral("the verifier does not match the challenge"));
    }
    const QString token = SecureTokens::randomUrlSafe(32);
    if (!m_store.createSession(SecureTokens::hashForStorage(token), grant->accountId, deviceId.toString()))
        return ApiSupport::storageFailure();
    const auto account = m_store.accountForToken(SecureTokens::hashForStorage(token));
    if (!account)
        return ApiSupport::storageFailure();
    return HttpResponse::json(200, {{QStringLiteral("token"), token},
                                    {QStringLiteral("email"), account->email},
                                    {QStringLiteral("tier"), account->tier}});
}

HttpResponse AccountEndpoints::me(const HttpRequest &request)
{
    const ApiSupport::Caller caller = ApiSupport::authenticate(m_store, request);
    if (caller.error)
        return *caller.error;
    return HttpResponse::json(200, {{QStringLiteral("email"), caller.account->email},
                                    {QStringLiteral("tier"), caller.account->tier}});
}

HttpResponse AccountEndpoints::logout(const HttpRequest &request)
{
    // The body ({} from the application) carries nothing; only the token matters.
    const ApiSupport::Caller caller = ApiSupport::authenticate(m_store, request);
    if (caller.error)
        return *caller.error;
    if (!m_store.deleteSession(SecureTokens::hashForStorage(ApiSupport::bearerToken(request))))
        return ApiSupport::storageFailure();
    return HttpResponse::json(200, {});
}

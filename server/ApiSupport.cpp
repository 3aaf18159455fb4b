// SPDX-License-Identifier: GPL-3.0-or-later
#include "server/ApiSupport.h"

#include "server/SecureTokens.h"

#include <QJsonDocument>
#include <cmath>

namespace ApiSupport {

JsonBody jsonBody(const HttpRequest &request)
{
    if (request.mediaType() != "application/json") {
        return {{}, HttpResponse::error(415, QStringLiteral("unsupported_media_type"),
                                        QStringLiteral("the body must be sent as application/json"))};
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(request.body, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return {{}, badRequest(QStringLiteral("malformed JSON: ") + parseError.errorString())};
    if (!document.isObject())
        return {{}, badRequest(QStringLiteral("the body must be a JSON object"))};
    return {document.object(), std::nullopt};
}

QString bearerToken(const HttpRequest &request)
{
    const QByteArray value = request.header("authorization");
    const qsizetype space = value.indexOf(' ');
    if (space < 0 || value.left(space).toLower() != "bearer")
        return {};
    return QString::fromLatin1(value.mid(space + 1).trimmed());
}

Caller authenticate(ServerStore &store, const HttpRequest &request)
{
    const QString token = bearerToken(request);
    if (token.isEmpty()) {
        return {std::nullopt, HttpResponse::error(401, QStringLiteral("unauthorized"), QStringLiteral("a bearer token is required"))
                                  .withHeader("WWW-Authenticate", "Bearer realm=\"stashwell\"")};
    }
    std::optional<ServerStore::Account> account = store.accountForToken(SecureTokens::hashForStorage(token));
    if (!account) {
        return {std::nullopt, HttpResponse::error(401, QStringLiteral("invalid_token"), QStringLiteral("the token is not valid"))
                                  .withHeader("WWW-Authenticate", "Bearer realm=\"stashwell\", error=\"invalid_token\"")};
    }
    return {account, std::nullopt};
}

HttpResponse badRequest(const QString &message)
{
    return HttpResponse::error(400, QStringLiteral("invalid_request"), message);
}

HttpResponse storageFailure()
{
    return HttpResponse::error(500, QStringLiteral("storage"), QStringLiteral("the database could not be written"));
}

bool isInteger(const QJsonValue &value)
{
    if (!value.isDouble())
        return false;
    const double number = value.toDouble();
    return std::trunc(number) == number && std::fabs(number) <= 9007199254740992.0;
}

} // namespace ApiSupport

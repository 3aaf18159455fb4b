// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "server/HttpRequest.h"
#include "server/HttpResponse.h"
#include "server/ServerStore.h"

#include <QJsonObject>
#include <optional>

// Helpers shared by the JSON endpoints.
namespace ApiSupport {

// A request body that must be a JSON object sent as application/json; on failure
// `error` holds the answer (415 or 400).
struct JsonBody {
    QJsonObject object;
    std::optional<HttpResponse> error;
};
JsonBody jsonBody(const HttpRequest &request);

// The token of "Authorization: Bearer <token>", or an empty string.
QString bearerToken(const HttpRequest &request);

// The account whose session token the request carries; on failure `error` is the 401.
struct Caller {
    std::optional<ServerStore::Account> account;
    std::optional<HttpResponse> error;
};
Caller authenticate(ServerStore &store, const HttpRequest &request);

HttpResponse badRequest(const QString &message);
HttpResponse storageFailure();

// JSON numbers that are whole and exactly representable (|n| <= 2^53).
bool isInteger(const QJsonValue &value);

} // namespace ApiSupport

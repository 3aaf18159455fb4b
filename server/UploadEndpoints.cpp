// SPDX-License-Identifier: GPL-3.0-or-later
#include "server/UploadEndpoints.h"

#include "server/ApiSupport.h"
#include "server/Router.h"
#include "server/SecureTokens.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace {

constexpr qsizetype maxBatch = 200; // a statistics batch holds up to 200 events

const QStringList kinds{QStringLiteral("improve"), QStringLiteral("crash"), QStringLiteral("testlog")};

// The members every body of the kind always has, all strings.
QStringList requiredStrings(const QString &kind)
{
    const QStringList common{QStringLiteral("app"), QStringLiteral("installID"), QStringLiteral("appVersion"),
                             QStringLiteral("build")};
    if (kind == QLatin1String("improve"))
        return common + QStringList{QStringLiteral("os"), QStringLiteral("arch"), QStringLiteral("locale")};
    if (kind == QLatin1String("crash"))
        return common + QStringList{QStringLiteral("type"), QStringLiteral("osVersion"), QStringLiteral("arch"),
                                    QStringLiteral("callStack")};
    return common + QStringList{QStringLiteral("type"), QStringLiteral("osVersion"), QStringLiteral("log")};
}

QString checkEvents(const QJsonValue &value, QList<QJsonObject> *events)
{
    if (!value.isArray())
        return QStringLiteral("events must be an array");
    const QJsonArray array = value.toArray();
    if (array.size() > maxBatch)
        return QStringLiteral("a batch holds at most 200 events");
    for (const QJsonValue &item : array) {
        const QJsonObject event = item.toObject();
        if (!item.isObject() || !event.value(QStringLiteral("t")).isDouble() || !event.value(QStringLiteral("n")).isString()
            || !event.value(QStringLiteral("p")).isObject()) {
            return QStringLiteral("every event is an object {t: number, n: string, p: object}");
        }
        events->append(event);
    }
    return {};
}

QString checkCrashNumbers(const QJsonObject &body)
{
    for (const char *key : {"signal", "exceptionType", "exceptionCode"}) {
        const QJsonValue value = body.value(QLatin1String(key));
        if (!value.isUndefined() && !value.isDouble())
            return QStringLiteral("%1 must be a number when present").arg(QLatin1String(key));
    }
    const QJsonValue reason = body.value(QStringLiteral("terminationReason"));
    if (!reason.isUndefined() && !reason.isString())
        return QStringLiteral("terminationReason must be a string when present");
    return {};
}

// Why the body does not have the kind's shape, or an empty string.
QString checkShape(const QString &kind, const QJsonObject &body, QList<QJsonObject> *events)
{
    for (const QString &key : requiredStrings(kind)) {
        if (!body.value(key).isString())
            return key + QStringLiteral(" must be a string");
    }
    if (body.value(QStringLiteral("app")).toString() != QLatin1String("stashwell"))
        return QStringLiteral("app must be \"stashwell\"");
    if (kind != QLatin1String("improve") && body.value(QStringLiteral("type")).toString() != kind)
        return QStringLiteral("type must be \"%1\"").arg(kind);
    if (kind == QLatin1String("improve"))
        return checkEvents(body.value(QStringLiteral("events")), events);
    if (kind == QLatin1String("crash"))
        return checkCrashNumbers(body);
    return {};
}

} // namespace

UploadEndpoints::UploadEndpoints(ServerStore &store, const ServiceConfig &config)
    : m_store(store)
    , m_config(config)
{
}

void UploadEndpoints::registerRoutes(Router &router)
{
    for (const QString &kind : kinds) {
        router.add("POST", QStringLiteral("/api/") + kind,
                   [this, kind](const HttpRequest &r) { return receive(kind, r); });
    }
    if (m_config.testMode)
        router.add("GET", QStringLiteral("/test/received"), [this](const HttpRequest &r) { return received(r); });
}

HttpResponse UploadEndpoints::receive(const QString &kind, const HttpRequest &request)
{
    const ApiSupport::JsonBody body = ApiSupport::jsonBody(request);
    if (body.error)
        return *body.error;
    QList<QJsonObject> events;
    if (const QString problem = checkShape(kind, body.object, &events); !problem.isEmpty())
        return ApiSupport::badRequest(problem);
    // Statistics may come with the user's token; an unknown token is not an
    // error here, the upload is then simply anonymous.
    std::optional<qint64> accountId;
    if (const QString token = ApiSupport::bearerToken(request); !token.isEmpty()) {
        if (const auto account = m_store.accountForToken(SecureTokens::hashForStorage(token)))
            accountId = account->id;
    }
    const auto id = m_store.storeUpload(kind, accountId, body.object.value(QStringLiteral("installID")).toString(),
                                        request.body, events);
    if (!id)
        return ApiSupport::storageFailure();
    return HttpResponse::json(200, {{QStringLiteral("id"), *id}});
}

HttpResponse UploadEndpoints::received(const HttpRequest &request)
{
    const QString kind = request.queryValue(QStringLiteral("kind"));
    if (!kind.isEmpty() && !kinds.contains(kind))
        return ApiSupport::badRequest(QStringLiteral("kind is improve, crash or testlog"));
    QJsonArray items;
    for (const ServerStore::Upload &upload : m_store.uploads(kind)) {
        items.append(QJsonObject{{QStringLiteral("id"), upload.id},
                                 {QStringLiteral("kind"), upload.kind},
                                 {QStringLiteral("receivedAt"), upload.receivedAt},
                                 {QStringLiteral("account"), upload.accountEmail.isEmpty() ? QJsonValue() : upload.accountEmail},
                                 {QStringLiteral("body"), QJsonDocument::fromJson(upload.body).object()}});
    }
    return HttpResponse::json(200, {{QStringLiteral("items"), items}});
}

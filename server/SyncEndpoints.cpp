// SPDX-License-Identifier: GPL-3.0-or-later
#include "server/SyncEndpoints.h"

#include "server/ApiSupport.h"
#include "server/Router.h"

namespace {

constexpr qsizetype maxDeviceIdLength = 128;

// An empty record answers {"version": 0} without a blob: the client then pushes its own.
QJsonObject recordJson(const ServerStore::SyncRecord &record)
{
    QJsonObject object{{QStringLiteral("version"), record.version}};
    if (record.version > 0)
        object.insert(QStringLiteral("blob"), record.blob);
    return object;
}

} // namespace

SyncEndpoints::SyncEndpoints(ServerStore &store)
    : m_store(store)
{
}

void SyncEndpoints::registerRoutes(Router &router)
{
    router.add("GET", QStringLiteral("/api/sync/stashwell"), [this](const HttpRequest &r) { return get(r); });
    router.add("PUT", QStringLiteral("/api/sync/stashwell"), [this](const HttpRequest &r) { return put(r); });
}

HttpResponse SyncEndpoints::get(const HttpRequest &request)
{
    const ApiSupport::Caller caller = ApiSupport::authenticate(m_store, request);
    if (caller.error)
        return *caller.error;
    const std::optional<ServerStore::SyncRecord> record = m_store.syncRecord(caller.account->id);
    if (!record)
        return ApiSupport::storageFailure();
    return HttpResponse::json(200, recordJson(*record));
}

HttpResponse SyncEndpoints::put(const HttpRequest &request)
{
    const ApiSupport::Caller caller = ApiSupport::authenticate(m_store, request);
    if (caller.error)
        return *caller.error;
    const ApiSupport::JsonBody body = ApiSupport::jsonBody(request);
    if (body.error)
        return *body.error;
    const QJsonValue blob = body.object.value(QStringLiteral("blob"));
    const QJsonValue baseVersion = body.object.value(QStringLiteral("baseVersion"));
    const QJsonValue deviceId = body.object.value(QStringLiteral("deviceId"));
    if (!blob.isString())
        return ApiSupport::badRequest(QStringLiteral("blob must be a string"));
    if (!ApiSupport::isInteger(baseVersion) || baseVersion.toInteger() < 0)
        return ApiSupport::badRequest(QStringLiteral("baseVersion must be a whole number, 0 or more"));
    if (!deviceId.isUndefined() && (!deviceId.isString() || deviceId.toString().size() > maxDeviceIdLength))
        return ApiSupport::badRequest(QStringLiteral("deviceId must be a string of at most 128 characters"));

    ServerStore::SyncRecord after;
    switch (m_store.putSync(caller.account->id, baseVersion.toInteger(), blob.toString(), deviceId.toString(), &after)) {
    case ServerStore::PutOutcome::Stored:
        return HttpResponse::json(200, {{QStringLiteral("version"), after.version}});
    case ServerStore::PutOutcome::Conflict: {
        // The current record comes along, though the client reads it with a fresh GET.
        QJsonObject conflict = recordJson(after);
        conflict.insert(QStringLiteral("error"), QStringLiteral("conflict"));
        conflict.insert(QStringLiteral("message"), QStringLiteral("baseVersion is not the current version"));
        return HttpResponse::json(409, conflict);
    }
    case ServerStore::PutOutcome::Failed:
        break;
    }
    return ApiSupport::storageFailure();
}

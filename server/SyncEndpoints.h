// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "server/HttpRequest.h"
#include "server/HttpResponse.h"
#include "server/ServerStore.h"

class Router;

// The settings-sync endpoint /api/sync/stashwell: one opaque blob per account with a version
// that grows by one on every accepted PUT; a PUT based on another version is a 409.
class SyncEndpoints {
public:
    explicit SyncEndpoints(ServerStore &store);
    void registerRoutes(Router &router);

    HttpResponse get(const HttpRequest &request);
    HttpResponse put(const HttpRequest &request);

private:
    ServerStore &m_store;
};

// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "server/HttpRequest.h"
#include "server/HttpResponse.h"
#include "server/ServerStore.h"
#include "server/ServiceConfig.h"

class Router;

// Receives the diagnostics uploads (/api/improve, /api/crash, /api/testlog), checks each
// body's required members and stores it as sent.
// In test mode, GET /test/received?kind=… lists what arrived.
class UploadEndpoints {
public:
    UploadEndpoints(ServerStore &store, const ServiceConfig &config);
    void registerRoutes(Router &router);

    HttpResponse receive(const QString &kind, const HttpRequest &request);
    HttpResponse received(const HttpRequest &request);

private:
    ServerStore &m_store;
    ServiceConfig m_config;
};

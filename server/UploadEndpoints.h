#pragma once
#include "server/HttpRequest.h"
#include "server/HttpResponse.h"
#include "server/ServerStore.h"
#include "server/ServiceConfig.h"

class Router;

// Receives the diagnostics of Parts 7.1-7.3 (/api/improve, /api/crash, /api/testlog),
// checks them against the body shapes those Parts define and stores each body as sent.
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

// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "server/HttpRequest.h"
#include "server/HttpResponse.h"
#include "server/ServerStore.h"
#include "server/ServiceConfig.h"

class Router;

// The account endpoints: the browser sign-in page (/app/connect) that hands a one-time
// code bound to the PKCE challenge back to the application, the code exchange
// (/api/app/token), the account details (/api/me) and the sign-out (/api/app/logout).
class AccountEndpoints {
public:
    AccountEndpoints(ServerStore &store, const ServiceConfig &config);
    void registerRoutes(Router &router);

    HttpResponse connectPage(const HttpRequest &request);
    HttpResponse connectSubmit(const HttpRequest &request);
    HttpResponse token(const HttpRequest &request);
    HttpResponse me(const HttpRequest &request);
    HttpResponse logout(const HttpRequest &request);

private:
    // The hand-off parameters of /app/connect, or why they are not acceptable.
    struct Link {
        QString app, challenge, state;
        QString problem;
    };
    static Link checkLink(const QString &app, const QString &challenge, const QString &state);
    QByteArray callbackUrl(const QString &code, const QString &state) const;

    ServerStore &m_store;
    ServiceConfig m_config;
};

namespace EmailAddress {
// The address trimmed and in lower case (one account per address whatever its case),
// or an empty string when it is not a plausible address.
QString normalized(const QString &input);
}

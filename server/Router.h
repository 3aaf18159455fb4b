// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include "server/HttpServer.h"

#include <QList>

// Exact-path routing: an unknown path is 404, a known path with another method 405
// (with "Allow"); HEAD is served by the GET handler.
class Router {
public:
    void add(const QByteArray &method, const QString &path, HttpServer::Handler handler);
    HttpResponse dispatch(const HttpRequest &request) const;

private:
    struct Route {
        QByteArray method;
        QString path;
        HttpServer::Handler handler;
    };
    QList<Route> m_routes;
};

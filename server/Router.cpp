// SPDX-License-Identifier: GPL-3.0-or-later
#include "server/Router.h"

void Router::add(const QByteArray &method, const QString &path, HttpServer::Handler handler)
{
    m_routes.append({method, path, std::move(handler)});
}

HttpResponse Router::dispatch(const HttpRequest &request) const
{
    const QString path = request.path();
    const QByteArray method = request.method == "HEAD" ? QByteArray("GET") : request.method;
    QList<QByteArray> allowed;
    for (const Route &route : m_routes) {
        if (route.path != path)
            continue;
        if (route.method == method)
            return route.handler(request);
        allowed.append(route.method);
        if (route.method == "GET")
            allowed.append("HEAD");
    }
    if (allowed.isEmpty())
        return HttpResponse::error(404, QStringLiteral("not_found"), QStringLiteral("no such endpoint"));
    return HttpResponse::error(405, QStringLiteral("method_not_allowed"),
                               QStringLiteral("use ") + QString::fromLatin1(allowed.join(", ")))
        .withHeader("Allow", allowed.join(", "));
}

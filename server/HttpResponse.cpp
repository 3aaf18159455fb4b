// SPDX-License-Identifier: GPL-3.0-or-later
#include "server/HttpResponse.h"

#include <QJsonDocument>

QByteArray reasonPhrase(int status)
{
    switch (status) {
    case 100: return "Continue";
    case 200: return "OK";
    case 302: return "Found";
    case 400: return "Bad Request";
    case 401: return "Unauthorized";
    case 403: return "Forbidden";
    case 404: return "Not Found";
    case 405: return "Method Not Allowed";
    case 408: return "Request Timeout";
    case 409: return "Conflict";
    case 411: return "Length Required";
    case 413: return "Content Too Large";
    case 415: return "Unsupported Media Type";
    case 417: return "Expectation Failed";
    case 431: return "Request Header Fields Too Large";
    case 500: return "Internal Server Error";
    case 501: return "Not Implemented";
    case 503: return "Service Unavailable";
    case 505: return "HTTP Version Not Supported";
    default: return "Unknown";
    }
}

HttpResponse HttpResponse::json(int status, const QJsonObject &object)
{
    HttpResponse response;
    response.status = status;
    response.body = QJsonDocument(object).toJson(QJsonDocument::Compact);
    response.withHeader("Content-Type", "application/json");
    // Account answers carry tokens: no cache may keep them.
    response.withHeader("Cache-Control", "no-store");
    return response;
}

HttpResponse HttpResponse::error(int status, const QString &code, const QString &message)
{
    return json(status, {{QStringLiteral("error"), code}, {QStringLiteral("message"), message}});
}

HttpResponse HttpResponse::html(int status, const QByteArray &page)
{
    HttpResponse response;
    response.status = status;
    response.body = page;
    response.withHeader("Content-Type", "text/html; charset=utf-8");
    response.withHeader("Cache-Control", "no-store");
    response.withHeader("Content-Security-Policy", "default-src 'none'; style-src 'unsafe-inline'; frame-ancestors 'none'");
    response.withHeader("X-Frame-Options", "DENY");
    response.withHeader("Referrer-Policy", "no-referrer");
    return response;
}

HttpResponse HttpResponse::redirect(const QByteArray &location, const QByteArray &page)
{
    HttpResponse response = html(302, page);
    response.withHeader("Location", location);
    return response;
}

HttpResponse &HttpResponse::withHeader(const QByteArray &name, const QByteArray &value)
{
    headers.append({name, value});
    return *this;
}

QByteArray HttpResponse::header(const QByteArray &name) const
{
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

QByteArray HttpResponse::serialize(bool keepAlive, bool headOnly) const
{
    QByteArray out = "HTTP/1.1 " + QByteArray::number(status) + ' ' + reasonPhrase(status) + "\r\n";
    for (const auto &[name, value] : headers)
        out += name + ": " + value + "\r\n";
    out += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
    out += keepAlive ? "Connection: keep-alive\r\n\r\n" : "Connection: close\r\n\r\n";
    if (!headOnly)
        out += body;
    return out;
}

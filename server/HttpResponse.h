// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QPair>
#include <QString>

// One HTTP response; HttpConnection adds the framing headers when it is written.
struct HttpResponse {
    int status = 200;
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;

    static HttpResponse json(int status, const QJsonObject &object);
    // {"error": code, "message": message}: the shape of every API error here.
    static HttpResponse error(int status, const QString &code, const QString &message);
    static HttpResponse html(int status, const QByteArray &page);
    static HttpResponse redirect(const QByteArray &location, const QByteArray &page);

    HttpResponse &withHeader(const QByteArray &name, const QByteArray &value);
    QByteArray header(const QByteArray &name) const;
    // Status line, headers (with Content-Length and Connection) and, unless `headOnly`, the body.
    QByteArray serialize(bool keepAlive, bool headOnly) const;
};

QByteArray reasonPhrase(int status);

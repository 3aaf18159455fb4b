// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

// One parsed HTTP/1.x request. Header names are stored in lower case.
struct HttpRequest {
    QByteArray method;
    QByteArray target; // as sent: path and query, percent-encoded
    int minorVersion = 1;
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;

    QByteArray header(const QByteArray &lowerName) const;
    // The target's path, percent-decoded.
    QString path() const;
    // The first value named `name` in the target's query ("+" is a space, as in HTML forms).
    QString queryValue(const QString &name) const;
    // The media type of Content-Type in lower case, without parameters.
    QByteArray mediaType() const;
    // HTTP/1.1 keeps the connection unless told to close; HTTP/1.0 only when asked to.
    bool keepAlive() const;
};

namespace FormEncoding {
using Fields = QList<QPair<QString, QString>>;
// Parses application/x-www-form-urlencoded text (also used for query strings).
Fields parse(const QByteArray &encoded);
// The first value named `name`; `found` tells an empty value from a missing one.
QString value(const Fields &fields, const QString &name, bool *found = nullptr);
}

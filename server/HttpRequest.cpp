// SPDX-License-Identifier: GPL-3.0-or-later
#include "server/HttpRequest.h"

#include <QUrl>

namespace FormEncoding {

Fields parse(const QByteArray &encoded)
{
    Fields fields;
    for (const QByteArray &pair : encoded.split('&')) {
        if (pair.isEmpty())
            continue;
        QByteArray spaced = pair;
        spaced.replace('+', ' ');
        const qsizetype eq = spaced.indexOf('=');
        const QByteArray name = eq < 0 ? spaced : spaced.left(eq);
        const QByteArray value = eq < 0 ? QByteArray() : spaced.mid(eq + 1);
        fields.append({QUrl::fromPercentEncoding(name), QUrl::fromPercentEncoding(value)});
    }
    return fields;
}

QString value(const Fields &fields, const QString &name, bool *found)
{
    for (const auto &[key, value] : fields) {
        if (key == name) {
            if (found)
                *found = true;
            return value;
        }
    }
    if (found)
        *found = false;
    return {};
}

} // namespace FormEncoding

QByteArray HttpRequest::header(const QByteArray &lowerName) const
{
    for (const auto &[name, value] : headers) {
        if (name == lowerName)
            return value;
    }
    return {};
}

QString HttpRequest::path() const
{
    const qsizetype query = target.indexOf('?');
    return QUrl::fromPercentEncoding(query < 0 ? target : target.left(query));
}

QString HttpRequest::queryValue(const QString &name) const
{
    const qsizetype query = target.indexOf('?');
    if (query < 0)
        return {};
    return FormEncoding::value(FormEncoding::parse(target.mid(query + 1)), name);
}

QByteArray HttpRequest::mediaType() const
{
    const QByteArray type = header("content-type");
    const qsizetype semicolon = type.indexOf(';');
    return (semicolon < 0 ? type : type.left(semicolon)).trimmed().toLower();
}

bool HttpRequest::keepAlive() const
{
    const QList<QByteArray> tokens = header("connection").toLower().split(',');
    auto has = [&](const char *token) {
        return std::any_of(tokens.begin(), tokens.end(),
                           [&](const QByteArray &t) { return t.trimmed() == token; });
    };
    return minorVersion >= 1 ? !has("close") : has("keep-alive");
}

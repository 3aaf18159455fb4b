// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/OrderedJson.h"

#include <QJsonArray>
#include <QJsonDocument>

OrderedJsonObject &OrderedJsonObject::add(QLatin1StringView key, const QJsonValue &value)
{
    return addRaw(key, encode(value));
}

OrderedJsonObject &OrderedJsonObject::addRaw(QLatin1StringView key, const QByteArray &json)
{
    if (m_out.size() > 1)
        m_out += ',';
    m_out += '"';
    m_out += QByteArray(key.data(), key.size()); // keys are plain identifiers
    m_out += "\":";
    m_out += json;
    return *this;
}

QByteArray OrderedJsonObject::encode(const QJsonValue &value)
{
    // QJsonDocument only takes arrays and objects: wrap, encode, unwrap.
    const QByteArray wrapped = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return wrapped.mid(1, wrapped.size() - 2);
}

// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QByteArray>
#include <QJsonValue>
#include <QString>

// QJsonObject sorts its keys; the history file and the bridge messages keep their
// fields in declaration order. This writes one compact JSON object in the order
// the fields are added, using Qt's own encoder for every value.
class OrderedJsonObject {
public:
    OrderedJsonObject &add(QLatin1StringView key, const QJsonValue &value);
    OrderedJsonObject &addRaw(QLatin1StringView key, const QByteArray &json); // already-encoded value
    QByteArray finish() const { return m_out + '}'; }

    static QByteArray encode(const QJsonValue &value); // compact, any JSON value

private:
    QByteArray m_out = "{";
};

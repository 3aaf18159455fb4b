// SPDX-License-Identifier: GPL-3.0-or-later
#include "diagnostics/ImproveEvents.h"

#include "common/Graphemes.h"
#include "common/OrderedJson.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <cmath>
#include <limits>

namespace ImproveEvents {

namespace {
constexpr qsizetype maxStringLength = 256;

std::optional<QJsonValue> sanitizeValue(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QString:
        return QJsonValue(Graphemes::left(value.toString(), maxStringLength));
    case QMetaType::Bool:
        return QJsonValue(value.toBool());
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
        return QJsonValue(value.toLongLong());
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        if (value.toULongLong() > quint64(std::numeric_limits<qint64>::max()))
            return std::nullopt; // JSON integers stop at 2^63
        return QJsonValue(value.toLongLong());
    case QMetaType::Double:
    case QMetaType::Float: {
        const double number = value.toDouble();
        if (!std::isfinite(number))
            return std::nullopt;
        return QJsonValue(number);
    }
    default: // dates, lists, maps, data, null
        return std::nullopt;
    }
}
} // namespace

QJsonObject sanitize(const QVariantMap &properties)
{
    QJsonObject kept;
    for (auto it = properties.begin(); it != properties.end(); ++it) {
        if (const auto value = sanitizeValue(it.value()))
            kept.insert(it.key(), *value);
    }
    return kept;
}

QByteArray eventLine(const QDateTime &time, const QString &name, const QJsonObject &sanitized)
{
    return OrderedJsonObject()
        .add(QLatin1StringView("t"), double(time.toMSecsSinceEpoch()) / 1000.0)
        .add(QLatin1StringView("n"), name)
        .add(QLatin1StringView("p"), sanitized)
        .finish();
}

std::optional<double> eventTime(const QByteArray &line)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonValue t = document.object().value(QLatin1String("t"));
    if (!t.isDouble())
        return std::nullopt;
    return t.toDouble();
}

QByteArray uploadBody(const Environment &environment, const QList<QByteArray> &events)
{
    // The events go out exactly as stored: each line is already a compact JSON object.
    const QByteArray array = '[' + events.join(',') + ']';
    return OrderedJsonObject()
        .add(QLatin1StringView("app"), QStringLiteral("stashwell"))
        .add(QLatin1StringView("installID"), environment.installID)
        .add(QLatin1StringView("appVersion"), environment.appVersion)
        .add(QLatin1StringView("build"), environment.build)
        .add(QLatin1StringView("os"), environment.os)
        .add(QLatin1StringView("arch"), environment.arch)
        .add(QLatin1StringView("locale"), environment.locale)
        .addRaw(QLatin1StringView("events"), array)
        .finish();
}

} // namespace ImproveEvents

// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Usage statistics: the event lines of "improve-queue.jsonl" and the upload body.
#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QVariantMap>
#include <optional>

namespace ImproveEvents {

// Keeps strings (cut to 256 characters), Bools, integers and finite numbers; drops the rest.
QJsonObject sanitize(const QVariantMap &properties);
// One compact {"t","n","p"} object, without the line feed.
QByteArray eventLine(const QDateTime &time, const QString &name, const QJsonObject &sanitized);
// The event time `t` of a queued line, if it is a JSON object with a numeric `t`.
std::optional<double> eventTime(const QByteArray &line);

// The facts sent with every batch besides the events.
struct Environment {
    QString installID, appVersion, build, os, arch, locale;
};
QByteArray uploadBody(const Environment &environment, const QList<QByteArray> &events);

} // namespace ImproveEvents

// SPDX-License-Identifier: GPL-3.0-or-later
#include "cloud/SyncPayload.h"

#include "app/AppSettings.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>

namespace {

// One field's JSON form. `read` is false when the value is present but of the wrong type.
bool read(const QJsonValue &value, std::optional<QString> &field)
{
    if (value.isString())
        field = value.toString();
    return value.isString();
}

bool read(const QJsonValue &value, std::optional<bool> &field)
{
    if (value.isBool())
        field = value.toBool();
    return value.isBool();
}

bool read(const QJsonValue &value, std::optional<qint64> &field)
{
    const double number = value.toDouble();
    const bool integral = value.isDouble() && std::trunc(number) == number && std::abs(number) < 9.0e15;
    if (integral)
        field = qint64(number);
    return integral;
}

bool read(const QJsonValue &value, std::optional<QStringList> &field)
{
    if (!value.isArray())
        return false;
    QStringList list;
    for (const QJsonValue &element : value.toArray()) {
        if (!element.isString())
            return false;
        list << element.toString();
    }
    field = list;
    return true;
}

QJsonValue toJson(const QString &v) { return v; }
QJsonValue toJson(bool v) { return v; }
QJsonValue toJson(qint64 v) { return v; }
QJsonValue toJson(const QStringList &v) { return QJsonArray::fromStringList(v); }

// Calls `visit(key, field)` for the ten fields, in the table's order.
template <typename Payload, typename Visit> bool forEachField(Payload &p, Visit visit)
{
    return visit("languageCode", p.languageCode) && visit("historyLimit", p.historyLimit)
        && visit("historyRetentionDays", p.historyRetentionDays) && visit("moveToTopOnPaste", p.moveToTopOnPaste)
        && visit("alwaysPlainText", p.alwaysPlainText)
        && visit("restoreClipboardAfterPaste", p.restoreClipboardAfterPaste)
        && visit("clearOnQuit", p.clearOnQuit) && visit("builtInExclusionsEnabled", p.builtInExclusionsEnabled)
        && visit("excludedBundleIDs", p.excludedBundleIDs) && visit("improveDataSharing", p.improveDataSharing);
}

} // namespace

SyncPayload SyncPayload::from(const AppSettings &s)
{
    return {s.languageCode(),     s.historyLimit(),     s.historyRetentionDays(),     s.moveToTopOnPaste(),
            s.alwaysPlainText(),  s.restoreClipboardAfterPaste(), s.clearOnQuit(), s.builtInExclusionsEnabled(),
            s.excludedBundleIDs(), s.improveDataSharing()};
}

void SyncPayload::apply(AppSettings &s) const
{
    // A value this version does not offer (sent by a broken or newer client) is left out, so
    // that a synchronised limit of 0 can never prune the whole history.
    const auto offered = [](const char *key, const QJsonValue &value) {
        return AppSettings::expectedType(QLatin1String(key), value).isEmpty();
    };
    if (!languageCode || offered("languageCode", *languageCode))
        s.setLanguageCode(languageCode);
    if (historyLimit && offered("historyLimit", *historyLimit))
        s.setHistoryLimit(*historyLimit);
    if (historyRetentionDays && offered("historyRetentionDays", *historyRetentionDays))
        s.setHistoryRetentionDays(*historyRetentionDays);
    if (moveToTopOnPaste)
        s.setMoveToTopOnPaste(*moveToTopOnPaste);
    if (alwaysPlainText)
        s.setAlwaysPlainText(*alwaysPlainText);
    if (restoreClipboardAfterPaste)
        s.setRestoreClipboardAfterPaste(*restoreClipboardAfterPaste);
    if (clearOnQuit)
        s.setClearOnQuit(*clearOnQuit);
    if (builtInExclusionsEnabled)
        s.setBuiltInExclusionsEnabled(*builtInExclusionsEnabled);
    if (excludedBundleIDs)
        s.setExcludedBundleIDs(*excludedBundleIDs);
    if (improveDataSharing)
        s.setImproveDataSharing(*improveDataSharing);
}

QString SyncPayload::blob() const
{
    QJsonObject object; // QJsonObject keeps its keys in ascending order
    forEachField(*this, [&](const char *key, const auto &field) {
        if (field)
            object.insert(QLatin1String(key), toJson(*field));
        return true;
    });
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

std::optional<SyncPayload> SyncPayload::decode(const QString &blob)
{
    const QJsonDocument document = QJsonDocument::fromJson(blob.toUtf8());
    if (!document.isObject())
        return std::nullopt;
    const QJsonObject object = document.object();
    SyncPayload payload;
    const bool ok = forEachField(payload, [&](const char *key, auto &field) {
        const QJsonValue value = object.value(QLatin1String(key));
        return value.isUndefined() || value.isNull() || read(value, field); // null counts as absent
    });
    return ok ? std::optional(payload) : std::nullopt;
}

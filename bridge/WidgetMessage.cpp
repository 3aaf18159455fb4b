// SPDX-License-Identifier: GPL-3.0-or-later
#include "bridge/WidgetMessage.h"

#include "common/OrderedJson.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>
#include <concepts>

namespace {

template <class T>
concept WidgetRecord =
    std::same_as<T, WidgetMessage> || std::same_as<T, WidgetEar> || std::same_as<T, WidgetAction>
    || std::same_as<T, WidgetItem> || std::same_as<T, WidgetTab> || std::same_as<T, WidgetSession>
    || std::same_as<T, WidgetPane> || std::same_as<T, WidgetAgentPresentation> || std::same_as<T, WidgetDecl>
    || std::same_as<T, WidgetData> || std::same_as<T, WidgetStatus> || std::same_as<T, WidgetSnapLayout>;

// ---- Encoding: every value becomes compact JSON text; false for a non-finite double.

bool encodeValue(const QString &value, QByteArray &out)
{
    out = OrderedJsonObject::encode(value);
    return true;
}

bool encodeValue(bool value, QByteArray &out)
{
    out = value ? "true" : "false";
    return true;
}

bool encodeValue(qint64 value, QByteArray &out)
{
    out = QByteArray::number(value);
    return true;
}

bool encodeValue(double value, QByteArray &out)
{
    if (!std::isfinite(value))
        return false;
    out = OrderedJsonObject::encode(value);
    return true;
}

bool encodeValue(const QMap<QString, QString> &map, QByteArray &out)
{
    QJsonObject object;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        object.insert(it.key(), it.value());
    out = OrderedJsonObject::encode(object);
    return true;
}

template <class T>
bool encodeValue(const QList<T> &list, QByteArray &out);
template <WidgetRecord R>
bool encodeValue(const R &record, QByteArray &out);

// Writes one record's fields in the order they are visited; absent optionals are left out.
class Writer {
public:
    template <class T>
    void req(const char *key, const T &value)
    {
        QByteArray json;
        if (m_ok && encodeValue(value, json))
            m_object.addRaw(QLatin1StringView(key), json);
        else
            m_ok = false;
    }
    template <class T>
    void opt(const char *key, const std::optional<T> &value)
    {
        if (value)
            req(key, *value);
    }
    bool finish(QByteArray &out) const
    {
        if (m_ok)
            out = m_object.finish();
        return m_ok;
    }

private:
    OrderedJsonObject m_object;
    bool m_ok = true;
};

// ---- Decoding: a present, non-null value of the wrong JSON type gives false.

bool decodeValue(const QJsonValue &json, QString &out)
{
    out = json.toString();
    return json.isString();
}

bool decodeValue(const QJsonValue &json, bool &out)
{
    out = json.toBool();
    return json.isBool();
}

// A whole number that fits a signed 64-bit integer ("1e2" is 100; 1.5 and 2^63 are not integers).
bool decodeValue(const QJsonValue &json, qint64 &out)
{
    out = json.toInteger(0);
    return json.isDouble() && out == json.toInteger(1);
}

// Qt's parser rejects numbers outside the double range, so a decoded double is always finite.
bool decodeValue(const QJsonValue &json, double &out)
{
    out = json.toDouble();
    return json.isDouble();
}

bool decodeValue(const QJsonValue &json, QMap<QString, QString> &out)
{
    if (!json.isObject())
        return false;
    const QJsonObject object = json.toObject();
    for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
        if (!it.value().isString())
            return false;
        out.insert(it.key(), it.value().toString());
    }
    return true;
}

template <class T>
bool decodeValue(const QJsonValue &json, QList<T> &out);
template <WidgetRecord R>
bool decodeValue(const QJsonValue &json, R &out);

// Reads one record's fields; any rule broken anywhere makes the whole record invalid.
class Reader {
public:
    explicit Reader(QJsonObject object) : m_object(std::move(object)) {}

    template <class T>
    void req(const char *key, T &out)
    {
        const QJsonValue json = present(key);
        m_ok = m_ok && !json.isUndefined() && decodeValue(json, out);
    }
    template <class T>
    void opt(const char *key, std::optional<T> &out)
    {
        const QJsonValue json = present(key);
        if (!m_ok || json.isUndefined())
            return;
        T value{};
        m_ok = decodeValue(json, value);
        out = std::move(value);
    }
    bool ok() const { return m_ok; }

private:
    // Missing and null are the same: undefined.
    QJsonValue present(const char *key) const
    {
        const QJsonValue json = m_object.value(QLatin1StringView(key));
        return json.isNull() ? QJsonValue(QJsonValue::Undefined) : json;
    }

    QJsonObject m_object;
    bool m_ok = true;
};

// ---- The records: one field list each, in the declaration order, shared by Writer and Reader.

template <class R, class T>
concept Is = std::same_as<std::remove_const_t<R>, T>;

template <class V, Is<WidgetEar> R>
void fields(V &v, R &r)
{
    v.opt("symbol", r.symbol);
    v.req("text", r.text);
    v.opt("level", r.level);
    v.opt("tint", r.tint);
    v.req("priority", r.priority);
    v.opt("sprite", r.sprite);
    v.opt("meta", r.meta);
}

template <class V, Is<WidgetAction> R>
void fields(V &v, R &r)
{
    v.req("id", r.id);
    v.req("title", r.title);
    v.opt("symbol", r.symbol);
    v.opt("tint", r.tint);
    v.opt("detail", r.detail);
}

template <class V, Is<WidgetItem> R>
void fields(V &v, R &r)
{
    v.req("id", r.id);
    v.opt("title", r.title);
    v.opt("path", r.path);
    v.opt("meta", r.meta);
    v.opt("sub", r.sub);
    v.opt("tint", r.tint);
}

template <class V, Is<WidgetTab> R>
void fields(V &v, R &r)
{
    v.req("title", r.title);
    v.opt("symbol", r.symbol);
    v.opt("icon", r.icon);
    v.req("width", r.width);
    v.req("height", r.height);
}

template <class V, Is<WidgetAgentPresentation> R>
void fields(V &v, R &r)
{
    v.opt("agent", r.agent);
    v.req("activity", r.activity);
    v.opt("sprite", r.sprite);
    v.opt("reason", r.reason);
    v.req("revision", r.revision);
    v.req("sourceEpoch", r.sourceEpoch);
    v.req("observedAt", r.observedAt);
    v.opt("pid", r.pid);
}

template <class V, Is<WidgetPane> R>
void fields(V &v, R &r)
{
    v.req("id", r.id);
    v.req("title", r.title);
    v.opt("frame", r.frame);
    v.opt("tty", r.tty);
    v.opt("agentPresentation", r.agentPresentation);
    v.opt("unread", r.unread);
    v.opt("agentSessionId", r.agentSessionId);
}

template <class V, Is<WidgetSession> R>
void fields(V &v, R &r)
{
    v.req("id", r.id);
    v.req("title", r.title);
    v.opt("subtitle", r.subtitle);
    v.opt("thumb", r.thumb);
    v.opt("state", r.state);
    v.opt("panes", r.panes);
    v.opt("windowId", r.windowId);
    v.opt("bg", r.bg);
}

template <class V, Is<WidgetDecl> R>
void fields(V &v, R &r)
{
    v.req("id", r.id);
    v.req("kind", r.kind);
    v.req("title", r.title);
    v.opt("symbol", r.symbol);
    v.opt("minW", r.minW);
    v.opt("minH", r.minH);
    v.opt("maxW", r.maxW);
    v.opt("maxH", r.maxH);
    v.opt("chart", r.chart);
}

template <class V, Is<WidgetData> R>
void fields(V &v, R &r)
{
    v.opt("value", r.value);
    v.opt("unit", r.unit);
    v.opt("meta", r.meta);
    v.opt("series", r.series);
    v.opt("series2", r.series2);
    v.opt("gauge", r.gauge);
    v.opt("breakdown", r.breakdown);
    v.opt("seriesCap", r.seriesCap);
    v.opt("values", r.values);
    v.opt("valuesSplit", r.valuesSplit);
    v.opt("pressure", r.pressure);
    v.opt("pressureSeries", r.pressureSeries);
    v.opt("seriesLong", r.seriesLong);
    v.opt("series2Long", r.series2Long);
    v.opt("loadSeries", r.loadSeries);
    v.opt("valuesSeries", r.valuesSeries);
    v.opt("procs", r.procs);
    v.opt("procsTotal", r.procsTotal);
    v.opt("procsSumGB", r.procsSumGB);
    v.opt("partsGB", r.partsGB);
    v.opt("facts", r.facts);
}

template <class V, Is<WidgetStatus> R>
void fields(V &v, R &r)
{
    v.opt("sprite", r.sprite);
    v.opt("text", r.text);
}

template <class V, Is<WidgetSnapLayout> R>
void fields(V &v, R &r)
{
    v.req("id", r.id);
    v.req("name", r.name);
    v.req("columns", r.columns);
    v.req("rows", r.rows);
    v.req("zones", r.zones);
}

template <class V, Is<WidgetMessage> R>
void fields(V &v, R &r)
{
    v.req("v", r.v);
    v.req("type", r.type);
    v.req("app", r.app);
    v.opt("name", r.name);
    v.opt("ear", r.ear);
    v.opt("actions", r.actions);
    v.opt("items", r.items);
    v.opt("itemsTitle", r.itemsTitle);
    v.opt("tab", r.tab);
    v.opt("sessions", r.sessions);
    v.opt("actionId", r.actionId);
    v.opt("itemId", r.itemId);
    v.opt("rect", r.rect);
    v.opt("widgets", r.widgets);
    v.opt("widgetId", r.widgetId);
    v.opt("data", r.data);
    v.opt("placedIds", r.placedIds);
    v.opt("text", r.text);
    v.opt("lang", r.lang);
    v.opt("status", r.status);
    v.opt("locked", r.locked);
    v.opt("phase", r.phase);
    v.opt("dragApp", r.dragApp);
    v.opt("dragTitle", r.dragTitle);
    v.opt("zone", r.zone);
    v.opt("snapLayouts", r.snapLayouts);
}

// ---- Containers and records, after the field lists they use.

template <class T>
bool encodeValue(const QList<T> &list, QByteArray &out)
{
    out = "[";
    QByteArray element;
    for (const T &value : list) {
        if (!encodeValue(value, element))
            return false;
        if (out.size() > 1)
            out += ',';
        out += element;
    }
    out += ']';
    return true;
}

template <WidgetRecord R>
bool encodeValue(const R &record, QByteArray &out)
{
    Writer writer;
    fields(writer, record);
    return writer.finish(out);
}

template <class T>
bool decodeValue(const QJsonValue &json, QList<T> &out)
{
    if (!json.isArray())
        return false;
    const QJsonArray array = json.toArray();
    out.reserve(array.size());
    for (const QJsonValue &element : array) {
        T value{};
        if (!decodeValue(element, value))
            return false;
        out.append(std::move(value));
    }
    return true;
}

template <WidgetRecord R>
bool decodeValue(const QJsonValue &json, R &out)
{
    if (!json.isObject())
        return false;
    Reader reader(json.toObject());
    fields(reader, out);
    return reader.ok();
}

} // namespace

std::optional<QByteArray> WidgetMessage::encode() const
{
    QByteArray out;
    if (!encodeValue(*this, out))
        return std::nullopt;
    return out;
}

std::optional<WidgetMessage> WidgetMessage::decode(const QByteArray &json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    WidgetMessage message;
    if (!decodeValue(QJsonValue(document.object()), message))
        return std::nullopt;
    return message;
}

WidgetMessage WidgetMessage::state(const QString &appID, const WidgetAction &action, const QList<WidgetItem> &items,
                                   const QString &itemsTitle)
{
    WidgetMessage message;
    message.v = 1;
    message.type = WidgetMessageType::state;
    message.app = appID;
    message.name = QStringLiteral("Stashwell");
    message.actions = QList<WidgetAction>{action};
    message.items = items;
    message.itemsTitle = itemsTitle;
    message.locked = false;
    return message;
}

WidgetAction WidgetMessage::openPaletteAction(const QString &title, const QString &detail)
{
    WidgetAction action;
    action.id = QStringLiteral("openPalette");
    action.title = title;
    action.symbol = QStringLiteral("doc.on.clipboard");
    action.tint = 0x0A84FF; // 689407
    action.detail = detail;
    return action;
}

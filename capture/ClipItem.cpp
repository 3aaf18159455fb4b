// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/ClipItem.h"

#include "common/Graphemes.h"
#include "common/OrderedJson.h"

#include <QCryptographicHash>
#include <QFileInfo>
#include <QJsonArray>
#include <cmath>

namespace ClipKinds {

QString rawValue(ClipKind kind)
{
    switch (kind) {
    case ClipKind::text: return QStringLiteral("text");
    case ClipKind::image: return QStringLiteral("image");
    case ClipKind::link: return QStringLiteral("link");
    case ClipKind::file: return QStringLiteral("file");
    case ClipKind::color: return QStringLiteral("color");
    }
    Q_UNREACHABLE();
}

std::optional<ClipKind> fromRawValue(const QString &raw)
{
    for (ClipKind kind : all)
        if (rawValue(kind) == raw)
            return kind;
    return std::nullopt;
}

} // namespace ClipKinds

namespace {

QStringList lastPathComponents(const QStringList &paths)
{
    QStringList names;
    names.reserve(paths.size());
    for (const QString &path : paths)
        names << QFileInfo(path).fileName();
    return names;
}

} // namespace

qint64 ClipCapture::byteSize() const
{
    const auto size = [](const std::optional<QByteArray> &data) { return data ? qint64(data->size()) : 0; };
    return (text ? qint64(text->toUtf8().size()) : 0) + size(rtfData) + size(htmlData) + size(imageData);
}

QString ClipCapture::contentHash() const
{
    return ClipItem::hash(kind, text, imageData, fileURLs);
}

QString ClipItem::hash(ClipKind kind, const std::optional<QString> &text, const std::optional<QByteArray> &imageData,
                       const std::optional<QStringList> &fileURLs)
{
    QCryptographicHash digest(QCryptographicHash::Sha256);
    digest.addData(ClipKinds::rawValue(kind).toUtf8());
    if (text)
        digest.addData(text->toUtf8());
    if (imageData)
        digest.addData(*imageData);
    if (fileURLs)
        digest.addData(fileURLs->join(QLatin1Char('\n')).toUtf8());
    return QString::fromLatin1(digest.result().toHex());
}

QString ClipItem::idString() const
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

QString ClipItem::displayTitle() const
{
    switch (kind) {
    case ClipKind::image:
        if (pixelWidth && pixelHeight)
            return QStringLiteral("%1 × %2").arg(*pixelWidth).arg(*pixelHeight);
        return QStringLiteral("Image");
    case ClipKind::file: {
        const QStringList names = lastPathComponents(fileURLs.value_or(QStringList()));
        if (names.isEmpty())
            return QStringLiteral("File");
        if (names.size() == 1)
            return names.first();
        return QStringLiteral("%1 +%2").arg(names.first()).arg(names.size() - 1);
    }
    case ClipKind::text:
    case ClipKind::link:
    case ClipKind::color: {
        const QString trimmed = text.value_or(QString()).trimmed();
        if (trimmed.isEmpty())
            return QStringLiteral("…");
        return Graphemes::left(trimmed, 200);
    }
    }
    Q_UNREACHABLE();
}

QString ClipItem::searchText() const
{
    QStringList parts;
    if (text)
        parts << *text;
    if (colorHex)
        parts << *colorHex;
    if (fileURLs)
        parts << lastPathComponents(*fileURLs).join(QLatin1Char(' '));
    if (sourceAppName)
        parts << *sourceAppName;
    return parts.join(QLatin1Char(' '));
}

void ClipItem::updateSearchKey()
{
    searchKey.folded = SearchKey::fold(searchText());
}

QByteArray SearchKey::fold(const QString &text)
{
    // ASCII, by far the most common, is lower-cased byte by byte; anything else takes Qt's case mapping.
    QByteArray folded(text.size(), Qt::Uninitialized);
    char *out = folded.data();
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u >= 0x80) {
            folded = text.toLower().toUtf8();
            folded.squeeze(); // the encoder reserves three bytes a character
            return folded;
        }
        *out++ = char(u >= 'A' && u <= 'Z' ? u + ('a' - 'A') : u);
    }
    return folded;
}

QByteArray ClipItem::toJson() const
{
    OrderedJsonObject o;
    const auto optional = [&o](QLatin1StringView key, const auto &value) {
        if (value)
            o.add(key, QJsonValue(*value));
    };
    o.add(QLatin1StringView("id"), idString());
    o.add(QLatin1StringView("kind"), ClipKinds::rawValue(kind));
    o.add(QLatin1StringView("createdAt"), createdAt.toUTC().toString(Qt::ISODate));
    optional(QLatin1StringView("sourceAppBundleID"), sourceAppBundleID);
    optional(QLatin1StringView("sourceAppName"), sourceAppName);
    o.add(QLatin1StringView("pinned"), pinned);
    optional(QLatin1StringView("text"), text);
    o.add(QLatin1StringView("hasTextBlob"), hasTextBlob);
    o.add(QLatin1StringView("hasRTF"), hasRTF);
    o.add(QLatin1StringView("hasHTML"), hasHTML);
    o.add(QLatin1StringView("hasImage"), hasImage);
    if (fileURLs)
        o.add(QLatin1StringView("fileURLs"), QJsonArray::fromStringList(*fileURLs));
    optional(QLatin1StringView("colorHex"), colorHex);
    o.add(QLatin1StringView("byteSize"), byteSize);
    optional(QLatin1StringView("charCount"), charCount);
    optional(QLatin1StringView("pixelWidth"), pixelWidth);
    optional(QLatin1StringView("pixelHeight"), pixelHeight);
    o.add(QLatin1StringView("contentHash"), contentHash);
    return o.finish();
}

namespace {

// Strict readers: `ok` turns false when a present value has the wrong type.
struct Reader {
    const QJsonObject &object;
    bool ok = true;

    QJsonValue required(const char *key)
    {
        const QJsonValue v = object.value(QLatin1String(key));
        if (v.isUndefined() || v.isNull())
            ok = false;
        return v;
    }
    QString string(const char *key)
    {
        const QJsonValue v = required(key);
        ok = ok && v.isString();
        return v.toString();
    }
    bool boolean(const char *key)
    {
        const QJsonValue v = required(key);
        ok = ok && v.isBool();
        return v.toBool();
    }
    static bool isInteger(const QJsonValue &v)
    {
        return v.isDouble() && v.toDouble() == std::trunc(v.toDouble());
    }
    qint64 integer(const char *key)
    {
        const QJsonValue v = required(key);
        ok = ok && isInteger(v);
        return v.toInteger();
    }
    std::optional<QString> optString(const char *key)
    {
        const QJsonValue v = object.value(QLatin1String(key));
        if (v.isUndefined() || v.isNull())
            return std::nullopt;
        ok = ok && v.isString();
        return v.toString();
    }
    std::optional<qint64> optInteger(const char *key)
    {
        const QJsonValue v = object.value(QLatin1String(key));
        if (v.isUndefined() || v.isNull())
            return std::nullopt;
        ok = ok && isInteger(v);
        return v.toInteger();
    }
    std::optional<QStringList> optStringList(const char *key)
    {
        const QJsonValue v = object.value(QLatin1String(key));
        if (v.isUndefined() || v.isNull())
            return std::nullopt;
        QStringList list;
        ok = ok && v.isArray();
        for (const QJsonValue &item : v.toArray()) {
            ok = ok && item.isString();
            list << item.toString();
        }
        return list;
    }
};

} // namespace

std::optional<ClipItem> ClipItem::fromJson(const QJsonObject &object)
{
    Reader r{object};
    ClipItem item;
    const QString idText = r.string("id");
    item.id = QUuid::fromString(idText);
    const auto kind = ClipKinds::fromRawValue(r.string("kind"));
    item.createdAt = QDateTime::fromString(r.string("createdAt"), Qt::ISODate);
    item.sourceAppBundleID = r.optString("sourceAppBundleID");
    item.sourceAppName = r.optString("sourceAppName");
    item.pinned = r.boolean("pinned");
    item.text = r.optString("text");
    item.hasTextBlob = r.boolean("hasTextBlob");
    item.hasRTF = r.boolean("hasRTF");
    item.hasHTML = r.boolean("hasHTML");
    item.hasImage = r.boolean("hasImage");
    item.fileURLs = r.optStringList("fileURLs");
    item.colorHex = r.optString("colorHex");
    item.byteSize = r.integer("byteSize");
    item.charCount = r.optInteger("charCount");
    item.pixelWidth = r.optInteger("pixelWidth");
    item.pixelHeight = r.optInteger("pixelHeight");
    item.contentHash = r.string("contentHash");
    if (!r.ok || !kind || item.id.isNull() || !item.createdAt.isValid())
        return std::nullopt;
    item.kind = *kind;
    item.updateSearchKey();
    return item;
}

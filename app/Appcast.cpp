// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/Appcast.h"

#include "app/VersionComparator.h"

#include <QXmlStreamReader>

namespace {

const QString sparkleNS = QString::fromLatin1(Appcast::sparkleNamespace);

bool isSparkle(const QXmlStreamReader &xml, QLatin1String name)
{
    return xml.namespaceUri() == sparkleNS && xml.name() == name;
}

bool isPlain(const QXmlStreamReader &xml, QLatin1String name)
{
    return xml.namespaceUri().isEmpty() && xml.name() == name;
}

QUrl webURL(const QString &text)
{
    const QUrl url(text.trimmed(), QUrl::StrictMode);
    return Appcast::isWebURL(url) ? url : QUrl();
}

void readEnclosure(const QXmlStreamReader &xml, AppcastItem &item)
{
    const QXmlStreamAttributes attributes = xml.attributes();
    item.downloadURL = webURL(attributes.value(QStringLiteral("url")).toString());
    const auto sparkle = [&](const char *name) { return attributes.value(sparkleNS, QLatin1String(name)).toString().trimmed(); };
    if (item.version.isEmpty())
        item.version = sparkle("version");
    if (item.displayVersion.isEmpty())
        item.displayVersion = sparkle("shortVersionString");
    item.os = sparkle("os").toLower();
}

// One <item>; the reader is on its start element and ends on its end element.
AppcastItem readItem(QXmlStreamReader &xml)
{
    AppcastItem item;
    while (xml.readNextStartElement()) {
        if (isPlain(xml, QLatin1String("title")))
            item.title = xml.readElementText(QXmlStreamReader::IncludeChildElements).trimmed();
        else if (isPlain(xml, QLatin1String("link")))
            item.infoURL = webURL(xml.readElementText(QXmlStreamReader::IncludeChildElements));
        else if (isPlain(xml, QLatin1String("description")))
            item.descriptionHTML = xml.readElementText(QXmlStreamReader::IncludeChildElements).trimmed();
        else if (isPlain(xml, QLatin1String("pubDate")))
            item.date = QDateTime::fromString(xml.readElementText().trimmed(), Qt::RFC2822Date);
        else if (isPlain(xml, QLatin1String("enclosure"))) {
            readEnclosure(xml, item);
            xml.skipCurrentElement();
        } else if (isSparkle(xml, QLatin1String("version")))
            item.version = xml.readElementText().trimmed();
        else if (isSparkle(xml, QLatin1String("shortVersionString")))
            item.displayVersion = xml.readElementText().trimmed();
        else if (isSparkle(xml, QLatin1String("releaseNotesLink")))
            item.releaseNotesURL = webURL(xml.readElementText());
        else if (isSparkle(xml, QLatin1String("channel")))
            item.channel = xml.readElementText().trimmed();
        else if (isSparkle(xml, QLatin1String("criticalUpdate"))) {
            item.critical = true;
            xml.skipCurrentElement();
        } else
            xml.skipCurrentElement();
    }
    if (item.displayVersion.isEmpty())
        item.displayVersion = item.version;
    return item;
}

} // namespace

QUrl AppcastItem::pageURL() const
{
    if (downloadURL.isValid())
        return downloadURL;
    return infoURL.isValid() ? infoURL : releaseNotesURL;
}

namespace Appcast {

bool isWebURL(const QUrl &url)
{
    return url.isValid() && !url.host().isEmpty()
        && (url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http"));
}

Parsed parse(const QByteArray &bytes)
{
    QXmlStreamReader xml(bytes);
    if (!xml.readNextStartElement() || !isPlain(xml, QLatin1String("rss")))
        return {std::nullopt, xml.hasError() ? xml.errorString() : QStringLiteral("not an RSS document")};
    QList<AppcastItem> items;
    bool sawChannel = false;
    while (xml.readNextStartElement()) {
        if (!isPlain(xml, QLatin1String("channel"))) {
            xml.skipCurrentElement();
            continue;
        }
        sawChannel = true;
        while (xml.readNextStartElement()) {
            if (!isPlain(xml, QLatin1String("item"))) {
                xml.skipCurrentElement();
                continue;
            }
            AppcastItem item = readItem(xml);
            if (!item.version.isEmpty())
                items.append(item);
        }
    }
    if (xml.hasError())
        return {std::nullopt, xml.errorString()};
    if (!sawChannel)
        return {std::nullopt, QStringLiteral("no channel")};
    return {items, {}};
}

bool isApplicable(const AppcastItem &item)
{
    const bool forThisSystem = item.os.isEmpty() || item.os == QLatin1String("linux");
    return forThisSystem && item.channel.isEmpty() && item.pageURL().isValid();
}

std::optional<AppcastItem> bestUpdate(const QList<AppcastItem> &items, const QString &hostVersion,
                                      const QString &skippedVersion)
{
    std::optional<AppcastItem> best;
    for (const AppcastItem &item : items)
        if (isApplicable(item) && (!best || VersionComparator::compare(item.version, best->version) > 0))
            best = item;
    if (!best || VersionComparator::compare(best->version, hostVersion) <= 0)
        return std::nullopt;
    if (!skippedVersion.isEmpty() && VersionComparator::compare(best->version, skippedVersion) <= 0)
        return std::nullopt;
    return best;
}

} // namespace Appcast

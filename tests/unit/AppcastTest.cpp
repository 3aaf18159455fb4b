// Part 2.6: reading a Sparkle appcast and Sparkle's version comparison.
#include "app/Appcast.h"
#include "app/VersionComparator.h"

#include <QtTest>

namespace {

QByteArray feed(const QByteArray &items)
{
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<rss version=\"2.0\" xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\""
           " xmlns:dc=\"http://purl.org/dc/elements/1.1/\">\n"
           "<channel><title>Stashwell</title><link>https://norvane.example/</link>\n"
        + items + "</channel></rss>\n";
}

const QByteArray twoReleases = feed(
    "<item><title>Version 1.2</title>"
    "<pubDate>Tue, 03 Mar 2026 10:00:00 +0000</pubDate>"
    "<sparkle:version>12</sparkle:version><sparkle:shortVersionString>1.2</sparkle:shortVersionString>"
    "<sparkle:releaseNotesLink>https://norvane.example/notes/1.2.html</sparkle:releaseNotesLink>"
    "<description><![CDATA[<h2>New</h2><ul><li>Faster search</li></ul>]]></description>"
    "<enclosure url=\"https://norvane.example/stashwell-1.2.tar.gz\" length=\"123\" type=\"application/octet-stream\"/>"
    "</item>"
    "<item><title>Version 1.1</title>"
    "<enclosure url=\"https://norvane.example/stashwell-1.1.tar.gz\" sparkle:version=\"11\""
    " sparkle:shortVersionString=\"1.1\" length=\"100\"/></item>");

} // namespace

class AppcastTest : public QObject {
    Q_OBJECT
private slots:
    void versionOrder_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<int>("expected");
        QTest::newRow("equal") << "1.0" << "1.0" << 0;
        QTest::newRow("numeric not lexical") << "1.10" << "1.9" << 1;
        QTest::newRow("longer numeric is newer") << "1.0.1" << "1.0" << 1;
        QTest::newRow("release beats beta") << "1.0" << "1.0b1" << 1;
        QTest::newRow("beta order") << "1.0b2" << "1.0b10" << -1;
        QTest::newRow("alpha before beta") << "1.0a3" << "1.0b1" << -1;
        QTest::newRow("build numbers") << "12" << "9" << 1;
        QTest::newRow("leading zeros") << "1.007" << "1.7" << 0;
        QTest::newRow("huge numbers") << "1.99999999999999999999" << "1.99999999999999999998" << 1;
        QTest::newRow("number beats letter") << "1.0.1" << "1.0a" << 1;
        QTest::newRow("empty is oldest") << "" << "0" << -1;
        QTest::newRow("spaces separate") << "1 2" << "1.2" << 0;
    }
    void versionOrder()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(int, expected);
        QCOMPARE(VersionComparator::compare(a, b), expected);
        QCOMPARE(VersionComparator::compare(b, a), -expected);
    }

    void readsItemsWithElementsAndEnclosureAttributes()
    {
        const Appcast::Parsed parsed = Appcast::parse(twoReleases);
        QVERIFY2(parsed.items, qPrintable(parsed.error));
        QCOMPARE(parsed.items->size(), 2);
        const AppcastItem &newest = parsed.items->at(0);
        QCOMPARE(newest.title, QStringLiteral("Version 1.2"));
        QCOMPARE(newest.version, QStringLiteral("12"));
        QCOMPARE(newest.displayVersion, QStringLiteral("1.2"));
        QCOMPARE(newest.releaseNotesURL, QUrl("https://norvane.example/notes/1.2.html"));
        QCOMPARE(newest.downloadURL, QUrl("https://norvane.example/stashwell-1.2.tar.gz"));
        QCOMPARE(newest.descriptionHTML, QStringLiteral("<h2>New</h2><ul><li>Faster search</li></ul>"));
        QCOMPARE(newest.date, QDateTime(QDate(2026, 3, 3), QTime(10, 0), Qt::UTC));
        const AppcastItem &older = parsed.items->at(1);
        QCOMPARE(older.version, QStringLiteral("11"));
        QCOMPARE(older.displayVersion, QStringLiteral("1.1"));
    }

    void malformedFeedsAreErrors_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("garbage") << QByteArray("\x89PNG\r\n\x1a\n garbage", 18);
        QTest::newRow("html") << QByteArray("<html><body>Not found</body></html>");
        QTest::newRow("truncated") << twoReleases.left(twoReleases.size() / 2);
        QTest::newRow("undeclared prefix") << QByteArray("<rss><channel><item><sparkle:version>2</sparkle:version></item></channel></rss>");
        QTest::newRow("no channel") << QByteArray("<rss version=\"2.0\"></rss>");
        QTest::newRow("json") << QByteArray("{\"version\": 2}");
        QTest::newRow("entity bomb") << QByteArray(
            "<?xml version=\"1.0\"?><!DOCTYPE r [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\">"
            "<!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\"><!ENTITY d \"&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;\">"
            "<!ENTITY e \"&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;\"><!ENTITY f \"&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;\">]>"
            "<rss><channel><title>&f;</title></channel></rss>");
    }
    void malformedFeedsAreErrors()
    {
        QFETCH(QByteArray, bytes);
        const Appcast::Parsed parsed = Appcast::parse(bytes);
        QVERIFY(!parsed.items);
        QVERIFY(!parsed.error.isEmpty());
    }

    void itemsWithoutVersionAreLeftOutAndAnEmptyChannelIsNoError()
    {
        const Appcast::Parsed parsed = Appcast::parse(feed("<item><title>No version</title>"
                                                           "<enclosure url=\"https://x.example/a\"/></item>"));
        QVERIFY(parsed.items);
        QVERIFY(parsed.items->isEmpty());
        QVERIFY(Appcast::parse(feed("")).items);
    }

    void unsafeLinksAreDropped()
    {
        const Appcast::Parsed parsed = Appcast::parse(
            feed("<item><sparkle:version>99</sparkle:version>"
                 "<sparkle:releaseNotesLink>javascript:alert(1)</sparkle:releaseNotesLink>"
                 "<link>file:///etc/passwd</link><enclosure url=\"ftp://x.example/a\"/></item>"));
        QVERIFY(parsed.items);
        const AppcastItem &item = parsed.items->at(0);
        QVERIFY(!item.releaseNotesURL.isValid());
        QVERIFY(!item.infoURL.isValid());
        QVERIFY(!item.downloadURL.isValid());
        QVERIFY(!Appcast::isApplicable(item)); // nowhere to send the user
        QCOMPARE(Appcast::bestUpdate(*parsed.items, QStringLiteral("1")), std::nullopt);
    }

    void bestUpdateIsTheHighestApplicableNewerVersion()
    {
        const auto items = *Appcast::parse(twoReleases).items;
        QCOMPARE(Appcast::bestUpdate(items, QStringLiteral("1"))->version, QStringLiteral("12"));
        QCOMPARE(Appcast::bestUpdate(items, QStringLiteral("11"))->version, QStringLiteral("12"));
        QCOMPARE(Appcast::bestUpdate(items, QStringLiteral("12")), std::nullopt);
        QCOMPARE(Appcast::bestUpdate(items, QStringLiteral("13")), std::nullopt);
        // Order in the feed does not matter.
        QCOMPARE(Appcast::bestUpdate({items[1], items[0]}, QStringLiteral("1"))->version, QStringLiteral("12"));
    }

    void skippedVersionIsNotOfferedAgain()
    {
        const auto items = *Appcast::parse(twoReleases).items;
        QCOMPARE(Appcast::bestUpdate(items, QStringLiteral("1"), QStringLiteral("12")), std::nullopt);
        QCOMPARE(Appcast::bestUpdate(items, QStringLiteral("1"), QStringLiteral("11"))->version, QStringLiteral("12"));
    }

    void otherSystemsAndChannelsAreIgnored()
    {
        const auto items = *Appcast::parse(
                                feed("<item><sparkle:version>30</sparkle:version>"
                                     "<enclosure url=\"https://x.example/mac.dmg\" sparkle:os=\"macos\"/></item>"
                                     "<item><sparkle:version>20</sparkle:version><sparkle:channel>beta</sparkle:channel>"
                                     "<enclosure url=\"https://x.example/beta.tar.gz\"/></item>"
                                     "<item><sparkle:version>15</sparkle:version>"
                                     "<enclosure url=\"https://x.example/linux.tar.gz\" sparkle:os=\"linux\"/></item>"
                                     "<item><sparkle:version>14</sparkle:version><link>https://x.example/info</link></item>"))
                                .items;
        QCOMPARE(items.size(), 4);
        const auto best = Appcast::bestUpdate(items, QStringLiteral("1"));
        QCOMPARE(best->version, QStringLiteral("15"));
        QCOMPARE(best->pageURL(), QUrl("https://x.example/linux.tar.gz"));
        QCOMPARE(items[3].pageURL(), QUrl("https://x.example/info")); // informational: no enclosure
    }
};

QTEST_GUILESS_MAIN(AppcastTest)
#include "AppcastTest.moc"

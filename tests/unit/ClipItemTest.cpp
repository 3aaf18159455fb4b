// Part 1.1 edge cases: hashes, titles, search text, JSON coding.
#include "capture/ClipItem.h"

#include <QJsonDocument>
#include <QtTest>

class ClipItemTest : public QObject {
    Q_OBJECT

    static ClipItem item(ClipKind kind)
    {
        ClipItem i;
        i.id = QUuid::createUuid();
        i.kind = kind;
        i.createdAt = QDateTime(QDate(2025, 3, 1), QTime(9, 30), Qt::UTC);
        i.contentHash = QString(64, QLatin1Char('a'));
        return i;
    }
    static QJsonObject object(const ClipItem &i) { return QJsonDocument::fromJson(i.toJson()).object(); }

private slots:
    void kindIsHashedFirst()
    {
        QVERIFY(ClipItem::hash(ClipKind::text, QStringLiteral("abc"), {}, {})
                != ClipItem::hash(ClipKind::link, QStringLiteral("abc"), {}, {}));
    }

    void hashIsSha256OfTheParts()
    {
        // sha256("textabc"): no separator between the kind and the text.
        QCOMPARE(ClipItem::hash(ClipKind::text, QStringLiteral("abc"), {}, {}),
                 QString::fromLatin1(QCryptographicHash::hash("textabc", QCryptographicHash::Sha256).toHex()));
        const QString files = ClipItem::hash(ClipKind::file, {}, {}, QStringList{"/a", "/b"});
        QCOMPARE(files, QString::fromLatin1(QCryptographicHash::hash("file/a\n/b", QCryptographicHash::Sha256).toHex()));
        QCOMPARE(files.size(), 64);
    }

    void sameFilesSameHashReorderedDiffers()
    {
        const QStringList files{"/home/u/a.txt", "/home/u/b.txt"};
        QCOMPARE(ClipItem::hash(ClipKind::file, {}, {}, files), ClipItem::hash(ClipKind::file, {}, {}, files));
        QVERIFY(ClipItem::hash(ClipKind::file, {}, {}, files)
                != ClipItem::hash(ClipKind::file, {}, {}, QStringList{files[1], files[0]}));
    }

    void formattingAndSourceDoNotChangeTheHash()
    {
        ClipCapture plain;
        plain.text = QStringLiteral("hello");
        ClipCapture rich = plain;
        rich.rtfData = QByteArray("{\\rtf1 hello}");
        rich.htmlData = QByteArray("<b>hello</b>");
        rich.sourceAppBundleID = QStringLiteral("org.kde.kate");
        QCOMPARE(plain.contentHash(), rich.contentHash());
    }

    void byteSizeCountsTextAndPayloads()
    {
        ClipCapture c;
        c.text = QStringLiteral("é"); // 2 UTF-8 bytes
        c.rtfData = QByteArray(3, 'r');
        c.htmlData = QByteArray(4, 'h');
        c.fileURLs = QStringList{"/not/counted"};
        c.colorHex = QStringLiteral("#FFFFFF");
        QCOMPARE(c.byteSize(), 9);
    }

    void imageTitles()
    {
        ClipItem i = item(ClipKind::image);
        i.pixelWidth = 4000;
        i.pixelHeight = 3000;
        QCOMPARE(i.displayTitle(), QStringLiteral("4000 × 3000"));
        i.pixelHeight.reset();
        QCOMPARE(i.displayTitle(), QStringLiteral("Image"));
    }

    void textTitles()
    {
        ClipItem i = item(ClipKind::text);
        i.text = QStringLiteral("  \n \n  ");
        QCOMPARE(i.displayTitle(), QStringLiteral("…"));
        i.text.reset();
        QCOMPARE(i.displayTitle(), QStringLiteral("…"));
        const QString body = QString(150, QLatin1Char('x')) + QString(100, QLatin1Char('y'));
        i.text = QStringLiteral("\n   ") + body;
        QCOMPARE(i.displayTitle(), body.left(200));
        // Characters are grapheme clusters: a flag counts as one.
        i.text = QString(199, QLatin1Char('a')) + QStringLiteral("🇩🇪🇫🇷");
        QCOMPARE(i.displayTitle(), QString(199, QLatin1Char('a')) + QStringLiteral("🇩🇪"));
    }

    void fileTitles()
    {
        ClipItem i = item(ClipKind::file);
        QCOMPARE(i.displayTitle(), QStringLiteral("File"));
        i.fileURLs = QStringList{"/home/u/report.pdf"};
        QCOMPARE(i.displayTitle(), QStringLiteral("report.pdf"));
        i.fileURLs = QStringList{"/home/u/report.pdf", "/a/b.png", "/c/d", "/e/f.txt"};
        QCOMPARE(i.displayTitle(), QStringLiteral("report.pdf +3"));
    }

    void searchTextJoinsThePresentParts()
    {
        ClipItem i = item(ClipKind::file);
        i.text = QStringLiteral("/x/a.txt\n/y/b.txt");
        i.fileURLs = QStringList{"/x/a.txt", "/y/b.txt"};
        i.sourceAppName = QStringLiteral("Files");
        QCOMPARE(i.searchText(), QStringLiteral("/x/a.txt\n/y/b.txt a.txt b.txt Files"));
        ClipItem c = item(ClipKind::color);
        c.text = QStringLiteral("#fff");
        c.colorHex = QStringLiteral("#FFFFFF");
        QCOMPARE(c.searchText(), QStringLiteral("#fff #FFFFFF"));
        ClipItem empty = item(ClipKind::file);
        empty.fileURLs = QStringList();
        QCOMPARE(empty.searchText(), QString()); // present even when empty
    }

    void jsonKeepsFieldOrderAndLeavesOutAbsentFields()
    {
        ClipItem i = item(ClipKind::text);
        i.text = QStringLiteral("a \"quoted\" line\n");
        i.charCount = 17;
        i.byteSize = 17;
        const QByteArray json = i.toJson();
        QVERIFY(json.startsWith("{\"id\":\"" + i.idString().toLatin1() + "\",\"kind\":\"text\","
                                "\"createdAt\":\"2025-03-01T09:30:00Z\",\"pinned\":false,"));
        QVERIFY(json.endsWith("\"byteSize\":17,\"charCount\":17,\"contentHash\":\"" + QByteArray(64, 'a') + "\"}"));
        QVERIFY(!json.contains("sourceAppName"));
        QVERIFY(!json.contains("pixelWidth"));
        QVERIFY(!json.contains(' ') || json.contains("a \\\"quoted\\\" line")); // compact
        QCOMPARE(i.idString(), i.idString().toUpper());
        QCOMPARE(ClipItem::fromJson(object(i)), i);
    }

    void requiredFieldsMustBePresent()
    {
        ClipItem i = item(ClipKind::image);
        i.pixelWidth = 10;
        i.pixelHeight = 20;
        for (const char *key : {"contentHash", "byteSize", "id", "kind", "createdAt", "pinned", "hasImage"}) {
            QJsonObject o = object(i);
            o.remove(QLatin1String(key));
            QVERIFY2(!ClipItem::fromJson(o), key);
        }
        QJsonObject o = object(i);
        o.remove(QStringLiteral("pixelWidth"));
        const auto decoded = ClipItem::fromJson(o);
        QVERIFY(decoded);
        QVERIFY(!decoded->pixelWidth);
        QCOMPARE(decoded->pixelHeight, 20);
    }

    void wrongTypesAndUnknownKindFail()
    {
        const ClipItem i = item(ClipKind::text);
        QJsonObject o = object(i);
        o.insert(QStringLiteral("kind"), QStringLiteral("video"));
        QVERIFY(!ClipItem::fromJson(o));
        o = object(i);
        o.insert(QStringLiteral("byteSize"), QStringLiteral("12"));
        QVERIFY(!ClipItem::fromJson(o));
        o = object(i);
        o.insert(QStringLiteral("text"), 5);
        QVERIFY(!ClipItem::fromJson(o));
        o = object(i);
        o.insert(QStringLiteral("unknownKey"), 5); // ignored
        QVERIFY(ClipItem::fromJson(o));
    }

    void equalityComparesEveryField()
    {
        ClipItem a = item(ClipKind::text);
        ClipItem b = a;
        QCOMPARE(a, b);
        b.pinned = true;
        QVERIFY(!(a == b));
    }
};

QTEST_GUILESS_MAIN(ClipItemTest)
#include "ClipItemTest.moc"

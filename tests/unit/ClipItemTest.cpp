// SPDX-License-Identifier: GPL-3.0-or-later
// A history entry: its content hash, size, title, search text and JSON form.
#include "capture/ClipItem.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>

class ClipItemTest : public QObject {
    Q_OBJECT

    static QJsonObject object(const ClipItem &i) { return QJsonDocument::fromJson(i.toJson()).object(); }

private slots:
    void hashAndSizeCoverTheContentButNotFormattingOrSource()
    {
        ClipCapture c;
        c.text = QStringLiteral("hé");
        const QString plainHash = c.contentHash();
        c.rtfData = QByteArray(3, 'r');
        c.htmlData = QByteArray(4, 'h');
        c.sourceAppBundleID = QStringLiteral("org.kde.kate");
        QCOMPARE(c.contentHash(), plainHash);
        c.imageData = QByteArray("png");
        c.fileURLs = QStringList{"/a", "/b"};
        const QByteArray sha256 = QCryptographicHash::hash("texthépng/a\n/b", QCryptographicHash::Sha256).toHex();
        QCOMPARE(c.contentHash(), QString::fromLatin1(sha256));
        QCOMPARE(c.byteSize(), 3 + 3 + 4 + 3); // file paths do not count
    }

    void displayAndSearchTextsFitEachKind()
    {
        ClipItem i;
        i.kind = ClipKind::image;
        i.pixelWidth = 4000;
        QCOMPARE(i.displayTitle(), QStringLiteral("Image"));
        i.pixelHeight = 3000;
        QCOMPARE(i.displayTitle(), QStringLiteral("4000 × 3000"));
        i.kind = ClipKind::text;
        i.text = QStringLiteral("  \n \n  ");
        QCOMPARE(i.displayTitle(), QStringLiteral("…"));
        i.text = "\n  " + QString(199, 'a') + QStringLiteral("🇩🇪🇫🇷"); // a flag is one character
        QCOMPARE(i.displayTitle(), QString(199, 'a') + QStringLiteral("🇩🇪"));
        i.kind = ClipKind::file;
        i.fileURLs = QStringList{"/home/u/report.pdf"};
        QCOMPARE(i.displayTitle(), QStringLiteral("report.pdf"));
        i.fileURLs = QStringList{"/home/u/report.pdf", "/a/b.png", "/c/d", "/e/f.txt"};
        QCOMPARE(i.displayTitle(), QStringLiteral("report.pdf +3"));
        i.sourceAppName = QStringLiteral("Files");
        i.colorHex = QStringLiteral("#FFFFFF");
        QCOMPARE(i.searchText(), i.text.value() + " #FFFFFF report.pdf b.png d f.txt Files");
    }

    void jsonKeepsFieldOrderLeavesOutAbsentFieldsAndRoundTrips()
    {
        ClipItem i;
        i.id = QUuid::createUuid();
        i.createdAt = QDateTime(QDate(2025, 3, 1), QTime(9, 30), Qt::UTC);
        i.text = QStringLiteral("a \"quoted\" line\n");
        i.byteSize = 17;
        const QByteArray json = i.toJson();
        QCOMPARE(json, "{\"id\":\"" + i.id.toString(QUuid::WithoutBraces).toUpper().toLatin1()
                     + "\",\"kind\":\"text\",\"createdAt\":\"2025-03-01T09:30:00Z\",\"pinned\":false,"
                       "\"text\":\"a \\\"quoted\\\" line\\n\",\"hasTextBlob\":false,\"hasRTF\":false,\"hasHTML\":false,"
                       "\"hasImage\":false,\"byteSize\":17,\"contentHash\":\"\"}");
        QCOMPARE(ClipItem::fromJson(object(i)), i);
        i.kind = ClipKind::file;
        i.fileURLs = QStringList{"/a", "/b"};
        i.sourceAppBundleID = i.sourceAppName = i.colorHex = QStringLiteral("x");
        i.charCount = i.pixelWidth = i.pixelHeight = 2;
        i.pinned = i.hasTextBlob = i.hasRTF = i.hasHTML = i.hasImage = true;
        QCOMPARE(ClipItem::fromJson(object(i)), i);
    }

    void decodingRejectsMissingOrMistypedFields()
    {
        ClipItem i;
        i.id = QUuid::createUuid();
        i.createdAt = QDateTime::currentDateTimeUtc();
        const QList<std::pair<const char *, QJsonValue>> broken{
            {"contentHash", {}}, {"byteSize", {}}, {"id", {}},        {"kind", {}},       {"createdAt", {}},
            {"pinned", {}},      {"hasImage", {}}, {"kind", "video"}, {"byteSize", "12"}, {"byteSize", 1.5},
            {"text", 5},         {"id", "nope"},   {"createdAt", "x"}, {"pinned", 1},     {"fileURLs", QJsonArray{1}}};
        for (const auto &[key, value] : broken) {
            QJsonObject o = object(i);
            if (value.isNull())
                o.remove(QLatin1String(key));
            else
                o.insert(QLatin1String(key), value);
            QVERIFY2(!ClipItem::fromJson(o), key);
        }
    }
};

QTEST_GUILESS_MAIN(ClipItemTest)
#include "ClipItemTest.moc"

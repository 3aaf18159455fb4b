// SPDX-License-Identifier: GPL-3.0-or-later
// End to end: the real `stashwell` under Xvfb + openbox records what real X11 clients copy.
#include "e2e/XSession.h"
#include "fakes/TestFiles.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonDocument>
#include <QtTest>

class CaptureE2ETest : public QObject {
    Q_OBJECT
    std::unique_ptr<XSession> x;
    const QFile::Permissions groupAndOthers = QFile::Permissions(0x0077);

    bool skipped(qsizetype count) { return x->stashwellStderr().count("capture.skipped") == count; } // since the start

private slots:
    void initTestCase()
    {
        x = std::make_unique<XSession>();
        QVERIFY2(x->isUp(), "Xvfb and openbox did not start");
        QVERIFY(x->startStashwell());
    }
    void cleanupTestCase() { x.reset(); }

    void startsAsATrayAgentWithoutWindows()
    {
        QVERIFY(x->waitFor([&] { return !x->stashwellTrayIcon().isEmpty(); }));
        QVERIFY(!x->stashwellHasVisiblePopup());
        QCOMPARE(QFileInfo(x->historyDir()).permissions() & groupAndOthers, 0);
    }

    void plainTextTwiceIsOneEntry()
    {
        QVERIFY(x->recordCopy(QStringLiteral("hello from xclip")));
        QVERIFY(x->recordCopy(QStringLiteral("in between")));
        QVERIFY(x->recordCopy(QStringLiteral("hello from xclip")));
        const QJsonArray items = x->history();
        QCOMPARE(items.size(), 2); // moved to the top, not added again
        QCOMPARE(items[0]["kind"].toString(), QStringLiteral("text"));
        QCOMPARE(items[0]["charCount"].toInt(), 16);
        QCOMPARE(QFileInfo(x->historyDir() + "/history.json").permissions() & groupAndOthers, 0);
    }

    void htmlKeepsItsFormatting()
    {
        x->copyTypes({{"text/plain;charset=utf-8", "Bold move"}, {"text/html", "<b>Bold</b> move"}});
        const QJsonObject item = x->newestWith("text", "Bold move");
        QCOMPARE(item["hasHTML"].toBool(), true);
        const QString html = x->historyDir() + "/blobs/" + item["id"].toString() + ".html";
        QCOMPARE(readFile(html), QByteArray("<b>Bold</b> move"));
        QCOMPARE(QFileInfo(html).permissions() & groupAndOthers, 0);
    }

    void pngImageGetsBlobAndThumbnail()
    {
        QImage image(1600, 900, QImage::Format_RGB32);
        image.fill(QColor(30, 120, 200));
        QByteArray png;
        QBuffer buffer(&png);
        QVERIFY(buffer.open(QIODevice::WriteOnly) && image.save(&buffer, "PNG"));
        x->xclipCopy(png, QStringLiteral("image/png"));
        const QJsonObject item = x->newestWith("kind", "image");
        QCOMPARE(item["pixelWidth"].toInt(), 1600);
        QCOMPARE(item["pixelHeight"].toInt(), 900);
        QCOMPARE(item["hasImage"].toBool(), true);
        QCOMPARE(readFile(x->historyDir() + "/blobs/" + item["id"].toString() + ".png"), png); // kept as it was copied
        const QImage thumb(QStringLiteral("%1/thumbs/%2.png").arg(x->historyDir(), item["id"].toString()));
        QCOMPARE(thumb.size(), QSize(320, 180));
    }

    void fileListBecomesAFileEntry()
    {
        x->xclipCopy("file:///home/user/Report%202026.pdf\r\nfile:///home/user/photo.png\r\n",
                     QStringLiteral("text/uri-list"));
        const QJsonObject item = x->newestWith("kind", "file");
        QCOMPARE(item["fileURLs"].toArray(), QJsonArray({"/home/user/Report 2026.pdf", "/home/user/photo.png"}));
        QCOMPARE(item["text"].toString(), QStringLiteral("/home/user/Report 2026.pdf\n/home/user/photo.png"));
    }

    void colourAndLink()
    {
        x->xclipCopy("#fff");
        const QJsonObject colour = x->newestWith("text", "#fff");
        QCOMPARE(colour["kind"].toString(), QStringLiteral("color"));
        QCOMPARE(colour["colorHex"].toString(), QStringLiteral("#FFFFFF"));
        x->xclipCopy(" https://example.com ");
        QCOMPARE(x->newestWith("text", "https://example.com")["kind"].toString(), QStringLiteral("link"));
    }

    void passwordManagerSecretsAreNeverRecorded()
    {
        x->copyTypes({{"text/plain;charset=utf-8", "hunter2-secret"}, {"x-kde-passwordManagerHint", "secret"}});
        QVERIFY(x->waitFor([&] { return skipped(1); }));
        x->copyTypes({{"text/plain;charset=utf-8", "concealed-secret"}, {"org.nspasteboard.ConcealedType", ""}});
        QVERIFY(x->waitFor([&] { return skipped(2); }));
        QVERIFY(x->recordCopy(QStringLiteral("after the secrets")));
        const QByteArray stored = x->everythingStored();
        QVERIFY(!stored.contains("hunter2-secret"));
        QVERIFY(!stored.contains("concealed-secret"));
    }

    void termSignalSavesAtOnce()
    {
        x->xclipCopy("copied just before quitting");
        // Listed as soon as it is recorded; saving it waits 0.5 s for more changes.
        QVERIFY(x->waitFor([&] {
            return x->runStashwellCommand({"list"}).out.startsWith("1\tcopied just before quitting\n");
        }));
        QCOMPARE(x->stopStashwell(), 0);
        QCOMPARE(x->texts().value(0), QStringLiteral("copied just before quitting"));
    }

    void clearOnQuitKeepsOnlyPinnedEntries()
    {
        QJsonArray items = x->history();
        QVERIFY(items.size() >= 3);
        QJsonObject pinned = items[1].toObject();
        pinned["pinned"] = true;
        items[1] = pinned;
        const auto unpinnedBlobs = [&] {
            QStringList names = QDir(x->historyDir() + "/blobs").entryList(QDir::Files);
            names.removeIf([&](const QString &name) { return name.startsWith(pinned["id"].toString()); });
            return names;
        };
        QVERIFY(!unpinnedBlobs().isEmpty());
        x->writeFile(x->historyDir() + "/history.json", QJsonDocument(items).toJson(QJsonDocument::Compact));
        x->setDefaults({{"clearOnQuit", true}});

        QVERIFY(x->startStashwell());
        QCOMPARE(x->stopStashwell(), 0);
        const QJsonArray left = x->history();
        QCOMPARE(left.size(), 1);
        QCOMPARE(left[0]["id"], pinned["id"]);
        QCOMPARE(unpinnedBlobs(), QStringList());
        x->setDefaults({{"clearOnQuit", false}});
    }

    void brokenHistoryIsKeptAsideAndRecordingGoesOn()
    {
        x->writeFile(x->historyDir() + "/history.json", "[{\"id\": truncated");
        QVERIFY(x->startStashwell());
        QCOMPARE(QDir(x->historyDir()).entryList({"history.json.broken-*"}).size(), 1);
        QVERIFY(x->recordCopy(QStringLiteral("recording after a broken file")));
        QCOMPARE(x->stopStashwell(), 0);
    }
};

QTEST_MAIN(CaptureE2ETest)
#include "CaptureE2ETest.moc"

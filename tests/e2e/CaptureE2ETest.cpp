// End to end: the real `stashwell` under Xvfb + openbox records what real X11 clients copy.
#include "e2e/XSession.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

namespace {

QJsonObject first(const QJsonArray &items) { return items.isEmpty() ? QJsonObject() : items[0].toObject(); }
auto topTextIs(const QString &text)
{
    return [text](const QJsonArray &items) { return first(items).value("text").toString() == text; };
}
QFile::Permissions privateMask() { return QFile::Permissions(0x0077); }

} // namespace

class CaptureE2ETest : public QObject {
    Q_OBJECT
    std::unique_ptr<XSession> x;

    QString blob(const QJsonObject &item, const char *ext) const
    {
        return QStringLiteral("%1/blobs/%2.%3").arg(x->historyDir(), item["id"].toString(), QLatin1String(ext));
    }
    // A copy that must be recorded, to prove the polls before it have run.
    void sentinel(const QString &text)
    {
        x->xclipCopy(text.toUtf8());
        QCOMPARE(first(x->waitForHistory(topTextIs(text))).value("text").toString(), text);
    }

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
        const QByteArray windows = x->run(QStringLiteral("xdotool"),
                                          {"search", "--onlyvisible", "--pid", QString::number(x->stashwell()->processId())});
        QVERIFY2(windows.trimmed().isEmpty(), windows.constData());
        // First start: launch at login is on and registered.
        QFile defaults(x->defaultsFile());
        QVERIFY(defaults.open(QIODevice::ReadOnly));
        QCOMPARE(QJsonDocument::fromJson(defaults.readAll())["launchAtLogin"], QJsonValue(true));
        QVERIFY(QFile::exists(x->configDir() + "/autostart/com.norvane.Stashwell.desktop"));
        QCOMPARE(QFileInfo(x->historyDir()).permissions() & privateMask(), 0);
    }

    void plainTextTwiceIsOneEntry()
    {
        x->xclipCopy("hello from xclip");
        QVERIFY(x->waitForHistory(topTextIs("hello from xclip")).size() == 1);
        sentinel(QStringLiteral("in between"));
        x->xclipCopy("hello from xclip");
        const QJsonArray items = x->waitForHistory(topTextIs("hello from xclip"));
        QCOMPARE(items.size(), 2); // moved to the top, not added again
        QCOMPARE(first(items)["kind"].toString(), QStringLiteral("text"));
        QCOMPARE(first(items)["charCount"].toInt(), 16);
        QCOMPARE(QFileInfo(x->historyDir() + "/history.json").permissions() & privateMask(), 0);
    }

    void htmlKeepsItsFormatting()
    {
        x->copyTypes({{"text/plain;charset=utf-8", "Bold move"}, {"text/html", "<b>Bold</b> move"}});
        const QJsonObject item = first(x->waitForHistory(topTextIs("Bold move")));
        QCOMPARE(item["hasHTML"].toBool(), true);
        QFile html(blob(item, "html"));
        QVERIFY(html.open(QIODevice::ReadOnly));
        QCOMPARE(html.readAll(), QByteArray("<b>Bold</b> move"));
        QCOMPARE(html.permissions() & privateMask(), 0);
    }

    void pngImageGetsBlobAndThumbnail()
    {
        QImage image(1600, 900, QImage::Format_RGB32);
        image.fill(QColor(30, 120, 200));
        QByteArray png;
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
        x->xclipCopy(png, QStringLiteral("image/png"));
        const QJsonObject item = first(x->waitForHistory([](const QJsonArray &items) {
            return first(items)["kind"].toString() == QLatin1String("image");
        }));
        QCOMPARE(item["pixelWidth"].toInt(), 1600);
        QCOMPARE(item["pixelHeight"].toInt(), 900);
        QCOMPARE(item["hasImage"].toBool(), true);
        QFile blobFile(blob(item, "png"));
        QVERIFY(blobFile.open(QIODevice::ReadOnly));
        QCOMPARE(blobFile.readAll(), png); // PNG is kept as it was copied
        const QImage thumb(QStringLiteral("%1/thumbs/%2.png").arg(x->historyDir(), item["id"].toString()));
        QCOMPARE(thumb.size(), QSize(320, 180));
    }

    void fileListBecomesAFileEntry()
    {
        x->xclipCopy("file:///home/user/Report%202026.pdf\r\nfile:///home/user/photo.png\r\n",
                     QStringLiteral("text/uri-list"));
        const QJsonObject item = first(x->waitForHistory([](const QJsonArray &items) {
            return first(items)["kind"].toString() == QLatin1String("file");
        }));
        QCOMPARE(item["fileURLs"].toArray(), QJsonArray({"/home/user/Report 2026.pdf", "/home/user/photo.png"}));
        QCOMPARE(item["text"].toString(), QStringLiteral("/home/user/Report 2026.pdf\n/home/user/photo.png"));
    }

    void colourAndLink()
    {
        x->xclipCopy("#fff");
        const QJsonObject colour = first(x->waitForHistory(topTextIs("#fff")));
        QCOMPARE(colour["kind"].toString(), QStringLiteral("color"));
        QCOMPARE(colour["colorHex"].toString(), QStringLiteral("#FFFFFF"));

        x->xclipCopy(" https://example.com ");
        const QJsonObject link = first(x->waitForHistory(topTextIs("https://example.com")));
        QCOMPARE(link["kind"].toString(), QStringLiteral("link"));
    }

    void passwordManagerSecretsAreNeverRecorded()
    {
        x->copyTypes({{"text/plain;charset=utf-8", "hunter2-secret"}, {"x-kde-passwordManagerHint", "secret"}});
        QTest::qWait(600);
        x->copyTypes({{"text/plain;charset=utf-8", "concealed-secret"}, {"org.nspasteboard.ConcealedType", ""}});
        QTest::qWait(600);
        sentinel(QStringLiteral("after the secrets"));
        const QByteArray all = QJsonDocument(x->history()).toJson();
        QVERIFY(!all.contains("hunter2-secret"));
        QVERIFY(!all.contains("concealed-secret"));
        QDir blobs(x->historyDir() + "/blobs");
        for (const QString &name : blobs.entryList(QDir::Files)) {
            QFile file(blobs.filePath(name));
            QVERIFY(file.open(QIODevice::ReadOnly));
            QVERIFY(!file.readAll().contains("hunter2-secret"));
        }
    }

    void termSignalSavesAtOnce()
    {
        x->xclipCopy("copied just before quitting");
        QTest::qWait(300); // seen by a poll, but before the 0.5 s save delay ran out
        QCOMPARE(x->stopStashwell(), 0);
        QCOMPARE(first(x->history())["text"].toString(), QStringLiteral("copied just before quitting"));
    }

    void copiesWhilePausedAreNotRecorded()
    {
        x->setDefaults({{"monitoringPaused", true}});
        QVERIFY(x->startStashwell({"QT_LOGGING_RULES=stashwell.usage.info=true"}));
        const int before = x->history().size();
        x->xclipCopy("copied while paused");
        QTRY_VERIFY_WITH_TIMEOUT(x->stashwellStderr().contains("capture.skipped"), 5000);
        QVERIFY(x->stashwellStderr().contains("paused"));
        QCOMPARE(x->stopStashwell(), 0);
        QCOMPARE(x->history().size(), before);
        QVERIFY(!QJsonDocument(x->history()).toJson().contains("copied while paused"));
        x->setDefaults({{"monitoringPaused", false}});
    }

    void clearOnQuitKeepsOnlyPinnedEntries()
    {
        QJsonArray items = x->history();
        QVERIFY(items.size() >= 3);
        QJsonObject pinned = items[1].toObject();
        pinned["pinned"] = true;
        items[1] = pinned;
        QStringList unpinnedBlobs;
        for (const QJsonValue &v : items)
            if (!v.toObject()["pinned"].toBool())
                for (const char *ext : {"png", "html"})
                    if (QFile::exists(blob(v.toObject(), ext)))
                        unpinnedBlobs << blob(v.toObject(), ext);
        QVERIFY(!unpinnedBlobs.isEmpty());
        x->writeFile(x->historyDir() + "/history.json", QJsonDocument(items).toJson(QJsonDocument::Compact));
        x->setDefaults({{"clearOnQuit", true}});

        QVERIFY(x->startStashwell());
        QCOMPARE(x->stopStashwell(), 0);
        const QJsonArray left = x->history();
        QCOMPARE(left.size(), 1);
        QCOMPARE(left[0].toObject()["id"], pinned["id"]);
        for (const QString &path : unpinnedBlobs)
            QVERIFY2(!QFile::exists(path), qPrintable(path));
        x->setDefaults({{"clearOnQuit", false}});
    }

    void brokenHistoryIsKeptAsideAndRecordingGoesOn()
    {
        x->writeFile(x->historyDir() + "/history.json", "[{\"id\": truncated");
        QVERIFY(x->startStashwell());
        QCOMPARE(QDir(x->historyDir()).entryList({"history.json.broken-*"}).size(), 1);
        sentinel(QStringLiteral("recording after a broken file"));
        QCOMPARE(x->stopStashwell(), 0);
    }
};

QTEST_MAIN(CaptureE2ETest)
#include "CaptureE2ETest.moc"

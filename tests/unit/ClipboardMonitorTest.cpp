// Part 1.2 edge cases: classification by read(from:) and the tick.
#include "capture/ClipboardMonitor.h"
#include "fakes/StoreFixture.h"

#include <QBuffer>
#include <QImage>
#include <QUrl>
#include <QtTest>

class ClipboardMonitorTest : public QObject {
    Q_OBJECT
    std::unique_ptr<StoreFixture> f;
    FakeClipboard clipboard;
    FakeActiveWindow window;
    std::unique_ptr<ClipboardMonitor> monitor;

    static std::optional<ClipCapture> readText(const QString &text)
    {
        QMimeData data;
        data.setText(text);
        return ClipboardMonitor::read(data);
    }
private slots:
    void init()
    {
        f = std::make_unique<StoreFixture>();
        clipboard.copyText(QStringLiteral("there before launch"));
        window.app = FrontApp{QStringLiteral("org.kde.kate"), QStringLiteral("Kate")};
        monitor = std::make_unique<ClipboardMonitor>(clipboard, window, f->settings, *f->store,
                                                     [this](const QString &n, const QVariantMap &p) {
                                                         f->events.append({n, p});
                                                     });
    }

    void contentBeforeLaunchIsNeverRecorded()
    {
        monitor->tick();
        QVERIFY(f->store->items().isEmpty());
    }

    void sameTextTwiceReachesTheStoreTwice()
    {
        clipboard.copyText(QStringLiteral("hello"));
        monitor->tick();
        f->clock.advance(5);
        clipboard.copyText(QStringLiteral("hello"));
        monitor->tick();
        QCOMPARE(f->store->items().size(), 1);
        QCOMPARE(f->store->items()[0].createdAt, f->clock.now()); // the second one moved it
        QCOMPARE(f->store->items()[0].sourceAppBundleID, QStringLiteral("org.kde.kate"));
        QCOMPARE(f->store->items()[0].sourceAppName, QStringLiteral("Kate"));
    }

    void ownWriteIsNotRecorded()
    {
        auto *data = new QMimeData;
        data->setText(QStringLiteral("pasted by us"));
        clipboard.write(data);
        monitor->ignoreChangeCount(clipboard.changeCount());
        monitor->tick();
        QVERIFY(f->store->items().isEmpty());
        QVERIFY(monitor->ignoredChangeCounts().isEmpty()); // removed when seen
    }

    void ignoreSetIsEmptiedAtNine()
    {
        for (int i = 1; i <= 8; ++i)
            monitor->ignoreChangeCount(100 + i);
        QCOMPARE(monitor->ignoredChangeCounts().size(), 8);
        monitor->ignoreChangeCount(200);
        QVERIFY(monitor->ignoredChangeCounts().isEmpty());
    }

    void linksAreTrimmedAndStrict()
    {
        auto c = readText(QStringLiteral("  https://example.com/a?b=1 \n"));
        QCOMPARE(c->kind, ClipKind::link);
        QCOMPARE(c->text, QStringLiteral("https://example.com/a?b=1"));
        QCOMPARE(readText(QStringLiteral("see https://example.com now"))->kind, ClipKind::text);
        QCOMPARE(readText(QStringLiteral("ftp://example.com/file"))->kind, ClipKind::text);
        QCOMPARE(readText(QStringLiteral("http://"))->kind, ClipKind::text);
        QCOMPARE(readText(QStringLiteral("http:/path/only"))->kind, ClipKind::text);
    }

    void linksDropFormatting()
    {
        QMimeData data;
        data.setText(QStringLiteral("https://example.com"));
        data.setHtml(QStringLiteral("<a href=\"https://example.com\">x</a>"));
        const auto c = ClipboardMonitor::read(data);
        QCOMPARE(c->kind, ClipKind::link);
        QVERIFY(!c->htmlData);
    }

    void colourStrings()
    {
        auto c = readText(QStringLiteral("#fff"));
        QCOMPARE(c->kind, ClipKind::color);
        QCOMPARE(c->colorHex, QStringLiteral("#FFFFFF"));
        QCOMPARE(c->text, QStringLiteral("#fff"));
        QCOMPARE(readText(QStringLiteral("#12345678"))->colorHex, QStringLiteral("#123456"));
        QCOMPARE(readText(QStringLiteral(" #a1B2c3\n"))->colorHex, QStringLiteral("#A1B2C3"));
        QCOMPARE(readText(QStringLiteral("#12345"))->kind, ClipKind::text);
        QCOMPARE(readText(QStringLiteral("#GGGGGG"))->kind, ClipKind::text);
        QCOMPARE(readText(QStringLiteral("fff"))->kind, ClipKind::text);
    }

    void colourObject()
    {
        QMimeData data;
        // GTK's application/x-color: RGBA as four native-endian 16-bit channels.
        const quint16 rgba[4] = {65535, 32768, 0, 65535};
        data.setData(QStringLiteral("application/x-color"), QByteArray(reinterpret_cast<const char *>(rgba), 8));
        const auto c = ClipboardMonitor::read(data);
        QCOMPARE(c->kind, ClipKind::color);
        QCOMPARE(c->colorHex, QStringLiteral("#FF8000")); // 0.50000762 * 255 = 127.5019 rounds up
        QCOMPARE(c->text, c->colorHex);
        QCOMPARE(ClipboardMonitor::hexString(QColor::fromRgbF(0.5f, 0.f, 1.f)), QStringLiteral("#8000FF"));
    }

    void twoFilesBecomeOneFileCapture()
    {
        QMimeData data;
        data.setUrls({QUrl::fromLocalFile("/home/u/a b.txt"), QUrl::fromLocalFile("/home/u/c.pdf")});
        data.setText(QStringLiteral("file:///home/u/a%20b.txt"));
        const auto c = ClipboardMonitor::read(data);
        QCOMPARE(c->kind, ClipKind::file);
        QCOMPARE(c->fileURLs, QStringList({"/home/u/a b.txt", "/home/u/c.pdf"}));
        QCOMPARE(c->text, QStringLiteral("/home/u/a b.txt\n/home/u/c.pdf"));
    }

    void gnomeCopiedFiles()
    {
        QMimeData data;
        data.setData(QStringLiteral("x-special/gnome-copied-files"), "copy\nfile:///tmp/x.png\nfile:///tmp/y%20z");
        const auto c = ClipboardMonitor::read(data);
        QCOMPARE(c->kind, ClipKind::file);
        QCOMPARE(c->fileURLs, QStringList({"/tmp/x.png", "/tmp/y z"}));
    }

    void remoteUrlListFallsThroughToText()
    {
        QMimeData data;
        data.setUrls({QUrl(QStringLiteral("https://example.com"))});
        data.setText(QStringLiteral("https://example.com"));
        QCOMPARE(ClipboardMonitor::read(data)->kind, ClipKind::link);
    }

    void fileAndImageIsAFile()
    {
        QMimeData data;
        data.setUrls({QUrl::fromLocalFile("/home/u/photo.png")});
        data.setData(QStringLiteral("image/png"), StoreFixture::encodedImage(4, 3, Qt::red));
        QCOMPARE(ClipboardMonitor::read(data)->kind, ClipKind::file);
    }

    void pngIsTakenAsItIs()
    {
        QMimeData data;
        const QByteArray png = StoreFixture::encodedImage(4, 3, Qt::red);
        data.setData(QStringLiteral("image/png"), png);
        data.setText(QStringLiteral("alt text"));
        const auto c = ClipboardMonitor::read(data);
        QCOMPARE(c->kind, ClipKind::image);
        QCOMPARE(c->imageData, png);
        QVERIFY(!c->text);
    }

    void tiffOnlyIsStoredAsPng()
    {
        QMimeData data;
        data.setData(QStringLiteral("image/tiff"), StoreFixture::encodedImage(7, 5, Qt::red, "TIFF"));
        const auto c = ClipboardMonitor::read(data);
        QCOMPARE(c->kind, ClipKind::image);
        QVERIFY(c->imageData->startsWith("\x89PNG"));
        QCOMPARE(QImage::fromData(*c->imageData).size(), QSize(7, 5));
    }

    void undecodableImageFallsThrough()
    {
        QMimeData data;
        data.setData(QStringLiteral("image/tiff"), "not an image");
        data.setText(QStringLiteral("caption"));
        QCOMPARE(ClipboardMonitor::read(data)->kind, ClipKind::text);
    }

    void textKeepsRtfAndHtml()
    {
        QMimeData data;
        data.setText(QStringLiteral(" bold text "));
        data.setHtml(QStringLiteral("<b>bold text</b>"));
        data.setData(QStringLiteral("text/rtf"), "{\\rtf1 bold}");
        const auto c = ClipboardMonitor::read(data);
        QCOMPARE(c->kind, ClipKind::text);
        QCOMPARE(c->text, QStringLiteral(" bold text ")); // unchanged
        QCOMPARE(c->htmlData, QByteArray("<b>bold text</b>"));
        QCOMPARE(c->rtfData, QByteArray("{\\rtf1 bold}"));
    }

    void emptyStringYieldsNothing()
    {
        QCOMPARE(readText(QString()), std::nullopt);
        QMimeData htmlOnly;
        htmlOnly.setHtml(QStringLiteral("<p>x</p>"));
        QCOMPARE(ClipboardMonitor::read(htmlOnly), std::nullopt);
        clipboard.copyText(QString());
        monitor->tick();
        QVERIFY(f->store->items().isEmpty());
    }

    void pausedCopyIsReportedAndConsumed()
    {
        f->settings.setMonitoringPaused(true);
        clipboard.copyText(QStringLiteral("while paused"));
        monitor->tick();
        QVERIFY(f->store->items().isEmpty());
        QCOMPARE(f->events.size(), 1);
        QCOMPARE(f->events[0].first, QStringLiteral("capture.skipped"));
        QCOMPARE(f->events[0].second.value("reason"), QStringLiteral("paused"));
        QCOMPARE(f->events[0].second.value("sourceApp"), QStringLiteral("org.kde.kate"));
        f->settings.setMonitoringPaused(false);
        monitor->tick();
        QVERIFY(f->store->items().isEmpty()); // not picked up after un-pausing
    }

    void policySkipsAreReported()
    {
        window.app.reset();
        auto *data = new QMimeData;
        data->setText(QStringLiteral("hunter2"));
        data->setData(QStringLiteral("org.nspasteboard.ConcealedType"), QByteArray());
        clipboard.copy(data);
        monitor->tick();
        QVERIFY(f->store->items().isEmpty());
        QCOMPARE(f->events.value(0).second.value("reason"), QStringLiteral("concealed"));
        QCOMPARE(f->events.value(0).second.value("sourceApp"), QStringLiteral("?"));

        window.app = FrontApp{QStringLiteral("org.keepassxc.KeePassXC"), QStringLiteral("KeePassXC")};
        clipboard.copyText(QStringLiteral("another"));
        monitor->tick();
        QCOMPARE(f->events.value(1).second.value("reason"), QStringLiteral("excludedApp"));
        QVERIFY(f->store->items().isEmpty());
    }

    void missingAppLeavesSourceAbsent()
    {
        window.app = FrontApp{QString(), QString()};
        clipboard.copyText(QStringLiteral("anonymous"));
        monitor->tick();
        QCOMPARE(f->store->items().size(), 1);
        QVERIFY(!f->store->items()[0].sourceAppBundleID);
        QVERIFY(!f->store->items()[0].sourceAppName);
    }

    void startPollsEveryFifthOfASecond()
    {
        monitor->start();
        monitor->start(); // a second start does nothing
        clipboard.copyText(QStringLiteral("polled"));
        QTRY_COMPARE_WITH_TIMEOUT(f->store->items().size(), 1, 2000);
        QCOMPARE(monitor->findChildren<QTimer *>().size(), 1);
        QCOMPARE(monitor->findChild<QTimer *>()->interval(), 200);
    }
};

QTEST_MAIN(ClipboardMonitorTest)
#include "ClipboardMonitorTest.moc"

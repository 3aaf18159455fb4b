// Part 1.4 edge cases: de-duplication, bursts, limits, side files, saving, loading.
#include "common/FileSafety.h"
#include "fakes/StoreFixture.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>

class HistoryStoreTest : public QObject {
    Q_OBJECT
    std::unique_ptr<StoreFixture> f;
    HistoryStore &store() { return *f->store; }
    QStringList texts() const
    {
        QStringList list;
        for (const ClipItem &item : f->store->items())
            list << item.text.value_or(QString());
        return list;
    }
    static QFile::Permissions mode(const QString &path) { return QFileInfo(path).permissions(); }

private slots:
    void init() { f = std::make_unique<StoreFixture>(); }

    void sameWordTwiceKeepsOneEntryMovedToTop()
    {
        store().ingest(StoreFixture::text("hello"));
        f->clock.advance(10);
        store().ingest(StoreFixture::text("other"));
        f->clock.advance(10);
        store().ingest(StoreFixture::text("hello", "org.gnome.TextEditor"));
        QCOMPARE(texts(), QStringList({"hello", "other"}));
        QCOMPARE(store().items()[0].createdAt, f->clock.now());
        QCOMPARE(store().items()[0].sourceAppBundleID, QStringLiteral("org.kde.kate")); // of its first copy
    }

    void duplicateOfPinnedEntryMovesItToo()
    {
        store().ingest(StoreFixture::text("pin me"));
        store().togglePin(store().items()[0].id);
        f->clock.advance(10);
        store().ingest(StoreFixture::text("newer"));
        f->clock.advance(10);
        store().ingest(StoreFixture::text("pin me"));
        QCOMPARE(texts(), QStringList({"pin me", "newer"}));
        QVERIFY(store().items()[0].pinned);
    }

    void growingSelectionLeavesOnlyTheLast()
    {
        store().ingest(StoreFixture::text("Hel"));
        f->clock.advance(0.3);
        store().ingest(StoreFixture::text("Hello"));
        f->clock.advance(0.3);
        store().ingest(StoreFixture::text("Hello wor"));
        QCOMPARE(texts(), QStringList({"Hello wor"}));
        QCOMPARE(f->events.size(), 2);
        QCOMPARE(f->events[0].first, QStringLiteral("capture.coalesced"));
        QCOMPARE(f->events[0].second.value("sourceApp"), QStringLiteral("org.kde.kate"));
        f->clock.advance(0.3);
        store().ingest(StoreFixture::text("Hello")); // shrinking again
        QCOMPARE(texts(), QStringList({"Hello"}));
    }

    void burstLastsThirtySecondsWithGapsOfAtMostOneAndAHalf()
    {
        QString text = QStringLiteral("a");
        store().ingest(StoreFixture::text(text));
        for (int i = 0; i < 20; ++i) { // 20 × 1.5 s = 30 s
            f->clock.advance(1.5);
            text += QLatin1Char('a');
            store().ingest(StoreFixture::text(text));
        }
        QCOMPARE(store().items().size(), 1);
        f->clock.advance(1.0); // 31 s after the start
        store().ingest(StoreFixture::text(text + QLatin1Char('a')));
        QCOMPARE(store().items().size(), 2);
    }

    void gapOverOneAndAHalfSecondsEndsTheBurst()
    {
        store().ingest(StoreFixture::text("Hel"));
        f->clock.advance(1.6);
        store().ingest(StoreFixture::text("Hello"));
        QCOMPARE(texts(), QStringList({"Hello", "Hel"}));
    }

    void burstNeedsTheSameApplication()
    {
        store().ingest(StoreFixture::text("abc", "org.kde.kate"));
        f->clock.advance(0.5);
        store().ingest(StoreFixture::text("abcd", "org.gnome.TextEditor"));
        QCOMPARE(texts(), QStringList({"abcd", "abc"}));
    }

    void burstSparesPinnedAndBlobEntries()
    {
        store().ingest(StoreFixture::text("Hel"));
        store().togglePin(store().items()[0].id);
        f->clock.advance(0.2);
        store().ingest(StoreFixture::text("Hello"));
        QCOMPARE(texts(), QStringList({"Hello", "Hel"}));

        init();
        const QString big(17000, QLatin1Char('x'));
        store().ingest(StoreFixture::text(big)); // not eligible: starts no burst
        f->clock.advance(0.2);
        store().ingest(StoreFixture::text(QStringLiteral("xxxx")));
        QCOMPARE(store().items().size(), 2);
    }

    void afterARestartTheFirstCaptureNeverCoalesces()
    {
        store().ingest(StoreFixture::text("Hel"));
        store().saveNow();
        f->reopen();
        f->clock.advance(0.2);
        store().ingest(StoreFixture::text("Hello"));
        QCOMPARE(texts(), QStringList({"Hello", "Hel"}));
    }

    void longTextGoesToABlob()
    {
        QString text;
        while (text.toUtf8().size() < 20000)
            text += QStringLiteral("ü0123456789"); // 12 bytes, 11 characters
        store().ingest(StoreFixture::text(text));
        const ClipItem &item = store().items()[0];
        QVERIFY(item.hasTextBlob);
        QCOMPARE(item.text->size(), 4096);
        QCOMPARE(*item.text, text.left(4096));
        QCOMPARE(item.charCount, text.size());
        QFile blob(store().blobPath(item, "txt"));
        QVERIFY(blob.open(QIODevice::ReadOnly));
        QCOMPARE(blob.readAll(), text.toUtf8());
        QCOMPARE(mode(blob.fileName()) & 0x0077, 0); // owner only
    }

    void textOfExactly16384BytesStaysInline()
    {
        store().ingest(StoreFixture::text(QString(16384, QLatin1Char('y'))));
        QVERIFY(!store().items()[0].hasTextBlob);
        QCOMPARE(store().items()[0].text->size(), 16384);
    }

    void sizeLimitIsTenMebibytes()
    {
        ClipCapture over = StoreFixture::text(QString(HistoryStore::maxCaptureBytes + 1, QLatin1Char('z')));
        store().ingest(over);
        QVERIFY(store().items().isEmpty());
        ClipCapture exact = StoreFixture::text(QString(HistoryStore::maxCaptureBytes, QLatin1Char('z')));
        store().ingest(exact);
        QCOMPARE(store().items().size(), 1);
        QCOMPARE(store().items()[0].byteSize, HistoryStore::maxCaptureBytes);
    }

    void countLimitSparesPinnedEntries()
    {
        f->settings.setHistoryLimit(50);
        for (int i = 0; i < 10; ++i) {
            store().ingest(StoreFixture::text(QStringLiteral("pinned %1").arg(i), QStringLiteral("app%1").arg(i)));
            store().togglePin(store().items()[0].id);
        }
        for (int i = 0; i < 70; ++i)
            store().ingest(StoreFixture::text(QStringLiteral("entry %1").arg(i), QStringLiteral("app%1").arg(i)));
        QCOMPARE(store().items().size(), 60);
        const auto pinned = std::count_if(store().items().begin(), store().items().end(),
                                          [](const ClipItem &i) { return i.pinned; });
        QCOMPARE(pinned, 10);
        QCOMPARE(store().items()[0].text, QStringLiteral("entry 69"));
        QVERIFY(!texts().contains(QStringLiteral("entry 19"))); // the oldest went first
        QVERIFY(texts().contains(QStringLiteral("entry 20")));
    }

    void retentionRemovesOldUnpinnedEntries()
    {
        store().ingest(StoreFixture::text("old pinned", "a"));
        store().togglePin(store().items()[0].id);
        store().ingest(StoreFixture::text("old", "b"));
        f->clock.advance(8 * 86400);
        store().ingest(StoreFixture::text("new", "c"));
        f->settings.setHistoryRetentionDays(7);
        QCOMPARE(store().items().size(), 3); // setting it does not prune by itself
        store().prune();
        QCOMPARE(texts(), QStringList({"new", "old pinned"}));
        f->settings.setHistoryRetentionDays(0);
        f->clock.advance(1000 * 86400.0);
        store().prune();
        QCOMPARE(store().items().size(), 2); // 0 keeps forever
    }

    void imagesGetBlobPixelSizeAndThumbnail()
    {
        ClipCapture big = StoreFixture::image(4000, 3000);
        store().ingest(big);
        const ClipItem item = store().items()[0];
        QCOMPARE(item.displayTitle(), QStringLiteral("4000 × 3000"));
        QVERIFY(item.hasImage);
        QCOMPARE(QImage(store().blobPath(item, "png")).size(), QSize(4000, 3000));
        QCOMPARE(QImage(store().thumbPath(item)).size(), QSize(320, 240));
        QCOMPARE(store().thumbnail(item).size(), QSize(320, 240));

        store().ingest(StoreFixture::image(100, 40));
        QCOMPARE(QImage(store().thumbPath(store().items()[0])).size(), QSize(100, 40)); // never enlarged
        store().ingest(StoreFixture::image(10, 2000));
        QCOMPARE(QImage(store().thumbPath(store().items()[0])).size(), QSize(2, 320));
    }

    void undecodableImageHasNoSizeNorThumbnail()
    {
        ClipCapture broken;
        broken.kind = ClipKind::image;
        broken.imageData = QByteArray("garbage");
        store().ingest(broken);
        const ClipItem item = store().items()[0];
        QVERIFY(item.hasImage);
        QVERIFY(!item.pixelWidth);
        QCOMPARE(item.displayTitle(), QStringLiteral("Image"));
        QVERIFY(!QFile::exists(store().thumbPath(item)));
        QVERIFY(store().thumbnail(item).isNull());
    }

    void formattingGoesToSideFiles()
    {
        ClipCapture c = StoreFixture::text("rich");
        c.rtfData = QByteArray("{\\rtf1 rich}");
        c.htmlData = QByteArray("<i>rich</i>");
        store().ingest(c);
        const ClipItem item = store().items()[0];
        QVERIFY(item.hasRTF && item.hasHTML && !item.hasImage);
        QVERIFY(QFile::exists(store().blobPath(item, "rtf")));
        QVERIFY(QFile::exists(store().blobPath(item, "html")));
        store().remove(item.id);
        QVERIFY(store().items().isEmpty());
        QVERIFY(!QFile::exists(store().blobPath(item, "rtf")));
        QVERIFY(!QFile::exists(store().blobPath(item, "html")));
    }

    void saveIsDebouncedByHalfASecond()
    {
        store().ingest(StoreFixture::text("one"));
        QTest::qWait(300);
        store().ingest(StoreFixture::text("two", "x"));
        QTest::qWait(300);
        QVERIFY(!QFile::exists(store().fileURL())); // the second ingest restarted the delay
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(store().fileURL()), 1000);
        QFile file(store().fileURL());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray json = file.readAll();
        QVERIFY(!json.contains('\n')); // compact
        const QJsonArray array = QJsonDocument::fromJson(json).array();
        QCOMPARE(array.size(), 2);
        QCOMPARE(array[0]["text"].toString(), QStringLiteral("two"));
        QCOMPARE(array[0]["createdAt"].toString(), QStringLiteral("2026-03-01T09:30:00Z"));
        QCOMPARE(mode(store().fileURL()) & 0x0077, 0);
        QCOMPARE(mode(f->dir()) & 0x0077, 0);
        QCOMPARE(mode(store().blobsDir()) & 0x0077, 0);
    }

    void historyRoundTripsThroughTheFile()
    {
        store().ingest(StoreFixture::text("first"));
        ClipCapture files;
        files.kind = ClipKind::file;
        files.fileURLs = QStringList{"/a/b.txt"};
        files.text = QStringLiteral("/a/b.txt");
        store().ingest(files);
        store().togglePin(store().items()[1].id);
        const QList<ClipItem> before = store().items();
        store().saveNow();
        f->reopen();
        QCOMPARE(store().items().size(), before.size());
        for (int i = 0; i < before.size(); ++i) {
            QCOMPARE(store().items()[i].toJson(), before[i].toJson()); // dates are stored to the second
            QCOMPARE(store().items()[i].id, before[i].id);
        }
    }

    void unknownKindLoadsEmptyAndKeepsTheFileAside()
    {
        store().ingest(StoreFixture::text("precious"));
        store().saveNow();
        QFile file(store().fileURL());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QByteArray json = file.readAll();
        file.close();
        json.replace("\"kind\":\"text\"", "\"kind\":\"video\"");
        QVERIFY(FileSafety::writeAtomically(store().fileURL(), json));
        f->reopen();
        QVERIFY(store().items().isEmpty());
        const QStringList aside = QDir(f->dir()).entryList({"history.json.broken-*"});
        QCOMPARE(aside.size(), 1);
        QFile kept(f->dir() + QLatin1Char('/') + aside[0]);
        QVERIFY(kept.open(QIODevice::ReadOnly));
        QCOMPARE(kept.readAll(), json);
    }

    void garbageFileLoadsEmpty()
    {
        QVERIFY(FileSafety::writeAtomically(store().fileURL(), "{not json"));
        f->reopen();
        QVERIFY(store().items().isEmpty());
        QCOMPARE(QDir(f->dir()).entryList({"history.json.broken-*"}).size(), 1);
        store().ingest(StoreFixture::text("new life"));
        store().saveNow();
        f->reopen();
        QCOMPARE(texts(), QStringList({"new life"}));
    }

    void loadingPrunesOnce()
    {
        for (int i = 0; i < 5; ++i)
            store().ingest(StoreFixture::text(QStringLiteral("e%1").arg(i), QString::number(i)));
        store().saveNow();
        f->settings.setHistoryLimit(2);
        f->reopen();
        QCOMPARE(texts(), QStringList({"e4", "e3"}));
    }

    void clearKeepsPinnedInOrder()
    {
        for (const char *t : {"a", "b", "c", "d"})
            store().ingest(StoreFixture::text(t, t));
        store().togglePin(store().items()[0].id); // d
        store().togglePin(store().items()[2].id); // b
        store().ingest(StoreFixture::image(5, 5));
        const ClipItem img = store().items()[0];
        store().clear(true);
        QCOMPARE(texts(), QStringList({"d", "b"}));
        QVERIFY(!QFile::exists(store().blobPath(img, "png")));
        QVERIFY(!QFile::exists(store().thumbPath(img)));
        store().clear(false);
        QVERIFY(store().items().isEmpty());
    }

    void touchMovesToTopWithANewDate()
    {
        store().ingest(StoreFixture::text("a", "1"));
        store().ingest(StoreFixture::text("b", "2"));
        f->clock.advance(60);
        store().touch(store().items()[1].id);
        QCOMPARE(texts(), QStringList({"a", "b"}));
        QCOMPARE(store().items()[0].createdAt, f->clock.now());
        store().touch(QUuid::createUuid()); // unknown: nothing happens
        QCOMPARE(store().items().size(), 2);
    }

    void searchMatchesEveryTokenPinnedFirst()
    {
        store().ingest(StoreFixture::text("Pinned foo", "1"));
        store().togglePin(store().items()[0].id);
        store().ingest(StoreFixture::text("BAR and foo", "2"));
        store().ingest(StoreFixture::text("only foo", "3"));
        store().ingest(StoreFixture::text("café", "4"));
        QCOMPARE(store().search(QStringLiteral("Foo bar"), {}, false).size(), 1);
        const QList<ClipItem> foo = store().search(QStringLiteral("  foo "), {}, false);
        QCOMPARE(foo.size(), 3);
        QVERIFY(foo[0].pinned);
        QCOMPARE(store().search(QStringLiteral("cafe"), {}, false).size(), 0);
        QCOMPARE(store().search(QStringLiteral("CAFÉ"), {}, false).size(), 1);
        QCOMPARE(store().search(QString(), {}, true).size(), 1);
        QCOMPARE(store().search(QString(), ClipKind::link, false).size(), 0);
        QCOMPARE(store().search(QStringLiteral("kate"), {}, false).size(), 0); // app name "1".."4" here
    }
};

QTEST_MAIN(HistoryStoreTest)
#include "HistoryStoreTest.moc"

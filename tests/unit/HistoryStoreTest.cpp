// SPDX-License-Identifier: GPL-3.0-or-later
// The history store: de-duplication, bursts, limits, side files, the file and its failures.
#include "common/FileSafety.h"
#include "fakes/StoreFixture.h"
#include "fakes/TestFiles.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>
#include <csignal>
#include <sys/resource.h>

namespace {

// While the returned guard lives, this process's files cannot grow past `bytes`: writes fail with EFBIG.
auto fileSizeLimit(rlim_t bytes)
{
    signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit limited{bytes, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limited);
    return qScopeGuard([before] { setrlimit(RLIMIT_FSIZE, &before); });
}

long peakMemoryKiB()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

} // namespace

// Two copies from one application `gap` seconds apart, unless `variant` says otherwise.
struct Burst {
    QString first;
    double gap;
    QString second;
    QString variant;
    bool merged;
};

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
    void ingest(const QString &text, const QString &app = "kate") { store().ingest(StoreFixture::text(text, app)); }
    void pinTop() { store().togglePin(store().items()[0].id); }
    static bool ownerOnly(const QString &path) { return (QFileInfo(path).permissions() & 0x0077) == 0; }

private slots:
    void init() { f = std::make_unique<StoreFixture>(); }

    void duplicateMovesTheFirstCopyToTheTop()
    {
        ingest("hello");
        pinTop();
        ingest("other", "org.a");
        f->clock.advance(10);
        ingest("hello", "org.gnome.TextEditor");
        QCOMPARE(texts(), QStringList({"hello", "other"}));
        QCOMPARE(store().items()[0].createdAt, f->clock.now());
        QCOMPARE(store().items()[0].sourceAppBundleID, QStringLiteral("kate")); // of its first copy
        QVERIFY(store().items()[0].pinned);
    }

    void quickCopiesMergeOnlyWhenOneTextExtendsTheOther_data()
    {
        QTest::addColumn<Burst>("burst");
        QTest::newRow("growing") << Burst{"Hel", 0.3, "Hello", "", true};
        QTest::newRow("shrinking") << Burst{"Hello", 0.3, "Hel", "", true};
        QTest::newRow("growing to the left") << Burst{"world", 1.5, "Hello world", "", true};
        QTest::newRow("unrelated") << Burst{"alpha", 0.3, "bravo", "", false};
        QTest::newRow("same length") << Burst{"abcd", 0.3, "abce", "", false};
        QTest::newRow("only inside") << Burst{"ell", 0.3, "Hello", "", false};
        QTest::newRow("gap too long") << Burst{"Hel", 1.6, "Hello", "", false};
        QTest::newRow("other application") << Burst{"Hel", 0.3, "Hello", "other app", false};
        QTest::newRow("pinned") << Burst{"Hel", 0.3, "Hello", "pin", false};
        QTest::newRow("formatted") << Burst{"Hel", 0.3, "Hello", "html", false};
        QTest::newRow("after a duplicate") << Burst{"Hel", 0.3, "Hello", "repeat", false};
        QTest::newRow("blob") << Burst{QString(17000, 'x'), 0.3, "xxxx", "", false};
    }
    void quickCopiesMergeOnlyWhenOneTextExtendsTheOther()
    {
        QFETCH(Burst, burst);
        ingest(burst.first);
        if (burst.variant == "pin")
            pinTop();
        if (burst.variant == "repeat")
            ingest(burst.first);
        f->clock.advance(burst.gap);
        ClipCapture capture = StoreFixture::text(burst.second, burst.variant == "other app" ? "org.a" : "kate");
        if (burst.variant == "html")
            capture.htmlData = QByteArray("<b>Hello</b>");
        store().ingest(capture);
        const QString first = burst.first.left(HistoryStore::blobTextPrefix);
        QCOMPARE(texts(), burst.merged ? QStringList{burst.second} : QStringList({burst.second, first}));
        QCOMPARE(f->events.size(), burst.merged ? 1 : 0); // capture.coalesced
    }

    void burstEndsThirtySecondsAfterItsStart()
    {
        QString text = QStringLiteral("a");
        ingest(text);
        for (int i = 0; i < 20; ++i) { // 20 × 1.5 s = 30 s
            f->clock.advance(1.5);
            ingest(text += QLatin1Char('a'));
        }
        QCOMPARE(store().items().size(), 1);
        f->clock.advance(1.0);
        ingest(text + QLatin1Char('a'));
        QCOMPARE(store().items().size(), 2);
    }

    void textOver16KiBGoesToABlobAndOver10MiBIsDropped()
    {
        ingest(QString(16384, QLatin1Char('y')), "inline");
        QVERIFY(!store().items()[0].hasTextBlob);
        QString text;
        while (text.toUtf8().size() < 20000)
            text += QStringLiteral("ü0123456789"); // 12 bytes, 11 characters
        ingest(text, "blob");
        const ClipItem &item = store().items()[0];
        QVERIFY(item.hasTextBlob);
        QCOMPARE(*item.text, text.left(4096));
        QCOMPARE(item.charCount, text.size());
        QCOMPARE(readFile(store().blobPath(item, "txt")), text.toUtf8());
        ingest(QString(HistoryStore::maxCaptureBytes + 1, QLatin1Char('z')), "over");
        QCOMPARE(store().items().size(), 2);
        ingest(QString(HistoryStore::maxCaptureBytes, QLatin1Char('z')), "limit");
        QCOMPARE(store().items()[0].byteSize, HistoryStore::maxCaptureBytes);
    }

    void limitsDropTheOldestUnpinnedEntries()
    {
        f->settings.setHistoryLimit(3);
        ingest("pinned", "p");
        pinTop();
        for (const char *t : {"a", "b", "c", "d"}) {
            f->clock.advance(86400);
            ingest(t, t);
        }
        QCOMPARE(texts(), QStringList({"d", "c", "b", "pinned"}));
        f->clock.advance(6 * 86400); // "b" is 8 days old, "c" exactly 7
        store().prune(); // retention 0 keeps forever
        QCOMPARE(store().items().size(), 4);
        f->settings.setHistoryRetentionDays(7);
        store().prune();
        QCOMPARE(texts(), QStringList({"d", "c", "pinned"}));
    }

    void imagesGetPixelSizeAndAThumbnailNeverEnlarged()
    {
        store().ingest(StoreFixture::image(100, 40));
        QCOMPARE(store().thumbnail(store().items()[0]).size(), QSize(100, 40));
        store().ingest(StoreFixture::image(10, 2000));
        const ClipItem item = store().items()[0];
        QVERIFY(item.pixelWidth == 10 && item.pixelHeight == 2000);
        QCOMPARE(QImage(store().blobPath(item, "png")).size(), QSize(10, 2000));
        QCOMPARE(QImage(store().thumbPath(item)).size(), QSize(2, 320));
        ClipCapture broken;
        broken.kind = ClipKind::image;
        broken.imageData = QByteArray("garbage");
        store().ingest(broken);
        QVERIFY(store().items()[0].hasImage && !store().items()[0].pixelWidth);
        QVERIFY(store().thumbnail(store().items()[0]).isNull());
    }

    void savingIsDelayedCompactAndPrivate()
    {
        ingest("one", "a");
        ingest("two", "b");
        QVERIFY(!QFile::exists(store().fileURL())); // not written synchronously
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(store().fileURL()), 2000);
        const QByteArray json = readFile(store().fileURL());
        QVERIFY(!json.contains('\n'));
        QCOMPARE(QJsonDocument::fromJson(json)[0]["text"].toString(), QStringLiteral("two"));
        QVERIFY(ownerOnly(store().fileURL()) && ownerOnly(f->dir()) && ownerOnly(store().blobsDir()));
    }

    void savesWaitAtMostOneAndAHalfSecondsHoweverFastCopiesCome()
    {
        for (int i = 0; i < 4; ++i) { // each restarts the 0.5 s wait
            ingest(QStringLiteral("copy %1").arg(i), QString::number(i));
            f->clock.advance(0.4);
        }
        QVERIFY(!QFile::exists(store().fileURL()));
        ingest("copy 4", "4"); // 1.6 s after the first: saved at once, on the writer's thread
        store().waitForSave();
        QCOMPARE(QJsonDocument::fromJson(readFile(store().fileURL())).array().size(), 5);
    }

    void savesOnTheWritersThreadEndWithTheNewestStateAndReportFailures()
    {
        for (int i = 0; i < 30; ++i) { // each save starts at once, most while the one before is written
            ingest(QStringLiteral("copy %1").arg(i), QString::number(i));
            f->clock.advance(2);
            store().scheduleSave();
        }
        store().waitForSave();
        QCOMPARE(readFile(store().fileURL()), HistoryStore::encode(store().items()));
        QSignalSpy failing(&store(), &HistoryStore::writeFailingChanged);
        {
            const auto limit = fileSizeLimit(1024);
            ingest(QString(2000, QLatin1Char('x')), "big"); // the file outgrows the limit
            f->clock.advance(2);
            store().scheduleSave();
            QTRY_COMPARE(failing.size(), 1); // told from the writer's thread, without waiting for it
        }
        QVERIFY(store().writeFailing());
        store().saveNow();
        QVERIFY(!store().writeFailing());
        QCOMPARE(readFile(store().fileURL()), HistoryStore::encode(store().items()));
    }

    // Whether the copies come before or after the file is read, the result is the same.
    void copiesMadeWhileALargeHistoryIsReadComeFirstAndMoveTheirEqualsUp()
    {
        f->settings.setHistoryLimit(5000);
        for (int i = 0; i < 3000; ++i) {
            f->clock.advance(2);
            ingest(QStringLiteral("entry %1").arg(i), "kate");
        }
        store().togglePin(store().items()[5].id);
        store().saveNow();
        const QList<ClipItem> saved = store().items();
        f->store.reset();
        f->store = std::make_unique<HistoryStore>(f->dir(), f->settings, f->clock); // not waiting for it
        f->clock.advance(2);
        ingest("new copy", "other");
        ingest(*saved[5].text, "other"); // a copy of a read, pinned entry
        store().waitForLoad();
        ClipItem moved = saved[5];
        moved.createdAt = f->clock.now();
        QCOMPARE(store().items()[0], moved);
        QCOMPARE(*store().items()[1].text, QStringLiteral("new copy"));
        QCOMPARE(HistoryStore::encode(store().items().mid(2)), HistoryStore::encode(saved.mid(0, 5) + saved.mid(6)));
        store().saveNow();
        const QList<ClipItem> merged = store().items();
        f->reopen();
        QCOMPARE(HistoryStore::encode(store().items()), HistoryStore::encode(merged));
    }

    void textsAreWrittenAsQtWritesThemAndReadBack_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("quotes and backslashes") << QStringLiteral("say \"hi\" \\ /path/");
        QTest::newRow("control characters") << QStringLiteral("tab\t nl\n cr\r bs\b ff\f bell\a nul") + QChar(0);
        QTest::newRow("beyond ASCII") << QStringLiteral("café ✓ 😀 \u2028 \x7f");
        QTest::newRow("lone surrogates") << QString(QChar(0xD800)) + u'a' + QChar(0xDC00);
        QTest::newRow("empty") << QStringLiteral("");
    }
    void textsAreWrittenAsQtWritesThemAndReadBack()
    {
        QFETCH(QString, text);
        ClipItem item;
        item.id = QUuid::createUuid();
        item.createdAt = f->clock.now();
        item.text = text;
        const QByteArray json = HistoryStore::encode({item});
        const QByteArray qt = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
        QVERIFY(json.contains(",\"text\":" + qt.mid(1, qt.size() - 2) + ","));
        QVERIFY(QJsonDocument::fromJson(json).isArray());
        QCOMPARE(HistoryStore::decode(json)->first().text, text);
    }

    void aWriteThatFailsKeepsTheOldFileAndTheWholeTextUntilSavingWorks()
    {
        ingest("saved");
        store().saveNow();
        const QByteArray saved = readFile(store().fileURL());
        QSignalSpy failing(&store(), &HistoryStore::writeFailingChanged);
        const QString longText(20000, QLatin1Char('l'));
        {
            const auto limit = fileSizeLimit(1024);
            QVERIFY(!FileSafety::writeAtomically(store().fileURL(), QByteArray(2000, 'n'))); // fails when flushed
            store().ingest(StoreFixture::image(1000, 1000)); // its side file fails: not recorded
            ingest(longText, "long");                      // its side file fails: kept whole
            store().saveNow();
        }
        QCOMPARE(readFile(store().fileURL()), saved);
        QCOMPARE(texts(), QStringList({longText, "saved"}));
        QVERIFY(store().writeFailing() && failing.size() == 1);
        store().saveNow();
        QVERIFY(!store().writeFailing() && failing.size() == 2);
        QCOMPARE(*store().items()[0].text, longText.left(HistoryStore::blobTextPrefix));
        QCOMPARE(readFile(store().blobPath(store().items()[0], "txt")), longText.toUtf8());
        QCOMPARE(QDir(f->dir()).entryList(QDir::Files), QStringList{"history.json"}); // no temporary file left
    }

    void sideFilesNoSavedEntryRefersToAreRemovedAtLoad()
    {
        store().ingest(StoreFixture::image(5, 5));
        store().saveNow();
        const ClipItem kept = store().items()[0];
        store().ingest(StoreFixture::image(6, 6)); // never saved: the process ends first
        const ClipItem lost = store().items()[0];
        const QString other = store().blobsDir() + QStringLiteral("/notes.txt");
        QVERIFY(writeFile(other, "not ours"));
        f->reopen();
        QVERIFY(QFile::exists(store().blobPath(kept, "png")) && QFile::exists(store().thumbPath(kept)));
        QVERIFY(!QFile::exists(store().blobPath(lost, "png")) && !QFile::exists(store().thumbPath(lost)));
        QVERIFY(QFile::exists(other));
        QVERIFY(writeFile(store().fileURL(), "{broken"));
        f->reopen(); // the file kept aside may still be recovered with its side files
        QVERIFY(QFile::exists(store().blobPath(kept, "png")));
    }

    void historyRoundTripsThroughTheFileAndIsPrunedOnLoad()
    {
        ingest("first");
        ClipCapture files;
        files.kind = ClipKind::file;
        files.fileURLs = QStringList{"/a/b.txt"};
        store().ingest(files);
        store().togglePin(store().items()[1].id);
        const QList<ClipItem> before = store().items();
        store().saveNow();
        f->reopen();
        QCOMPARE(HistoryStore::encode(store().items()), HistoryStore::encode(before)); // dates are stored to the second
        f->settings.setHistoryLimit(0);
        f->reopen();
        QCOMPARE(texts(), QStringList({"first"}));
    }

    void undecodableFileLoadsEmptyAndIsKeptAside()
    {
        ClipItem good;
        good.id = QUuid::createUuid();
        good.createdAt = QDateTime(QDate(2026, 1, 1), QTime(0, 0), Qt::UTC);
        good.text = QStringLiteral("ok");
        const QByteArray entry = good.toJson();
        const auto with = [&entry](const char *from, const QByteArray &to) {
            return "[" + entry + "," + QByteArray(entry).replace(from, to) + "]";
        };
        // Unknown members are skipped, and a whole number may take any form.
        const QByteArray tolerated = with("\"byteSize\":0", "\"future\":{\"a\":[1,{\"b\":null}]},\"byteSize\":1e1");
        QCOMPARE(HistoryStore::decode(tolerated)->last().byteSize, 10);
        for (const QByteArray &json :
             {QByteArray("{not json"), with("\"kind\":\"text\"", "\"kind\":\"video\""), "[" + entry,
              "[" + entry + ",]", "[" + entry + "]x", with("\"ok\"", "\"o\xffk\""),
              with("\"pinned\":false", "\"pinned\":null"), with("\"byteSize\":0", "\"byteSize\":0.5"),
              with("\"byteSize\":0", "\"byteSize\":\"0\""), with(",\"contentHash\":\"\"", "")}) {
            init();
            QVERIFY(FileSafety::writeAtomically(store().fileURL(), json));
            f->reopen();
            QVERIFY(store().items().isEmpty());
            const QStringList aside = QDir(f->dir()).entryList({"history.json.broken-*"});
            QCOMPARE(aside.size(), 1);
            QCOMPARE(readFile(f->dir() + QLatin1Char('/') + aside[0]), json);
        }
        init();
        QFile huge(store().fileURL());
        QVERIFY(huge.open(QIODevice::WriteOnly) && huge.resize(HistoryStore::maxHistoryFileBytes + 1)); // sparse
        huge.close();
        const long peak = peakMemoryKiB();
        f->reopen();
        QVERIFY(peakMemoryKiB() - peak < 65536); // kept aside without reading its 256 MiB
        QCOMPARE(QDir(f->dir()).entryList({"history.json.broken-*"}).size(), 1);
    }

    void sideFilesGoWithTheirEntryAndClearKeepsPinnedInOrder()
    {
        for (const char *t : {"a", "b", "c", "d"})
            ingest(t, t);
        pinTop(); // d
        store().togglePin(store().items()[2].id); // b
        ClipCapture c = StoreFixture::text("rich");
        c.rtfData = QByteArray("{\\rtf1 rich}");
        c.htmlData = QByteArray("<i>rich</i>");
        store().ingest(c);
        const ClipItem rich = store().items()[0];
        QCOMPARE(readFile(store().blobPath(rich, "rtf")), *c.rtfData);
        QCOMPARE(readFile(store().blobPath(rich, "html")), *c.htmlData);
        store().remove(rich.id);
        QVERIFY(!QFile::exists(store().blobPath(rich, "rtf")) && !QFile::exists(store().blobPath(rich, "html")));
        store().ingest(StoreFixture::image(5, 5));
        const ClipItem img = store().items()[0];
        store().clear(true);
        QCOMPARE(texts(), QStringList({"d", "b"}));
        QVERIFY(!QFile::exists(store().blobPath(img, "png")) && !QFile::exists(store().thumbPath(img)));
        store().clear(false);
        QVERIFY(store().items().isEmpty());
    }
};

QTEST_MAIN(HistoryStoreTest)
#include "HistoryStoreTest.moc"

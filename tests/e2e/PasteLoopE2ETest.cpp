// End to end: the hot key opens the palette over a real application (zenity) without taking
// its focus, and Return pastes the chosen entry into it through XTest.
#include "e2e/XSession.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QDir>
#include <QtTest>

class PasteLoopE2ETest : public QObject {
    Q_OBJECT
    std::unique_ptr<XSession> x;

    void key(const QString &keys) const { x->run(QStringLiteral("xdotool"), {"key", "--delay", "40", keys}); }
    void type(const QString &text) const { x->run(QStringLiteral("xdotool"), {"type", "--delay", "30", text}); }
    bool paletteOpen(bool open) const
    {
        for (int waited = 0; waited < 5000; waited += 50) {
            if (x->stashwellHasVisibleWindow() == open)
                return true;
            QTest::qWait(50);
        }
        return false;
    }
    QStringList texts() const
    {
        QStringList list;
        for (const QJsonValue &v : x->history())
            list << v.toObject()["text"].toString();
        return list;
    }
    QString clipboard() const
    {
        return QString::fromUtf8(x->run(QStringLiteral("xclip"), {"-o", "-selection", "clipboard"}));
    }
    // Submits the zenity dialog and returns what it printed.
    QString submit(QProcess *zenity) const
    {
        key(QStringLiteral("Return"));
        zenity->waitForFinished(5000);
        return QString::fromUtf8(zenity->readAllStandardOutput()).trimmed();
    }
    void seed(const QString &text)
    {
        x->xclipCopy(text.toUtf8());
        x->waitForHistory([&](const QJsonArray &items) {
            return !items.isEmpty() && items[0].toObject()["text"].toString() == text;
        });
    }

private slots:
    void initTestCase()
    {
        x = std::make_unique<XSession>();
        QVERIFY(x->isUp());
        QVERIFY(x->startStashwell());
        for (const char *text : {"alpha one", "bravo two", "charlie three"})
            seed(QString::fromLatin1(text));
        QCOMPARE(texts(), QStringList({"charlie three", "bravo two", "alpha one"}));
    }
    void cleanupTestCase() { x.reset(); }

    void hotKeyOpensWithoutTakingFocusAndEscapeCloses()
    {
        QProcess *zenity = x->startZenityEntry();
        const QString target = x->activeWindow();
        key(QStringLiteral("super+shift+v"));
        QVERIFY(paletteOpen(true));
        QCOMPARE(x->activeWindow(), target); // the application in front stays in front
        x->screenshot(QDir::tempPath() + QStringLiteral("/stashwell-palette-e2e.png"));
        type(QStringLiteral("zzz"));
        key(QStringLiteral("Escape")); // clears the query, stays open
        QTest::qWait(300);
        QVERIFY(x->stashwellHasVisibleWindow());
        key(QStringLiteral("Escape"));
        QVERIFY(paletteOpen(false));
        key(QStringLiteral("super+shift+v"));
        QVERIFY(paletteOpen(true));
        key(QStringLiteral("super+shift+v")); // the hot key toggles it closed
        QVERIFY(paletteOpen(false));
        QCOMPARE(x->activeWindow(), target);
        zenity->kill();
        zenity->waitForFinished();
    }

    void queryAndReturnPastesIntoTheApplication()
    {
        QProcess *zenity = x->startZenityEntry();
        key(QStringLiteral("super+shift+v"));
        QVERIFY(paletteOpen(true));
        type(QStringLiteral("bravo"));
        key(QStringLiteral("Return"));
        QVERIFY(paletteOpen(false));
        QTest::qWait(600); // 100 ms, then the keys
        QCOMPARE(submit(zenity), QStringLiteral("bravo two"));
        // The paste is not a new copy; it moved the entry to the top.
        const QJsonArray items = x->waitForHistory([](const QJsonArray &items) {
            return !items.isEmpty() && items[0].toObject()["text"].toString() == QLatin1String("bravo two");
        });
        QCOMPARE(texts(), QStringList({"bravo two", "charlie three", "alpha one"}));
        QCOMPARE(items.size(), 3);
    }

    void commandDigitPastesByPosition()
    {
        QProcess *zenity = x->startZenityEntry();
        key(QStringLiteral("super+shift+v"));
        QVERIFY(paletteOpen(true));
        key(QStringLiteral("ctrl+3"));
        QVERIFY(paletteOpen(false));
        QTest::qWait(600);
        QCOMPARE(submit(zenity), QStringLiteral("alpha one"));
    }

    void restoreBringsBackTheClipboard()
    {
        QCOMPARE(x->stopStashwell(), 0);
        x->setDefaults({{"restoreClipboardAfterPaste", true}});
        QVERIFY(x->startStashwell());
        seed(QStringLiteral("what I had copied"));
        const int before = x->history().size();
        QProcess *zenity = x->startZenityEntry();
        key(QStringLiteral("super+shift+v"));
        QVERIFY(paletteOpen(true));
        type(QStringLiteral("charlie"));
        key(QStringLiteral("Return"));
        QTest::qWait(1500); // snapshot, 100 ms, keys, 600 ms, restore
        QCOMPARE(submit(zenity), QStringLiteral("charlie three"));
        QTRY_COMPARE_WITH_TIMEOUT(clipboard(), QStringLiteral("what I had copied"), 3000);
        QTest::qWait(600); // give the monitor a few polls: neither change is recorded
        QCOMPARE(x->history().size(), before);
        QCOMPARE(texts().first(), QStringLiteral("charlie three"));
    }
};

QTEST_MAIN(PasteLoopE2ETest)
#include "PasteLoopE2ETest.moc"

// SPDX-License-Identifier: GPL-3.0-or-later
// End to end: the hot key opens the palette over a real application (zenity) without taking
// its focus, and Return pastes the chosen entry into it through XTest.
#include "e2e/XSession.h"

#include <QtTest>

class PasteLoopE2ETest : public QObject {
    Q_OBJECT
    std::unique_ptr<XSession> x;
    const QString hotKey = QStringLiteral("super+shift+v");

private slots:
    void initTestCase()
    {
        x = std::make_unique<XSession>();
        QVERIFY(x->isUp());
        QVERIFY(x->startStashwell());
        for (const char *text : {"alpha one", "bravo two", "charlie three"})
            QVERIFY(x->recordCopy(QString::fromLatin1(text)));
    }
    void cleanupTestCase() { x.reset(); }

    void hotKeyOpensWithoutTakingFocusAndEscapeCloses()
    {
        QProcess *zenity = x->startZenityEntry();
        QVERIFY(zenity);
        const QString target = x->activeWindow();
        x->key(hotKey);
        QVERIFY(x->waitForPopup(true));
        QCOMPARE(x->activeWindow(), target); // the application in front stays in front
        x->type(QStringLiteral("zzz"));
        x->key(QStringLiteral("Escape Escape")); // the first clears the query, the second closes it
        QVERIFY(x->waitForPopup(false));
        x->key(hotKey);
        QVERIFY(x->waitForPopup(true));
        x->key(hotKey); // the hot key toggles it closed
        QVERIFY(x->waitForPopup(false));
        QCOMPARE(x->activeWindow(), target);
        QCOMPARE(zenity->state(), QProcess::Running); // no Escape reached it
        x->key(hotKey); // and pressed again at once, opens it again
        QVERIFY2(x->waitForPopup(true), "the hot key pressed within a second of closing the palette was lost");
        x->key(QStringLiteral("Escape"));
        QVERIFY(x->waitForPopup(false));
    }

    void queryAndReturnPastesIntoTheApplication()
    {
        QProcess *zenity = x->startZenityEntry();
        QVERIFY(zenity);
        x->key(hotKey);
        QVERIFY(x->waitForPopup(true));
        x->type(QStringLiteral("bravo"));
        x->key(QStringLiteral("Return"));
        QCOMPARE(x->submitPaste(zenity, QStringLiteral("bravo two")), QStringLiteral("bravo two"));
        // The paste is not a new copy; it moved the entry to the top.
        QVERIFY(x->waitFor([&] { return x->texts().value(0) == QLatin1String("bravo two"); }));
        QCOMPARE(x->texts(), QStringList({"bravo two", "charlie three", "alpha one"}));
    }

    void commandDigitPastesByPosition()
    {
        QProcess *zenity = x->startZenityEntry();
        QVERIFY(zenity);
        x->key(hotKey);
        QVERIFY(x->waitForPopup(true));
        x->key(QStringLiteral("ctrl+3"));
        QCOMPARE(x->submitPaste(zenity, QStringLiteral("alpha one")), QStringLiteral("alpha one"));
    }

    void restoreBringsBackTheClipboard()
    {
        QCOMPARE(x->stopStashwell(), 0);
        x->setDefaults({{"restoreClipboardAfterPaste", true}});
        QVERIFY(x->startStashwell());
        QVERIFY(x->recordCopy(QStringLiteral("what I had copied")));
        QProcess *zenity = x->startZenityEntry();
        QVERIFY(zenity);
        x->key(hotKey);
        QVERIFY(x->waitForPopup(true));
        x->type(QStringLiteral("charlie"));
        x->key(QStringLiteral("Return"));
        QCOMPARE(x->submitPaste(zenity, QStringLiteral("charlie three")), QStringLiteral("charlie three"));
        QVERIFY(x->waitFor([&] { return x->run("xclip", {"-o", "-selection", "clipboard"}) == "what I had copied"; }));
        // A copy recorded after both: neither the paste's clipboard nor the restored one was.
        QVERIFY(x->recordCopy(QStringLiteral("copied afterwards")));
        QCOMPARE(x->texts(), QStringList({"copied afterwards", "charlie three", "what I had copied", "alpha one",
                                          "bravo two"}));
    }
};

QTEST_MAIN(PasteLoopE2ETest)
#include "PasteLoopE2ETest.moc"

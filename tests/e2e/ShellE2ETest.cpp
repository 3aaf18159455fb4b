// SPDX-License-Identifier: GPL-3.0-or-later
// End to end: the shell under Xvfb + openbox + trayer (a real XEmbed tray). A second
// `stashwell` process toggles the palette, lists and pastes the history, hands over a URL and
// quits the running one; the tray icon's menu lists the recent entries and pastes one. With
// none running, `stashwell config` changes the preferences file for the next start.
#include "e2e/XSession.h"

#include <QtTest>

class ShellE2ETest : public QObject {
    Q_OBJECT
    std::unique_ptr<XSession> x;

private slots:
    void initTestCase()
    {
        x = std::make_unique<XSession>();
        QVERIFY(x->isUp());
        QVERIFY(x->startStashwell({QStringLiteral("QT_LOGGING_RULES=stashwell.shell.info=true")}));
        for (const char *text : {"alpha one", "bravo two", "charlie three"})
            QVERIFY(x->recordCopy(QString::fromLatin1(text)));
        QVERIFY(x->waitFor([&] { return !x->stashwellTrayIcon().isEmpty(); })); // docked in the tray
    }
    void cleanupTestCase() { x.reset(); }

    void toggleFromASecondProcessOpensAndClosesThePalette()
    {
        QVERIFY(!x->stashwellHasVisiblePopup());
        QCOMPARE(x->runStashwellCommand({"toggle"}).exitCode, 0);
        QVERIFY(x->waitForPopup(true));
        QCOMPARE(x->runStashwellCommand({"toggle"}).exitCode, 0);
        QVERIFY(x->waitForPopup(false));
    }

    void listPrintsTheHistory()
    {
        const XSession::Run run = x->runStashwellCommand({"list"});
        QCOMPARE(run.out + run.err, QByteArray("1\tcharlie three\n2\tbravo two\n3\talpha one\n"));
    }

    void pasteNPastesIntoTheApplicationInFront()
    {
        QProcess *zenity = x->startZenityEntry();
        QVERIFY(zenity);
        QCOMPARE(x->runStashwellCommand({"paste", "2"}).exitCode, 0);
        QCOMPARE(x->submitPaste(zenity, QStringLiteral("bravo two")), QStringLiteral("bravo two"));
        const XSession::Run missing = x->runStashwellCommand({"paste", "9"});
        QCOMPARE(missing.exitCode, 1);
        QCOMPARE(missing.err, QByteArray("No entry 9: the history holds 3.\n"));
    }

    void aURLReachesTheRunningInstance()
    {
        QCOMPARE(x->runStashwellCommand({"stashwell://auth?code=x&state=y"}).exitCode, 0);
        QVERIFY(x->waitFor([&] { return x->stashwellStderr().contains("URL callback received, host auth"); }));
        QVERIFY(!x->stashwellStderr().contains("code=x")); // the secret is not logged
        const XSession::Run wrong = x->runStashwellCommand({"https://example.com/"});
        QCOMPARE(wrong.exitCode, 2);
        QCOMPARE(wrong.err, QByteArray("stashwell: not a stashwell:// URL: https://example.com/\n"
                                       "Try `stashwell --help` for the commands.\n"));
    }

    void pauseFromTheCommandLine()
    {
        QCOMPARE(x->runStashwellCommand({"pause"}).exitCode, 0);
        const qsizetype skipped = x->stashwellStderr().count("capture.skipped");
        x->xclipCopy("copied while paused");
        QVERIFY(x->waitFor([&] { return x->stashwellStderr().count("capture.skipped") > skipped; }));
        QCOMPARE(x->runStashwellCommand({"resume"}).exitCode, 0);
        QVERIFY(x->recordCopy(QStringLiteral("copied after resume")));
        QVERIFY(!x->texts().contains("copied while paused"));
    }

    void trayMenuListsTheRecentEntriesAndPastesOne()
    {
        const QStringList before = x->texts();
        QProcess *zenity = x->startZenityEntry();
        QVERIFY(zenity);
        x->click(x->stashwellTrayIconCentre(), 3);
        QVERIFY(x->waitForPopup(true)); // the menu
        // "Open Stashwell", then the recent entries: the second one.
        x->key(QStringLiteral("Down Down Down Return"));
        QCOMPARE(x->submitPaste(zenity, before.at(1)), before.at(1));
    }

    void aPlainClickOnTheTrayIconTogglesThePalette()
    {
        QVERIFY(x->waitForPopup(false)); // a menu still closing would take the click
        const QPoint icon = x->stashwellTrayIconCentre();
        x->click(icon, 1);
        QVERIFY(x->waitForPopup(true));
        x->click(icon, 1); // the same icon again closes it
        QVERIFY(x->waitForPopup(false));
        QCOMPARE(x->runStashwellCommand({"list"}).exitCode, 0); // a round trip: the click is handled
        QVERIFY(!x->stashwellHasVisiblePopup()); // and did not reopen it
    }

    void aSecondPlainStartLeavesOneInstance()
    {
        QCOMPARE(x->runStashwellCommand({}).exitCode, 0);
        QVERIFY(x->waitForPopup(true)); // it brings up the history instead
        x->key(QStringLiteral("Escape"));
        QVERIFY(x->waitForPopup(false));
        QCOMPARE(x->stashwell()->state(), QProcess::Running);
    }

    void quitEndsItCleanlyAndThenNothingRuns()
    {
        QCOMPARE(x->runStashwellCommand({"quit"}).exitCode, 0);
        QCOMPARE(x->waitForStashwellExit(5000), 0);
        const XSession::Run list = x->runStashwellCommand({"list"});
        QCOMPARE(list.exitCode, 1);
        QCOMPARE(list.err, QByteArray("Stashwell is not running.\n"));
    }

    void configWorksWhileNothingRunsAndTheNextStartUsesIt()
    {
        QCOMPARE(x->runStashwellCommand({"config", "historyLimit", "1000"}).exitCode, 0);
        QCOMPARE(x->defaults()["historyLimit"], QJsonValue(1000));
        QCOMPARE(x->runStashwellCommand({"config", "historyLimit", "5"}).exitCode, 2); // the same checks
        QVERIFY(x->startStashwell());
        QCOMPARE(x->runStashwellCommand({"config", "historyLimit"}).out, QByteArray("1000\n")); // the running one's
    }
};

QTEST_MAIN(ShellE2ETest)
#include "ShellE2ETest.moc"

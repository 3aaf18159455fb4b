// End to end: the shell under Xvfb + openbox + trayer (a real XEmbed tray). A second
// `stashwell` process toggles the palette, lists and pastes the history, hands over a URL and
// quits the running one; the tray icon's menu lists the recent entries and pastes one.
#include "e2e/XSession.h"

#include <QJsonObject>
#include <QtTest>

class ShellE2ETest : public QObject {
    Q_OBJECT
    std::unique_ptr<XSession> x;

    void key(const QString &keys) const { x->run(QStringLiteral("xdotool"), {"key", "--delay", "60", keys}); }
    bool popupShown(bool shown) const
    {
        for (int waited = 0; waited < 5000; waited += 50) {
            if (x->stashwellHasVisiblePopup() == shown)
                return true;
            QTest::qWait(50);
        }
        return false;
    }
    void seed(const QString &text)
    {
        x->xclipCopy(text.toUtf8());
        x->waitForHistory([&](const QJsonArray &items) {
            return !items.isEmpty() && items[0].toObject()["text"].toString() == text;
        });
    }
    QString submit(QProcess *zenity) const
    {
        key(QStringLiteral("Return"));
        zenity->waitForFinished(5000);
        return QString::fromUtf8(zenity->readAllStandardOutput()).trimmed();
    }
    QStringList texts() const
    {
        QStringList list;
        for (const QJsonValue &v : x->history())
            list << v.toObject()["text"].toString();
        return list;
    }

private slots:
    void initTestCase()
    {
        x = std::make_unique<XSession>();
        QVERIFY(x->isUp());
        QVERIFY(x->startTray());
        QVERIFY(x->startStashwell({QStringLiteral("QT_LOGGING_RULES=stashwell.shell.info=true")}));
        for (const char *text : {"alpha one", "bravo two", "charlie three"})
            seed(QString::fromLatin1(text));
        QCOMPARE(texts(), QStringList({"charlie three", "bravo two", "alpha one"}));
        QTRY_VERIFY_WITH_TIMEOUT(!x->stashwellTrayIcon().isEmpty(), 5000); // docked in the tray
    }
    void cleanupTestCase() { x.reset(); }

    void toggleFromASecondProcessOpensAndClosesThePalette()
    {
        QVERIFY(!x->stashwellHasVisiblePopup());
        XSession::Run run = x->runStashwellCommand({"toggle"});
        QCOMPARE(run.exitCode, 0);
        QVERIFY(popupShown(true));
        run = x->runStashwellCommand({"toggle"});
        QCOMPARE(run.exitCode, 0);
        QVERIFY(popupShown(false));
    }

    void listPrintsTheHistory()
    {
        const XSession::Run run = x->runStashwellCommand({"list"});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, QByteArray("1\tcharlie three\n2\tbravo two\n3\talpha one\n"));
        QVERIFY(run.err.isEmpty());
    }

    void pasteNPastesIntoTheApplicationInFront()
    {
        QProcess *zenity = x->startZenityEntry();
        const XSession::Run run = x->runStashwellCommand({"paste", "2"});
        QCOMPARE(run.exitCode, 0);
        QTest::qWait(700); // 100 ms, then the keys
        QCOMPARE(submit(zenity), QStringLiteral("bravo two"));
        const XSession::Run missing = x->runStashwellCommand({"paste", "9"});
        QCOMPARE(missing.exitCode, 1);
        QCOMPARE(missing.err, QByteArray("No entry 9: the history holds 3.\n"));
    }

    void aURLReachesTheRunningInstance()
    {
        const XSession::Run run = x->runStashwellCommand({"stashwell://auth?code=x&state=y"});
        QCOMPARE(run.exitCode, 0);
        QTRY_VERIFY_WITH_TIMEOUT(x->stashwellStderr().contains("URL callback received, host auth"), 3000);
        QVERIFY(!x->stashwellStderr().contains("code=x")); // the secret is not logged
        const XSession::Run bad = x->runStashwellCommand({"https://example.com/"});
        QCOMPARE(bad.exitCode, 2);
    }

    void pauseFromTheCommandLine()
    {
        QCOMPARE(x->runStashwellCommand({"pause"}).exitCode, 0);
        x->xclipCopy("copied while paused");
        QTest::qWait(800);
        QVERIFY(!texts().contains("copied while paused"));
        QCOMPARE(x->runStashwellCommand({"resume"}).exitCode, 0);
        seed(QStringLiteral("copied after resume"));
        QCOMPARE(texts().first(), QStringLiteral("copied after resume"));
    }

    void trayMenuListsTheRecentEntriesAndPastesOne()
    {
        const QStringList before = texts();
        QProcess *zenity = x->startZenityEntry();
        const QPoint icon = x->stashwellTrayIconCentre();
        x->run(QStringLiteral("xdotool"),
               {"mousemove", QString::number(icon.x()), QString::number(icon.y()), "click", "3"});
        QVERIFY(popupShown(true)); // the menu
        // "Open Stashwell", then the recent entries: the second one.
        key(QStringLiteral("Down"));
        key(QStringLiteral("Down"));
        key(QStringLiteral("Down"));
        key(QStringLiteral("Return"));
        QVERIFY(popupShown(false));
        QTest::qWait(700);
        QCOMPARE(submit(zenity), before.at(1));
    }

    void aPlainClickOnTheTrayIconTogglesThePalette()
    {
        const QPoint icon = x->stashwellTrayIconCentre();
        x->run(QStringLiteral("xdotool"),
               {"mousemove", QString::number(icon.x()), QString::number(icon.y()), "click", "1"});
        QVERIFY(popupShown(true));
        QTest::qWait(300);
        x->run(QStringLiteral("xdotool"), {"click", "1"}); // the same icon again closes it
        QVERIFY(popupShown(false));
        QTest::qWait(500);
        QVERIFY(!x->stashwellHasVisiblePopup()); // and does not reopen it
    }

    void aSecondPlainStartLeavesOneInstance()
    {
        const XSession::Run run = x->runStashwellCommand({});
        QCOMPARE(run.exitCode, 0);
        QVERIFY(popupShown(true)); // it brings up the history instead
        key(QStringLiteral("Escape"));
        QVERIFY(popupShown(false));
        QCOMPARE(x->stashwell()->state(), QProcess::Running);
    }

    void quitEndsItCleanlyAndThenNothingRuns()
    {
        const XSession::Run run = x->runStashwellCommand({"quit"});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(x->waitForStashwellExit(5000), 0);
        const XSession::Run list = x->runStashwellCommand({"list"});
        QCOMPARE(list.exitCode, 1);
        QCOMPARE(list.err, QByteArray("Stashwell is not running.\n"));
    }
};

QTEST_MAIN(ShellE2ETest)
#include "ShellE2ETest.moc"

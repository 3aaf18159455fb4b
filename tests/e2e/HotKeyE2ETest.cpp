// SPDX-License-Identifier: GPL-3.0-or-later
// End to end: the hot key under Xvfb + openbox. A hot key set from the command line works at
// once and frees the old one; a hot key another program holds is reported in a notice whose
// Return opens the settings with the recorder listening.
#include "e2e/XSession.h"

#include <QtTest>

class HotKeyE2ETest : public QObject {
    Q_OBJECT
    std::unique_ptr<XSession> x;
    std::unique_ptr<QProcess> grabber;

    // Another program takes Super+Shift+V; true once it holds it.
    bool grabSuperShiftV()
    {
        grabber = std::make_unique<QProcess>();
        grabber->setProcessEnvironment(x->environment());
        grabber->start(QStringLiteral(STASHWELL_KEY_GRABBER), {});
        x->waitFor([&] { return grabber->canReadLine() || grabber->state() == QProcess::NotRunning; });
        return grabber->readLine().trimmed() == "grabbed";
    }
    QString hotKeySetting() const
    {
        return QString::fromUtf8(x->runStashwellCommand({"config", "hotKey"}).out.trimmed());
    }

private slots:
    void init()
    {
        x = std::make_unique<XSession>();
        QVERIFY(x->isUp());
    }
    void cleanup()
    {
        grabber.reset(); // killed
        x.reset();
    }

    void aHotKeySetFromTheCommandLineWorksAtOnceAndFreesTheOldOne()
    {
        QVERIFY(x->startStashwell());
        QCOMPARE(x->runStashwellCommand({"config", "hotKey", "Ctrl+Alt+V"}).exitCode, 0);
        x->key(QStringLiteral("ctrl+alt+v"));
        QVERIFY(x->waitForPopup(true));
        x->key(QStringLiteral("ctrl+alt+v"));
        QVERIFY(x->waitForPopup(false));
        // Super+Shift+V is no longer stashwell's: another program can take it.
        QVERIFY(grabSuperShiftV());
        QCOMPARE(x->runStashwellCommand({"config", "hotKey", "Shift+V"}).exitCode, 2);
        QCOMPARE(hotKeySetting(), QStringLiteral("\"Ctrl+Alt+V\""));
    }

    void aHotKeyAnotherProgramHoldsIsReportedAndReturnOnTheNoticeRecordsAnother()
    {
#ifndef STASHWELL_TEST_HOOKS
        QFAIL("configure with -DSTASHWELL_TEST_HOOKS=ON: this test reads the settings window's widgets");
#endif
        QVERIFY(grabSuperShiftV());
        QVERIFY(x->startStashwell());
        QVERIFY(x->waitFor([&] { return !x->stashwellNotices().isEmpty(); }));
        QCOMPARE(hotKeySetting(), QStringLiteral("\"Meta+Shift+V\"")); // the user's choice is kept

        // The notice does not take the focus; once it has it, Return is its "choose" button.
        QVERIFY(x->focus(x->stashwellNotices().value(0)));
        x->key(QStringLiteral("Return"));
        // The settings window comes up with its recorder listening, the keyboard grabbed: Alt+F4,
        // which openbox would take to close the window, is the next hot key.
        const auto recording = [&] {
            const QJsonObject settings = x->shownWindow(QStringLiteral("settingsWindow"));
            return !XSession::shownWidget(settings, QStringLiteral("hotKeyRecording")).isEmpty();
        };
        QVERIFY(x->waitFor(recording, 10000));
        x->key(QStringLiteral("alt+F4"));
        QVERIFY(x->waitFor([&] { return hotKeySetting() == QStringLiteral("\"Alt+F4\""); }));
    }
};

QTEST_MAIN(HotKeyE2ETest)
#include "HotKeyE2ETest.moc"

// SPDX-License-Identifier: GPL-3.0-or-later
// End to end: the hot key under Xvfb + openbox. A hot key set from the command line works at
// once and frees the old one; a hot key another program holds is reported in a notice that
// leads to the recorder.
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
    // stashwell's visible notice windows (window role "notice").
    QStringList notices() const
    {
        QStringList ids;
        const QByteArray all =
            x->run("xdotool", {"search", "--onlyvisible", "--pid", QString::number(x->stashwell()->processId())});
        for (const QByteArray &id : all.split('\n'))
            if (!id.isEmpty() && x->run("xprop", {"-id", QString::fromLatin1(id), "WM_WINDOW_ROLE"}).contains("\"notice\""))
                ids << QString::fromLatin1(id);
        return ids;
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

    void aHotKeyAnotherProgramHoldsIsReported()
    {
        QVERIFY(grabSuperShiftV());
        QVERIFY(x->startStashwell());
        QVERIFY(x->waitFor([&] { return !notices().isEmpty(); }));
        QCOMPARE(hotKeySetting(), QStringLiteral("\"Meta+Shift+V\"")); // the user's choice is kept
    }
};

QTEST_MAIN(HotKeyE2ETest)
#include "HotKeyE2ETest.moc"

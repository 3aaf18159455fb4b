// SPDX-License-Identifier: GPL-3.0-or-later
// End to end: clipboard owners that never answer, answer slowly or offer far too much neither
// freeze stashwell nor get a secret recorded, and quick successions of copies are all recorded.
#include "e2e/XSession.h"

#include <QElapsedTimer>
#include <QtTest>

class CaptureRobustnessE2ETest : public QObject {
    Q_OBJECT
    std::unique_ptr<XSession> x;
    std::vector<std::unique_ptr<QProcess>> owners;

    // A misbehaving owner (tests/e2e/StallingOwner.cpp) once it holds the clipboard, else nullptr.
    QProcess *startOwner(const QStringList &args)
    {
        auto &owner = owners.emplace_back(std::make_unique<QProcess>());
        owner->setProcessEnvironment(x->environment());
        owner->start(QStringLiteral(STASHWELL_STALLING_OWNER), args);
        return waitForLine(owner.get(), "owned") ? owner.get() : nullptr;
    }
    static bool waitForLine(QProcess *process, const QByteArray &line)
    {
        return XSession::waitFor([&] { return process->peek(1 << 20).split('\n').contains(line); }, 10000);
    }

private slots:
    void initTestCase()
    {
        x = std::make_unique<XSession>();
        QVERIFY2(x->isUp(), "Xvfb and openbox did not start");
        QVERIFY(x->startStashwell());
    }
    void cleanupTestCase()
    {
        for (auto &owner : owners) {
            owner->kill();
            owner->waitForFinished(1000);
        }
        x.reset();
    }

    void silentOwnerFreezesNothing()
    {
        QProcess *silent = startOwner({QStringLiteral("silent")});
        QVERIFY(silent && waitForLine(silent, "request")); // stashwell is reading it
        QElapsedTimer clock;
        clock.start();
        x->key(QStringLiteral("super+shift+v"));
        QVERIFY(x->waitForPopup(true, 10000));
        qInfo("palette shown %lld ms after the hot key, under a silent owner", clock.elapsed());
        x->key(QStringLiteral("Escape"));
        QVERIFY(x->waitForPopup(false, 10000));

        clock.restart();
        const XSession::Run list = x->runStashwellCommand({QStringLiteral("list")});
        qInfo("stashwell list answered in %lld ms, under a silent owner", clock.elapsed());
        QCOMPARE(list.exitCode, 0);

        QVERIFY(x->recordCopy(QStringLiteral("copied after the silent owner")));
    }

    void hugeOfferIsRefusedUnread()
    {
        const qint64 before = x->stashwellMemoryKiB("VmHWM");
        QProcess *huge = startOwner({QStringLiteral("huge"), QString::number(200 * 1024 * 1024)});
        QVERIFY(huge && waitForLine(huge, "request"));
        QVERIFY(x->recordCopy(QStringLiteral("copied after the huge offer")));
        QTRY_COMPARE_WITH_TIMEOUT(huge->state(), QProcess::NotRunning, 10000); // it lost the clipboard
        QVERIFY(!huge->readAllStandardOutput().contains("transfer")); // not one chunk was asked for
        const qint64 peak = x->stashwellMemoryKiB("VmHWM");
        qInfo("peak RSS %lld KiB before, %lld KiB after a 200 MiB offer", before, peak);
        QVERIFY2(peak > 0 && peak < 150 * 1024, qPrintable(QString::number(peak)));
    }

    void secretTakingOverASlowReadIsNeverStored()
    {
        QProcess *slow = startOwner({QStringLiteral("slow"), QStringLiteral("400"), QStringLiteral("ordinary text")});
        QVERIFY(slow && waitForLine(slow, "request")); // stashwell has begun to read it
        x->copyTypes({{"text/plain", "hunter2-took-over"}, {"x-kde-passwordManagerHint", "secret"}});
        QVERIFY(x->recordCopy(QStringLiteral("after the race"))); // reads are one at a time: all ended
        QVERIFY(!x->everythingStored().contains("hunter2-took-over"));
    }

    void quickCopiesAreAllRecorded_data()
    {
        QTest::addColumn<int>("perSecond");
        QTest::newRow("5 per second") << 5;
        QTest::newRow("10 per second") << 10;
    }
    void quickCopiesAreAllRecorded()
    {
        QFETCH(int, perSecond);
        QStringList texts;
        QElapsedTimer clock;
        clock.start();
        for (int i = 0; i < 20; ++i) {
            texts << QStringLiteral("copy %1 at %2 a second").arg(i).arg(perSecond);
            while (clock.elapsed() < i * 1000 / perSecond)
                QTest::qWait(5);
            x->xclipCopy(texts.last().toUtf8());
            // The next copy starts only once this one owns the clipboard.
            XSession::waitFor([&] {
                return x->run(QStringLiteral("xclip"), {"-o", "-selection", "clipboard"}) == texts.last().toUtf8();
            });
        }
        const qint64 copyingMs = clock.elapsed();
        XSession::waitFor([&] { return x->texts().value(0) == texts.last(); }, 10000);
        const QStringList stored = x->texts();
        QStringList missing;
        for (const QString &text : std::as_const(texts))
            if (!stored.contains(text))
                missing << text;
        qInfo("%d a second: %lld of 20 copies (made in %lld ms) recorded", perSecond, 20 - missing.size(), copyingMs);
        QVERIFY2(missing.isEmpty(), qPrintable(missing.join(QStringLiteral(", "))));
    }
};

QTEST_MAIN(CaptureRobustnessE2ETest)
#include "CaptureRobustnessE2ETest.moc"

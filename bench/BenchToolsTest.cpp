// SPDX-License-Identifier: GPL-3.0-or-later
// The benchmark's own instruments: the generated history reaches both programs whole and in
// the same order, process trees are summed, the X probe sees a managed window map, repaint as a
// key is typed into it, and unmap, and each measurement gets a figure from the real stashwell.
#include "Contender.h"
#include "HistoryGenerator.h"
#include "Measurements.h"
#include "ProcessTree.h"
#include "XProbe.h"
#include "e2e/XSession.h"

#include <QJsonArray>
#include <csignal>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>
#include <X11/keysym.h>

class BenchToolsTest : public QObject {
    Q_OBJECT
    QTemporaryDir work;
    std::unique_ptr<GeneratedHistory> history;
    static constexpr qsizetype generated = 600;

private slots:
    void initTestCase() { history = std::make_unique<GeneratedHistory>(work.path(), generated); }

    void theNewestEntriesReachBothProgramsInTheSameOrder_data()
    {
        QTest::addColumn<qsizetype>("count");
        QTest::newRow("the newest only") << qsizetype(1);
        QTest::newRow("up to the first image") << qsizetype(101);
        QTest::newRow("all, two images") << generated;
    }
    void theNewestEntriesReachBothProgramsInTheSameOrder()
    {
        QFETCH(qsizetype, count);
        QCOMPARE(history->size(), generated); // no copy was merged into another or dropped
        const QString dir = work.path() + QStringLiteral("/given");
        QVERIFY(history->writeStashwellDir(dir, count));
        QFile file(dir + QStringLiteral("/history.json"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const std::optional<QList<ClipItem>> items = HistoryStore::decode(file.readAll());
        QVERIFY(items);
        const QJsonArray oldestFirst = QJsonDocument::fromJson(history->oldestFirstJson(count)).array();
        QCOMPARE(items->size(), count);
        QCOMPARE(oldestFirst.size(), count);
        for (qsizetype i = 0; i < count; ++i) {
            const ClipItem &item = items->at(i);
            const QJsonObject given = oldestFirst[count - 1 - i].toObject();
            if (item.hasImage) {
                QVERIFY(QFile::exists(dir + QStringLiteral("/blobs/") + item.idString() + QStringLiteral(".png")));
                QVERIFY(QFile::exists(given[QLatin1String("png")].toString()));
            } else {
                QCOMPARE(given[QLatin1String("text")].toString(), item.text.value_or(QString()));
            }
        }
    }

    void aProgramIsSummedWithTheProcessesItStarted()
    {
        QProcess shell;
        shell.start(QStringLiteral("sh"), {"-c", "sleep 30 & echo started; wait"});
        QVERIFY(shell.waitForReadyRead(5000));
        const QList<qint64> tree = ProcessTree::of(shell.processId());
        QCOMPARE(tree.size(), 2);
        QCOMPARE(tree.first(), shell.processId());
        QVERIFY(ProcessTree::rssKiB(tree) > ProcessTree::rssKiB({tree.first()}));
        QVERIFY(ProcessTree::pssKiB(tree) > 0);
        ::kill(pid_t(tree.last()), SIGKILL);
        shell.kill();
        shell.waitForFinished();
        QVERIFY(ProcessTree::of(tree.first()).isEmpty());
    }

    void theProbeSeesAWindowMapRepaintAsAKeyIsTypedAndUnmap()
    {
        XSession x;
        QVERIFY(x.isUp());
        XProbe probe(x.display());
        QVERIFY(probe.isUp());
        QProcess *zenity = x.startZenityEntry();
        QVERIFY(zenity);
        const std::optional<XProbe::Mapped> frame = probe.waitMapped(false, 5000);
        QVERIFY(frame);
        probe.watchRepaints(frame->window);
        probe.settledRepaint(XProbe::Clock::now(), 300, 1000); // its first paint
        QVERIFY(probe.settledRepaint(probe.type(QLatin1Char('a')), 300, 5000));
        probe.press({XK_Escape});
        QVERIFY(probe.waitUnmapped(frame->window, 5000));
    }

    void everyMeasurementGetsAFigureFromStashwell()
    {
        StashwellContender stashwell;
        XProbe probe(stashwell.desktop().display());
        QVERIFY(stashwell.desktop().isUp() && probe.isUp());
        QVERIFY(stashwell.install(*history, 300));
        QVERIFY(Measure::startUntilCaptureReady(stashwell));
        QVERIFY(stashwell.waitAnswers());
        QCOMPARE(stashwell.entryCount(), std::optional<qsizetype>(300)); // its limit: the newest copies push out the oldest
        QVERIFY(stashwell.desktop().startZenityEntry());
        QVERIFY(Measure::openOnce(stashwell, probe, false));
        QVERIFY(Measure::openOnce(stashwell, probe, true));
        const QList<std::optional<double>> keys = Measure::keystrokes(stashwell, probe, QStringLiteral("de"));
        QCOMPARE(keys.size(), 2);
        QVERIFY(keys[0] && keys[1]);
        QCOMPARE(Measure::captureRatio(stashwell, 5, 3, QStringLiteral("test")), 1.0);
        QVERIFY(ProcessTree::rssKiB(stashwell.processes()) > 0);
    }
};

QTEST_MAIN(BenchToolsTest)
#include "BenchToolsTest.moc"

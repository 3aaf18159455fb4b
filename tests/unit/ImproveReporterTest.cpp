// SPDX-License-Identifier: GPL-3.0-or-later
// The usage statistics reporter against a fake clock and a local HTTP server.
#include "app/AppSettings.h"
#include "diagnostics/ImproveEvents.h"
#include "diagnostics/ImproveReporter.h"
#include "fakes/Fakes.h"
#include "fakes/LocalHttpServer.h"
#include "fakes/TestFiles.h"
#include "platform/DefaultsStore.h"

#include <QtTest>

class ImproveReporterTest : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<DefaultsStore> defaults;
    FakeClock clock;
    std::unique_ptr<LocalHttpServer> server;
    std::unique_ptr<ImproveReporter> reporter;

    QString queuePath() const { return dir->path() + "/diag/improve-queue.jsonl"; }
    QList<QByteArray> queued() const { return readFile(queuePath()).split('\n').mid(0, readFile(queuePath()).count('\n')); }
    ImproveReporter &make(const std::optional<QString> &root = {})
    {
        reporter = std::make_unique<ImproveReporter>(*defaults, root.value_or(server->rootURL()), dir->path() + "/diag", clock);
        return *reporter;
    }
    // A queue of `count` events, as an earlier launch would have left it.
    void seedQueue(int count)
    {
        QByteArray bytes;
        for (int i = 0; i < count; ++i)
            bytes += ImproveEvents::eventLine(clock.now(), "e", QJsonObject{{"i", i}}) + '\n';
        QVERIFY(QDir().mkpath(dir->path() + "/diag") && writeFile(queuePath(), bytes));
    }

private slots:
    void init()
    {
        reporter.reset();
        dir = std::make_unique<QTemporaryDir>();
        defaults = std::make_unique<DefaultsStore>(QString());
        clock.wall = FakeClock().wall.addMSecs(250);
        server = std::make_unique<LocalHttpServer>();
    }

    void recordQueuesOneCompactSanitisedLineUnlessSwitchedOff()
    {
        make().record("capture.skipped", {{"long", QString(300, QLatin1Char('a'))}, {"nan", qQNaN()}, {"inf", qInf()},
                                          {"date", QDateTime()}, {"list", QStringList{"a"}}, {"data", QByteArray("raw")},
                                          {"null", QVariant()}, {"flag", true}, {"count", qint64(1) << 40},
                                          {"ratio", 0.5}, {"reason", "paused"}});
        reporter->waitForWorker();
        const QByteArray line = "{\"t\":1772357400.25,\"n\":\"capture.skipped\",\"p\":{\"count\":1099511627776,\"flag\":true,"
                                "\"long\":\"" + QByteArray(256, 'a') + "\",\"ratio\":0.5,\"reason\":\"paused\"}}\n";
        QCOMPARE(readFile(queuePath()), line);
        QCOMPARE(QFileInfo(queuePath()).permissions() & QFile::Permissions(0x0077), 0);
        defaults->set("improveDataSharing", "no"); // not a Bool: still on
        reporter->record("capture.skipped", {});
        defaults->set("improveDataSharing", false);
        reporter->record("capture.skipped", {});
        reporter->waitForWorker();
        make(QString()).record("no service", {});
        reporter->waitForWorker();
        QCOMPARE(queued().size(), 2);
    }

    void theTwoHundredthEventFlushesABatchOfTwoHundred()
    {
        make();
        seedQueue(199);
        reporter->record("e", {{"i", 199}});
        QTRY_COMPARE(server->count("/api/improve"), 1);
        QCOMPARE(server->requests()[0].json()["events"].toArray().size(), 200);
        QTRY_VERIFY(!reporter->inFlight());
        reporter->waitForWorker();
        seedQueue(201);
        QVERIFY(reporter->flushNow(true));
        QCOMPARE(server->requests()[1].json()["events"].toArray().size(), 200);
        QCOMPARE(queued().size(), 1);
    }

    void theAnswerDecidesWhetherTheBatchIsKept_data()
    {
        QTest::addColumn<int>("status"); // 0: the service cannot be reached
        QTest::addColumn<bool>("kept");
        for (const int status : {200, 400, 499})
            QTest::addRow("%d drops it", status) << status << false;
        for (const int status : {500, 503, 0})
            QTest::addRow("%d keeps it", status) << status << true;
    }
    void theAnswerDecidesWhetherTheBatchIsKept()
    {
        QFETCH(int, status);
        QFETCH(bool, kept);
        make(status ? std::nullopt : std::optional<QString>("http://127.0.0.1:1")); // nothing listens there
        seedQueue(3);
        const QByteArray before = readFile(queuePath()) + "garbage\n";
        QVERIFY(writeFile(queuePath(), before));
        server->setRoute("POST", "/api/improve", {status, {}});
        QVERIFY(reporter->flushNow(true));
        QCOMPARE(readFile(queuePath()), kept ? before : QByteArray()); // byte for byte
        QVERIFY(!reporter->inFlight());
    }

    void eventsRecordedDuringAnUploadStayAndTheTokenIsTheMainThreads()
    {
        make();
        QThread *askedOn = nullptr;
        reporter->tokenProvider = [&askedOn] {
            askedOn = QThread::currentThread();
            return std::optional<QString>("tok-123");
        };
        seedQueue(250);
        server->hold();
        reporter->flushNow(false);
        QTRY_COMPARE(server->count(), 1);
        QCOMPARE(askedOn, QThread::currentThread());
        QCOMPARE(server->requests()[0].headers.value("authorization"), QByteArray("Bearer tok-123"));
        QVERIFY(reporter->inFlight());
        reporter->record("late", {{"i", 1000}});
        reporter->flushNow(false); // ignored: one upload at a time
        reporter->waitForWorker();
        server->release();
        QTRY_VERIFY(!reporter->inFlight());
        reporter->waitForWorker();
        QCOMPARE(server->count(), 1);
        const QList<QByteArray> left = queued(); // the 50 beyond the batch, then the one recorded meanwhile
        QCOMPARE(left.size(), 51);
        QCOMPARE(QJsonDocument::fromJson(left[0])["p"]["i"].toInt(), 200);
        QCOMPARE(QJsonDocument::fromJson(left[50])["p"]["i"].toInt(), 1000);
    }

    void switchingOffClearsTheQueue()
    {
        FakeLoginItem loginItem;
        AppSettings settings(*defaults, loginItem);
        make();
        settings.discardUnsentStatistics = [this] { reporter->clearQueue(); };
        seedQueue(4);
        settings.setImproveDataSharing(false);
        std::unique_ptr<QThread> other(QThread::create([this] { reporter->record("off thread", {}); }));
        other->start();
        other->wait();
        reporter->waitForWorker();
        QVERIFY(!QFile::exists(queuePath()));
        seedQueue(4); // left from an earlier launch: cleared at the start while switched off
        make().start();
        reporter->waitForWorker();
        QVERIFY(!QFile::exists(queuePath()));
        QCOMPARE(server->count(), 0);
    }
};

QTEST_GUILESS_MAIN(ImproveReporterTest)
#include "ImproveReporterTest.moc"

// Part 7.1: the improvement reporter against an in-memory defaults store, a fake clock and a
// local HTTP server standing in for the vendor's web service.
#include "BuildInfo.h"
#include "app/AppSettings.h"
#include "diagnostics/ImproveEvents.h"
#include "diagnostics/ImproveQueueWorker.h"
#include "diagnostics/ImproveReporter.h"
#include "fakes/Fakes.h"
#include "fakes/LocalHttpServer.h"
#include "fakes/TestFiles.h"
#include "platform/DefaultsStore.h"

#include <QFile>
#include <QJsonArray>
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>
#include <limits>
#include <memory>

namespace {

QList<QByteArray> lines(const QString &path)
{
    QList<QByteArray> pieces = readFile(path).split('\n');
    pieces.removeAll(QByteArray());
    return pieces;
}

QByteArray eventAt(const QDateTime &time, int index)
{
    return ImproveEvents::eventLine(time, QStringLiteral("test.event"), QJsonObject{{"i", index}});
}

} // namespace

class ImproveReporterTest : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<DefaultsStore> defaults;
    std::unique_ptr<FakeClock> clock;
    std::unique_ptr<LocalHttpServer> server;
    std::unique_ptr<ImproveReporter> reporter;

    QString queuePath() const { return dir->path() + "/diag/improve-queue.jsonl"; }

    ImproveReporter &make(ImproveReporterOptions options = {}, const QString &root = QStringLiteral("server"))
    {
        reporter = std::make_unique<ImproveReporter>(*defaults, root == "server" ? server->rootURL() : root,
                                                     dir->path() + "/diag", *clock, options);
        return *reporter;
    }
    // A queue of `count` events recorded now, as an earlier launch would have left it.
    void seedQueue(int count)
    {
        QByteArray bytes;
        for (int i = 0; i < count; ++i)
            bytes += eventAt(clock->now(), i) + '\n';
        QVERIFY(writeFile(queuePath(), bytes));
    }
    QJsonArray sentEvents(int request) const
    {
        return server->requests("/api/improve").value(request).json().value("events").toArray();
    }

private slots:
    void init()
    {
        dir = std::make_unique<QTemporaryDir>();
        defaults = std::make_unique<DefaultsStore>(QString());
        clock = std::make_unique<FakeClock>();
        server = std::make_unique<LocalHttpServer>();
    }
    void cleanup()
    {
        reporter.reset();
        server.reset();
    }

    void recordsWhenNoSwitchIsStored()
    {
        QVERIFY(!defaults->contains("improveDataSharing"));
        make().record("app.env", {{"historyLimit", 500}});
        reporter->waitForWorker();
        const QList<QByteArray> queued = lines(queuePath());
        QCOMPARE(queued.size(), 1);
        const QJsonObject event = QJsonDocument::fromJson(queued[0]).object();
        QCOMPARE(event.keys(), QStringList({"n", "p", "t"}));
        QCOMPARE(event["n"].toString(), QStringLiteral("app.env"));
        QCOMPARE(event["t"].toDouble(), clock->now().toMSecsSinceEpoch() / 1000.0);
        QCOMPARE(event["p"].toObject()["historyLimit"].toInteger(), 500);
        QVERIFY(queued[0].startsWith("{\"t\":")); // compact, in the order t, n, p
        QCOMPARE(readFile(queuePath()).back(), '\n');
    }

    void queueFileIsPrivate()
    {
        make().record("x", {});
        reporter->waitForWorker();
        QCOMPARE(QFileInfo(queuePath()).permissions() & QFile::Permissions(0x0077), 0);
        QCOMPARE(QFileInfo(dir->path() + "/diag").permissions() & QFile::Permissions(0x0077), 0);
    }

    void timeKeepsItsFraction()
    {
        clock->wall = clock->wall.addMSecs(250);
        make().record("x", {});
        reporter->waitForWorker();
        const double t = QJsonDocument::fromJson(lines(queuePath()).value(0)).object()["t"].toDouble();
        QCOMPARE(t - std::floor(t), 0.25);
    }

    void sanitisesProperties()
    {
        const QString longText(300, QLatin1Char('a'));
        make().record("capture.skipped",
                      {{"long", longText},
                       {"nan", std::numeric_limits<double>::quiet_NaN()},
                       {"inf", std::numeric_limits<double>::infinity()},
                       {"date", QDateTime::currentDateTimeUtc()},
                       {"list", QStringList{"a"}},
                       {"map", QVariantMap{{"a", 1}}},
                       {"data", QByteArray("raw")},
                       {"null", QVariant()},
                       {"flag", true},
                       {"count", qint64(1) << 40},
                       {"ratio", 0.5},
                       {"reason", "paused"}});
        reporter->waitForWorker();
        const QJsonObject p = QJsonDocument::fromJson(lines(queuePath()).value(0)).object()["p"].toObject();
        QCOMPARE(p["long"].toString(), QString(256, QLatin1Char('a')));
        QCOMPARE(p.keys(), QStringList({"count", "flag", "long", "ratio", "reason"}));
        QCOMPARE(p["flag"], QJsonValue(true));
        QCOMPARE(p["count"].toInteger(), qint64(1) << 40);
        QCOMPARE(p["ratio"].toDouble(), 0.5);
    }

    void cutsStringsAtCharactersNotCodeUnits()
    {
        QString flags;
        for (int i = 0; i < 300; ++i)
            flags += QString::fromUtf8("\xF0\x9F\x87\xA9\xF0\x9F\x87\xAA"); // one flag, four UTF-16 units
        const QJsonObject p = ImproveEvents::sanitize({{"s", flags}});
        QCOMPARE(p["s"].toString(), flags.left(256 * 4));
    }

    void recordsNothingWhileSwitchedOff()
    {
        defaults->set("improveDataSharing", false);
        make().record("x", {});
        reporter->waitForWorker();
        QVERIFY(!QFile::exists(queuePath()));
    }

    void aNonBoolSwitchCountsAsOn()
    {
        defaults->set("improveDataSharing", "no");
        make().record("x", {});
        reporter->waitForWorker();
        QCOMPARE(lines(queuePath()).size(), 1);
    }

    void recordsNothingWithoutAService()
    {
        make({}, QString()).record("x", {});
        reporter->waitForWorker();
        QVERIFY(!QFile::exists(queuePath()));
    }

    void recordIsCallableFromAnyThread()
    {
        make();
        std::unique_ptr<QThread> other(QThread::create([this] {
            for (int i = 0; i < 50; ++i)
                reporter->record("thread.event", {{"i", i}});
        }));
        other->start();
        other->wait();
        reporter->waitForWorker();
        const QList<QByteArray> queued = lines(queuePath());
        QCOMPARE(queued.size(), 50);
        QCOMPARE(QJsonDocument::fromJson(queued[49]).object()["p"].toObject()["i"].toInt(), 49);
    }

    void theTwoHundredthLineFlushesAtOnce()
    {
        make();
        for (int i = 0; i < 199; ++i)
            reporter->record("e", {{"i", i}});
        reporter->waitForWorker();
        QCOMPARE(server->count(), 0);
        reporter->record("e", {{"i", 199}});
        QTRY_COMPARE(server->count("/api/improve"), 1);
        QCOMPARE(sentEvents(0).size(), 200);
        QCOMPARE(sentEvents(0)[199].toObject()["p"].toObject()["i"].toInt(), 199);
        QTRY_VERIFY(!reporter->inFlight());
        reporter->waitForWorker();
        QVERIFY(!QFile::exists(queuePath()));
    }

    void fourHundredFiftyEventsGoAsThreeBatches()
    {
        make();
        seedQueue(450);
        for (int expected : {200, 200, 50}) {
            QVERIFY(reporter->flushNow(true));
            QCOMPARE(sentEvents(server->count() - 1).size(), expected);
        }
        QCOMPARE(server->count(), 3);
        QCOMPARE(sentEvents(2)[49].toObject()["p"].toObject()["i"].toInt(), 449); // queue order kept
        QVERIFY(!QFile::exists(queuePath()));
        QVERIFY(reporter->flushNow(true)); // nothing left: no request
        QCOMPARE(server->count(), 3);
    }

    void expiredEventsAreDeletedWithoutARequest()
    {
        make();
        QByteArray bytes;
        for (int i = 0; i < 5; ++i)
            bytes += eventAt(clock->now().addSecs(-604801 - i), i) + '\n';
        QVERIFY(writeFile(queuePath(), bytes));
        QVERIFY(reporter->flushNow(true));
        QCOMPARE(server->count(), 0);
        QVERIFY(!QFile::exists(queuePath()));
    }

    void corruptAndExpiredLinesAreDroppedFromTheBatch()
    {
        make();
        QVERIFY(writeFile(queuePath(), "not json\n" + eventAt(clock->now().addDays(-8), 0) + "\n{\"n\":\"no time\"}\n[1]\n"
                                           + eventAt(clock->now(), 1) + '\n'));
        QVERIFY(reporter->flushNow(true));
        QCOMPARE(server->count(), 1);
        QCOMPARE(sentEvents(0).size(), 1);
        QCOMPARE(sentEvents(0)[0].toObject()["p"].toObject()["i"].toInt(), 1);
        QVERIFY(!QFile::exists(queuePath()));
    }

    void aServerErrorLeavesTheFileByteForByte()
    {
        make();
        seedQueue(3);
        QVERIFY(writeFile(queuePath(), readFile(queuePath()) + "garbage\n"));
        const QByteArray before = readFile(queuePath());
        server->scriptStatuses({503});
        QVERIFY(reporter->flushNow(true));
        QCOMPARE(server->count(), 1);
        QCOMPARE(readFile(queuePath()), before);
        QVERIFY(!reporter->inFlight());
    }

    void aNetworkFailureLeavesTheFile()
    {
        quint16 closedPort;
        {
            QTcpServer probe;
            probe.listen(QHostAddress::LocalHost, 0);
            closedPort = probe.serverPort();
        }
        make({}, QStringLiteral("http://127.0.0.1:%1").arg(closedPort));
        seedQueue(2);
        const QByteArray before = readFile(queuePath());
        QVERIFY(reporter->flushNow(true));
        QCOMPARE(readFile(queuePath()), before);
        QVERIFY(!reporter->inFlight());
    }

    void aClientErrorDiscardsTheBatch()
    {
        make();
        seedQueue(3);
        server->scriptStatuses({400});
        QVERIFY(reporter->flushNow(true));
        QCOMPARE(server->count(), 1);
        QVERIFY(!QFile::exists(queuePath()));
    }

    void eventsRecordedWhileInFlightStay()
    {
        make();
        seedQueue(250);
        server->hold();
        reporter->flushNow(false);
        QTRY_COMPARE(server->count(), 1);
        QVERIFY(reporter->inFlight());
        for (int i = 0; i < 3; ++i)
            reporter->record("late", {{"i", i}});
        reporter->flushNow(false); // ignored: one upload at a time
        reporter->waitForWorker();
        server->release();
        QTRY_VERIFY(!reporter->inFlight());
        reporter->waitForWorker();
        QCOMPARE(server->count(), 1);
        const QList<QByteArray> left = lines(queuePath());
        QCOMPARE(left.size(), 53); // the 50 beyond the batch, then the 3 recorded meanwhile
        QCOMPARE(QJsonDocument::fromJson(left[0]).object()["p"].toObject()["i"].toInt(), 200);
        QCOMPARE(QJsonDocument::fromJson(left[52]).object()["n"].toString(), QStringLiteral("late"));
    }

    void uploadBodyAndHeaders()
    {
        make();
        reporter->tokenProvider = [] { return std::optional<QString>(QStringLiteral("tok-123")); };
        reporter->record("palette.open", {{"trigger", "hotkey"}});
        reporter->waitForWorker();
        const QByteArray line = lines(queuePath()).value(0);
        QVERIFY(reporter->flushNow(true));
        const HttpRequest request = server->requests().value(0);
        QCOMPARE(request.method, QByteArray("POST"));
        QCOMPARE(request.path, QByteArray("/api/improve"));
        QCOMPARE(request.headers.value("content-type"), QByteArray("application/json"));
        QCOMPARE(request.headers.value("authorization"), QByteArray("Bearer tok-123"));
        const QJsonObject body = request.json();
        QCOMPARE(body["app"].toString(), QStringLiteral("stashwell"));
        QCOMPARE(body["installID"].toString(), defaults->stringValue("crashInstallID").value_or("missing"));
        QVERIFY(QUuid::fromString(body["installID"].toString()).toString(QUuid::WithoutBraces).toUpper() ==
                body["installID"].toString());
        QCOMPARE(body["appVersion"].toString(), QString::fromUtf8(BuildInfo::version));
        QVERIFY(!body["build"].toString().isEmpty());
        QCOMPARE(body["os"].toString(), QSysInfo::prettyProductName());
        QCOMPARE(body["arch"].toString(), QSysInfo::buildCpuArchitecture());
        QCOMPARE(body["locale"].toString(), QLocale::system().name());
        // Compact, keys in the table's order, the event exactly as stored.
        QVERIFY(request.body.startsWith("{\"app\":\"stashwell\",\"installID\":"));
        QVERIFY(request.body.contains(",\"os\":"));
        QVERIFY(request.body.endsWith(",\"events\":[" + line + "]}"));
    }

    void anonymousUploadsCarryNoAuthorization()
    {
        make();
        reporter->tokenProvider = [] { return std::optional<QString>(); };
        seedQueue(1);
        QVERIFY(reporter->flushNow(false));
        QTRY_COMPARE(server->count(), 1);
        QVERIFY(!server->requests()[0].headers.contains("authorization"));
    }

    void theTokenOfATimerFlushIsReadOnTheMainThread()
    {
        make();
        QThread *askedOn = nullptr;
        reporter->tokenProvider = [&askedOn] {
            askedOn = QThread::currentThread();
            return std::optional<QString>(QStringLiteral("t"));
        };
        seedQueue(1);
        reporter->flushNow(false);
        QTRY_COMPARE(server->count(), 1);
        QCOMPARE(askedOn, QThread::currentThread());
        QCOMPARE(server->requests()[0].headers.value("authorization"), QByteArray("Bearer t"));
    }

    void theSyncFlushWaitsAtMostItsTimeout()
    {
        QCOMPARE(ImproveReporterOptions().syncFlushTimeoutMs, 2000);
        make({60000, 900000, 300});
        seedQueue(1);
        server->hold();
        QElapsedTimer waited;
        waited.start();
        QVERIFY(!reporter->flushNow(true));
        QVERIFY(waited.elapsed() >= 290 && waited.elapsed() < 2000);
        server->release();
        QTRY_VERIFY(!reporter->inFlight());
    }

    void theTimerFiresFirstThenRepeats()
    {
        QCOMPARE(ImproveReporterOptions().firstFlushMs, 60 * 1000);
        QCOMPARE(ImproveReporterOptions().flushIntervalMs, 900 * 1000);
        make({500, 400, 2000});
        seedQueue(1);
        reporter->start();
        QTest::qWait(50);
        QCOMPARE(server->count(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(server->count(), 1, 3000);
        reporter->record("again", {});
        QTRY_COMPARE_WITH_TIMEOUT(server->count(), 2, 3000);
    }

    void startClearsTheQueueWhenSwitchedOff()
    {
        seedQueueDir();
        seedQueue(4);
        defaults->set("improveDataSharing", false);
        make().start();
        reporter->waitForWorker();
        QVERIFY(!QFile::exists(queuePath()));
    }

    void switchingOffInTheSettingsClearsTheQueue()
    {
        FakeLoginItem loginItem;
        AppSettings settings(*defaults, loginItem);
        make();
        settings.discardUnsentStatistics = [this] { reporter->clearQueue(); };
        reporter->record("x", {});
        reporter->waitForWorker();
        QVERIFY(QFile::exists(queuePath()));
        settings.setImproveDataSharing(false);
        reporter->waitForWorker();
        QVERIFY(!QFile::exists(queuePath()));
        reporter->record("while off", {});
        std::unique_ptr<QThread> other(QThread::create([this] { reporter->record("off thread", {}); }));
        other->start();
        other->wait();
        reporter->waitForWorker();
        QVERIFY(!QFile::exists(queuePath()));
        QVERIFY(reporter->flushNow(true));
        QCOMPARE(server->count(), 0);
    }

private:
    void seedQueueDir() { QDir().mkpath(dir->path() + "/diag"); }
};

QTEST_GUILESS_MAIN(ImproveReporterTest)
#include "ImproveReporterTest.moc"

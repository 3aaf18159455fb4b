// Part 7.3: tester mode's switch, uploads and report, and the own-process log export
// (journal through journalctl, else the application's own messages).
#include "BuildInfo.h"
#include "diagnostics/AppMessageLog.h"
#include "diagnostics/DebugLog.h"
#include "diagnostics/OwnProcessLog.h"
#include "diagnostics/TesterMode.h"
#include "fakes/Fakes.h"
#include "fakes/LocalHttpServer.h"
#include "fakes/TestFiles.h"
#include "platform/DefaultsStore.h"

#include <QFile>
#include <QLoggingCategory>
#include <QMutex>
#include <QTemporaryDir>
#include <QtTest>
#include <memory>

Q_LOGGING_CATEGORY(testerTestLog, "stashwell.testertest")

class TesterModeTest : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<DefaultsStore> defaults;
    std::unique_ptr<FakeClock> clock;
    std::unique_ptr<DebugLog> log;
    std::unique_ptr<LocalHttpServer> server;
    std::unique_ptr<AppMessageLog> messages;
    std::unique_ptr<TesterMode> tester;
    QMutex exportLock;
    QList<QDateTime> exportedSince;

    TesterMode &make(int intervalMs = 1800 * 1000)
    {
        TesterModeOptions options;
        options.uploadIntervalMs = intervalMs;
        // No journal here: the export comes from the in-memory message log.
        options.exportUnifiedLog = [this](const QDateTime &since) {
            {
                QMutexLocker lock(&exportLock);
                exportedSince << since;
            }
            OwnProcessLog::Options noJournal;
            noJournal.journalSocket = dir->path() + "/no-such-socket";
            return OwnProcessLog(*messages, noJournal).exportSince(since);
        };
        tester = std::make_unique<TesterMode>(*defaults, *log, *clock, server->rootURL(), options);
        return *tester;
    }
    QString logText() const { return QString::fromUtf8(readFile(log->currentPath())); }
    QString uploadedLog(int index) const
    {
        return server->requests("/api/testlog").value(index).json()["log"].toString();
    }
    // A shell script standing in for journalctl.
    QString fakeJournalctl(const QByteArray &script)
    {
        const QString path = dir->path() + "/journalctl";
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write("#!/bin/sh\n" + script);
        file.close();
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QFile socket(dir->path() + "/journal.socket");
        socket.open(QIODevice::WriteOnly);
        return path;
    }

private slots:
    void init()
    {
        dir = std::make_unique<QTemporaryDir>();
        defaults = std::make_unique<DefaultsStore>(QString());
        clock = std::make_unique<FakeClock>();
        log = std::make_unique<DebugLog>(dir->path() + "/diag", *clock);
        server = std::make_unique<LocalHttpServer>();
        messages = std::make_unique<AppMessageLog>();
        exportedSince.clear();
    }
    void cleanup()
    {
        tester.reset();
        server.reset();
    }

    void sevenClicksAPauseAndOneMoreDoNotToggle()
    {
        make();
        for (int i = 0; i < 7; ++i) {
            tester->registerClick();
            clock->advance(0.2);
        }
        clock->advance(3);
        tester->registerClick();
        QVERIFY(!tester->enabled());
        QVERIFY(!defaults->contains("testerModeEnabled"));
    }

    void eightClicksOneSecondApartToggle()
    {
        make();
        QSignalSpy changed(tester.get(), &TesterMode::enabledChanged);
        for (int i = 0; i < 8; ++i) {
            tester->registerClick();
            clock->advance(1);
        }
        QVERIFY(tester->enabled());
        QCOMPARE(changed.size(), 1);
        QCOMPARE(defaults->boolValue("testerModeEnabled"), std::optional<bool>(true));
        QVERIFY(logText().endsWith("Z tester: mode ON\n"));
        QVERIFY(tester->timerActive());
        QTRY_COMPARE(server->count("/api/testlog"), 1);
        // Eight more switch it off again; the ninth click starts a new count.
        for (int i = 0; i < 8; ++i)
            tester->registerClick();
        QVERIFY(!tester->enabled());
    }

    void switchingOffLogsUploadsOnceMoreAndStopsTheTimer()
    {
        defaults->set("testerModeEnabled", true);
        make().start();
        QTRY_COMPARE(server->count("/api/testlog"), 1);
        clock->advance(60);
        tester->toggle();
        QVERIFY(!tester->enabled());
        QCOMPARE(defaults->boolValue("testerModeEnabled"), std::optional<bool>(false));
        QVERIFY(!tester->timerActive());
        QVERIFY(logText().endsWith("Z tester: mode OFF\n"));
        QTRY_COMPARE(server->count("/api/testlog"), 2);
        QVERIFY(uploadedLog(1).contains("tester: mode OFF"));
    }

    void startWhenOnLogsTheSessionSchedulesAndUploads()
    {
        defaults->set("testerModeEnabled", true);
        make().start();
        QVERIFY(tester->timerActive());
        QVERIFY(logText().contains(QStringLiteral("tester: session start (v%1 build %2)")
                                       .arg(BuildInfo::version, BuildInfo::buildNumber)));
        QTRY_COMPARE(server->count("/api/testlog"), 1);
        const HttpRequest request = server->requests()[0];
        QCOMPARE(request.method, QByteArray("POST"));
        QCOMPARE(request.headers.value("content-type"), QByteArray("application/json"));
        QVERIFY2(request.body.startsWith("{\"type\":\"testlog\",\"app\":\"stashwell\",\"installID\":\""),
                 request.body.left(80).constData());
        const QJsonObject body = request.json();
        QCOMPARE(body.keys(), QStringList({"app", "appVersion", "build", "installID", "log", "osVersion", "type"}));
        QCOMPARE(body["installID"].toString(), defaults->stringValue("crashInstallID").value_or("missing"));
        QCOMPARE(body["appVersion"].toString(), QString::fromUtf8(BuildInfo::version));
        QCOMPARE(body["osVersion"].toString(), QSysInfo::prettyProductName());
        QVERIFY(body["log"].toString().startsWith("== app log (DebugLog) ==\n"));
        QVERIFY(body["log"].toString().contains("tester: session start"));
    }

    void startWhenOffDoesNothing()
    {
        make().start();
        QVERIFY(!tester->timerActive());
        QVERIFY(!QFile::exists(log->currentPath()));
        QTest::qWait(100);
        QCOMPARE(server->count(), 0);
    }

    void theFirstUploadCoversTheLastThirtyMinutes()
    {
        QVERIFY(!defaults->contains("testerLastExport"));
        messages->append(clock->now().addSecs(-40 * 60), "stashwell.capture", "too old");
        messages->append(clock->now().addSecs(-20 * 60), "stashwell.capture", "recent");
        make();
        QCOMPARE(tester->lastExport(), clock->now().addSecs(-1800));
        tester->upload();
        QTRY_COMPARE(server->count(), 1);
        QCOMPARE(exportedSince.value(0), clock->now().addSecs(-1800));
        const QString report = uploadedLog(0);
        QVERIFY(report.contains("\n\n== unified log (own process, since 2026-03-01 09:00:00 +0000) ==\n"
                                "2026-03-01T09:10:00Z [stashwell.capture] recent\n"));
        QVERIFY(!report.contains("too old"));
    }

    void lastExportIsStoredBeforeTheUploadAndBoundsTheNext()
    {
        make();
        server->setDefaultStatus(500); // a failed upload does not resend the period
        tester->upload();
        QCOMPARE(tester->lastExport(), clock->now());
        QCOMPARE(defaults->stringValue("testerLastExport"), std::optional<QString>("2026-03-01T09:30:00.000Z"));
        QTRY_COMPARE(server->count(), 1);
        clock->advance(600);
        tester->upload();
        QTRY_COMPARE(server->count(), 2);
        QCOMPARE(exportedSince.value(1), QDateTime(QDate(2026, 3, 1), QTime(9, 30), Qt::UTC));
        // A later launch starts from the stored date.
        TesterMode again(*defaults, *log, *clock, server->rootURL(), {});
        QCOMPARE(again.lastExport(), QDateTime(QDate(2026, 3, 1), QTime(9, 40), Qt::UTC));
    }

    void theTimerUploadsRepeatedly()
    {
        QCOMPARE(TesterModeOptions().uploadIntervalMs, 1800 * 1000);
        defaults->set("testerModeEnabled", true);
        make(150).start();
        QTRY_VERIFY_WITH_TIMEOUT(server->count() >= 3, 3000);
    }

    void aLongReportKeepsItsEnd()
    {
        const QString tail = QStringLiteral("FIRST") + QString(400000, QLatin1Char('a'));
        const QString unified = QString(400000, QLatin1Char('b')) + QStringLiteral("NEWEST\n");
        const QString report = TesterMode::reportText(tail, clock->now(), unified);
        QCOMPARE(report.size(), TesterMode::maxReportCharacters);
        QVERIFY(report.endsWith("NEWEST\n"));
        QVERIFY(!report.contains("FIRST"));
        QVERIFY(!report.contains("== app log"));
        // Short reports are whole.
        QCOMPARE(TesterMode::reportText("x\n", clock->now(), "y\n"),
                 QStringLiteral("== app log (DebugLog) ==\nx\n\n\n== unified log (own process, since "
                                "2026-03-01 09:30:00 +0000) ==\ny\n"));
    }

    void aLongLogIsCutInTheUpload()
    {
        make();
        for (int i = 0; i < 3; ++i)
            messages->append(clock->now().addSecs(-60), "big", QString(300000, QLatin1Char('m')));
        messages->append(clock->now().addSecs(-30), "big", "last message");
        tester->upload();
        QTRY_COMPARE(server->count(), 1);
        QCOMPARE(uploadedLog(0).size(), TesterMode::maxReportCharacters);
        QVERIFY(uploadedLog(0).endsWith("[big] last message\n"));
    }

    void withoutAServiceNothingIsSent()
    {
        TesterModeOptions options;
        options.exportUnifiedLog = [](const QDateTime &) { return QString(); };
        TesterMode offline(*defaults, *log, *clock, QString(), options);
        offline.toggle();
        QVERIFY(offline.enabled());
        QTest::qWait(200);
        QCOMPARE(server->count(), 0);
    }

    void theJournalIsUsedWhereThereIsOne()
    {
        OwnProcessLog::Options options;
        options.journalctl = fakeJournalctl(
            "echo \"$@\" > \"$(dirname \"$0\")/args\"\n"
            "echo '2026-03-01T09:20:00+0000 host stashwell[4242]: capture started'\n"
            "echo '2026-03-01T09:21:00+0000 host stashwell[4242]: two'\n"
            "echo '    lines'\n");
        options.journalSocket = dir->path() + "/journal.socket";
        options.pid = 4242;
        messages->append(clock->now(), "default", "only in memory");
        const QString exported = OwnProcessLog(*messages, options).exportSince(clock->now().addSecs(-1800));
        QCOMPARE(exported, QStringLiteral("2026-03-01T09:20:00+0000 [stashwell] capture started\n"
                                          "2026-03-01T09:21:00+0000 [stashwell] two\n"
                                          "    lines\n"));
        QCOMPARE(readFile(dir->path() + "/args").trimmed(),
                 QByteArray("_PID=4242 -o short-iso --since @") +
                     QByteArray::number(clock->now().addSecs(-1800).toSecsSinceEpoch()) + " --no-pager -q");
    }

    void aJournalWithoutOurEntriesFallsBackToOurMessages()
    {
        OwnProcessLog::Options options;
        options.journalctl = fakeJournalctl("exit 0\n");
        options.journalSocket = dir->path() + "/journal.socket";
        messages->append(clock->now(), "default", "only in memory");
        QCOMPARE(OwnProcessLog(*messages, options).exportSince(clock->now().addSecs(-1)),
                 QStringLiteral("2026-03-01T09:30:00Z [default] only in memory\n"));
    }

    void aFailingJournalIsReported()
    {
        OwnProcessLog::Options options;
        options.journalctl = fakeJournalctl("echo 'No journal files were found.' >&2\nexit 1\n");
        options.journalSocket = dir->path() + "/journal.socket";
        QCOMPARE(OwnProcessLog(*messages, options).exportSince(clock->now()),
                 QStringLiteral("(oslog export failed: No journal files were found.)"));
        options.journalctl = fakeJournalctl("sleep 5\n");
        options.timeoutMs = 200;
        QCOMPARE(OwnProcessLog(*messages, options).exportSince(clock->now()),
                 QStringLiteral("(oslog export failed: journalctl timed out)"));
    }

    void theMessageHandlerKeepsQtMessages()
    {
        AppMessageLog::install();
        const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-1);
        qCWarning(testerTestLog) << "kept for testers";
        const QString exported = AppMessageLog::instance().exportSince(before);
        QVERIFY2(exported.contains("Z [stashwell.testertest] kept for testers\n"), qPrintable(exported));
        QVERIFY(AppMessageLog::instance().exportSince(QDateTime::currentDateTimeUtc().addSecs(5)).isEmpty());
    }

    void theMessageLogKeepsOnlyTheRecentEntries()
    {
        for (size_t i = 0; i < AppMessageLog::capacity + 10; ++i)
            messages->append(clock->now(), "c", QString::number(i));
        const QString exported = messages->exportSince(clock->now());
        QCOMPARE(exported.count(QLatin1Char('\n')), qsizetype(AppMessageLog::capacity));
        QVERIFY(exported.startsWith("2026-03-01T09:30:00Z [c] 10\n"));
    }
};

QTEST_GUILESS_MAIN(TesterModeTest)
#include "TesterModeTest.moc"

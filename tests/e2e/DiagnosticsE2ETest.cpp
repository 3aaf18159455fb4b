// End to end (Parts 7.1, 7.2): the real `stashwell` talks to a local web service. A test-only
// trigger makes it crash; the next launch reports the crash once. A copy made while recording
// is paused becomes a "capture.skipped" event that reaches the service in the flush at quit.
#include "e2e/XSession.h"
#include "fakes/LocalHttpServer.h"

#include <QDir>
#include <QJsonArray>
#include <QtTest>
#include <csignal>

class DiagnosticsE2ETest : public QObject {
    Q_OBJECT
    std::unique_ptr<LocalHttpServer> server;
    std::unique_ptr<XSession> x;

    QString serviceEnv() const { return QStringLiteral("STASHWELL_SERVICE_URL=") + server->rootURL(); }
    QStringList crashFiles() const
    {
        return QDir(x->diagnosticsDir()).entryList({"crash-*"}, QDir::Files);
    }
    // The events of every batch the service received, in order.
    QJsonArray receivedEvents() const
    {
        QJsonArray events;
        for (const HttpRequest &request : server->requests("/api/improve"))
            for (const QJsonValue &event : request.json()["events"].toArray())
                events.append(event);
        return events;
    }
    static QJsonObject propertiesOf(const QJsonArray &events, const QString &name)
    {
        for (const QJsonValue &event : events)
            if (event["n"].toString() == name)
                return event["p"].toObject();
        return {};
    }
    QJsonObject storedDefaults() const
    {
        QFile file(x->defaultsFile());
        return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
    }

private slots:
    void initTestCase()
    {
#ifndef STASHWELL_TEST_HOOKS
        QFAIL("configure with -DSTASHWELL_TEST_HOOKS=ON: this test needs the crash trigger");
#endif
        server = std::make_unique<LocalHttpServer>();
        x = std::make_unique<XSession>();
        QVERIFY2(x->isUp(), "Xvfb and openbox did not start");
    }
    void cleanupTestCase()
    {
        x.reset();
        server.reset();
    }

    void aCrashIsReportedOnceAtTheNextLaunch()
    {
        x->startStashwell({serviceEnv(), QStringLiteral("STASHWELL_TEST_CRASH=1")});
        QCOMPARE(x->waitForStashwellCrash(15000), SIGSEGV);
        QCOMPARE(crashFiles().size(), 1);
        QVERIFY(crashFiles()[0].endsWith(".crash"));
        QCOMPARE(server->count("/api/crash"), 0);

        QVERIFY(x->startStashwell({serviceEnv()}));
        QTRY_COMPARE_WITH_TIMEOUT(server->count("/api/crash"), 1, 10000);
        const HttpRequest request = server->requests("/api/crash")[0];
        QCOMPARE(request.method, QByteArray("POST"));
        QCOMPARE(request.headers.value("content-type"), QByteArray("application/json"));
        const QJsonObject report = request.json();
        QCOMPARE(report["type"].toString(), QStringLiteral("crash"));
        QCOMPARE(report["app"].toString(), QStringLiteral("stashwell"));
        QCOMPARE(report["signal"].toInt(), SIGSEGV);
        QCOMPARE(report["exceptionType"].toInt(), 1); // EXC_BAD_ACCESS
        QCOMPARE(report["installID"].toString(), storedDefaults()["crashInstallID"].toString());
        QVERIFY(!report["installID"].toString().isEmpty());
        QCOMPARE(report["osVersion"].toString(), QSysInfo::prettyProductName());
        const QJsonArray frames = QJsonDocument::fromJson(report["callStack"].toString().toUtf8())
                                      .object()["callStacks"][0]["callStackFrames"].toArray();
        QVERIFY(frames.size() > 3);
        QVERIFY(report["callStack"].toString().contains("stashwell"));
        QVERIFY(crashFiles().isEmpty());

        QTest::qWait(1000); // and no second report
        QCOMPARE(server->count("/api/crash"), 1);
    }

    void aSkippedCaptureArrivesInTheBatchAtQuit()
    {
        QCOMPARE(x->stopStashwell(), 0);
        x->setDefaults({{"monitoringPaused", true}});
        server->clear();
        QVERIFY(x->startStashwell({serviceEnv()}));
        x->xclipCopy("copied while paused");
        QTest::qWait(800); // a few 0.2-second polls
        QCOMPARE(server->count("/api/improve"), 0); // the first timed flush is a minute away
        QCOMPARE(x->stopStashwell(), 0);

        QCOMPARE(server->count("/api/improve"), 1); // sent before the process ended
        const QJsonObject body = server->requests("/api/improve")[0].json();
        QCOMPARE(body["app"].toString(), QStringLiteral("stashwell"));
        QCOMPARE(body["installID"].toString(), storedDefaults()["crashInstallID"].toString());
        const QJsonObject skipped = propertiesOf(receivedEvents(), "capture.skipped");
        QCOMPARE(propertiesOf(receivedEvents(), "app.env")["historyLimit"].toInt(), 500);
        QCOMPARE(skipped["reason"].toString(), QStringLiteral("paused"));
        QVERIFY(skipped.contains("sourceApp"));
        QVERIFY(!QFile::exists(x->diagnosticsDir() + "/improve-queue.jsonl")); // 2xx: the batch is gone
        QVERIFY(x->history().isEmpty() || x->history()[0].toObject()["text"] != "copied while paused");
    }

    void aPasteResultArrivesInTheBatchAtQuit()
    {
        x->setDefaults({{"monitoringPaused", false}});
        server->clear();
        QVERIFY(x->startStashwell({serviceEnv()}));
        x->xclipCopy("paste me");
        x->waitForHistory([](const QJsonArray &items) { return !items.isEmpty() && items[0]["text"] == "paste me"; });
        QProcess *zenity = x->startZenityEntry();
        x->run(QStringLiteral("xdotool"), {"key", "--delay", "40", "super+shift+v"});
        QTest::qWait(700);
        x->run(QStringLiteral("xdotool"), {"key", "--delay", "40", "Return"});
        QTest::qWait(800); // 100 ms, then the keys
        x->run(QStringLiteral("xdotool"), {"key", "--delay", "40", "Return"});
        QVERIFY(zenity->waitForFinished(5000));
        QCOMPARE(QString::fromUtf8(zenity->readAllStandardOutput()).trimmed(), QStringLiteral("paste me"));
        QCOMPARE(x->stopStashwell(), 0);

        QCOMPARE(server->count("/api/improve"), 1);
        const QJsonObject paste = propertiesOf(receivedEvents(), "paste.result");
        QCOMPARE(paste["ok"], QJsonValue(true));
        QCOMPARE(paste["method"].toString(), QStringLiteral("synthCmdV"));
        QCOMPARE(paste["itemType"].toString(), QStringLiteral("text"));
        QCOMPARE(paste["sizeBucket"].toString(), QStringLiteral("xs"));
        QCOMPARE(paste["ageBucket"].toString(), QStringLiteral("justNow"));
        QCOMPARE(paste["index"].toInt(), 0);
        QCOMPARE(paste["viaSearch"], QJsonValue(false));
        QVERIFY(!propertiesOf(receivedEvents(), "app.env").isEmpty());
    }
};

QTEST_GUILESS_MAIN(DiagnosticsE2ETest)
#include "DiagnosticsE2ETest.moc"

// SPDX-License-Identifier: GPL-3.0-or-later
// End to end: the real `stashwell` talks to a local web service. A test-only
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
    QStringList crashFiles() const { return QDir(x->diagnosticsDir()).entryList({"crash-*"}, QDir::Files); }
    // The properties of the first event `name` in the batches the service received.
    QJsonObject received(const QString &name) const
    {
        for (const HttpRequest &request : server->requests("/api/improve"))
            for (const QJsonValue &event : request.json()["events"].toArray())
                if (event["n"] == name)
                    return event["p"].toObject();
        return {};
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
        QVERIFY(x->waitFor([&] { return server->count("/api/crash") > 0; }, 10000));
        const HttpRequest request = server->requests("/api/crash")[0];
        QCOMPARE(request.method, QByteArray("POST"));
        QCOMPARE(request.headers.value("content-type"), QByteArray("application/json"));
        const QJsonObject report = request.json();
        QCOMPARE(report["type"].toString(), QStringLiteral("crash"));
        QCOMPARE(report["app"].toString(), QStringLiteral("stashwell"));
        QCOMPARE(report["signal"].toInt(), SIGSEGV);
        QCOMPARE(report["exceptionType"].toInt(), 1); // a bad memory access
        QCOMPARE(report["installID"].toString(), x->defaults()["crashInstallID"].toString());
        QVERIFY(!report["installID"].toString().isEmpty());
        QCOMPARE(report["osVersion"].toString(), QSysInfo::prettyProductName());
        const QJsonArray frames = QJsonDocument::fromJson(report["callStack"].toString().toUtf8())
                                      .object()["callStacks"][0]["callStackFrames"].toArray();
        QVERIFY(frames.size() > 3);
        QVERIFY(report["callStack"].toString().contains("stashwell"));
        QVERIFY(crashFiles().isEmpty());
        QCOMPARE(x->stopStashwell(), 0);
        QCOMPARE(server->count("/api/crash"), 1); // and no second report
    }

    void aSkippedCaptureArrivesInTheBatchAtQuit()
    {
        x->setDefaults({{"monitoringPaused", true}});
        server->clear();
        QVERIFY(x->startStashwell({serviceEnv()}));
        x->xclipCopy("copied while paused");
        QVERIFY(x->waitFor([&] { return x->stashwellStderr().contains("capture.skipped"); }));
        QCOMPARE(server->count("/api/improve"), 0); // the first timed flush is a minute away
        QCOMPARE(x->stopStashwell(), 0);

        QCOMPARE(server->count("/api/improve"), 1); // sent before the process ended
        const QJsonObject body = server->requests("/api/improve")[0].json();
        QCOMPARE(body["app"].toString(), QStringLiteral("stashwell"));
        QCOMPARE(body["installID"].toString(), x->defaults()["crashInstallID"].toString());
        const QJsonObject skipped = received("capture.skipped");
        QCOMPARE(received("app.env")["historyLimit"].toInt(), 500);
        QCOMPARE(skipped["reason"].toString(), QStringLiteral("paused"));
        QVERIFY(skipped.contains("sourceApp"));
        QVERIFY(!QFile::exists(x->diagnosticsDir() + "/improve-queue.jsonl")); // 2xx: the batch is gone
        QVERIFY(!x->texts().contains("copied while paused"));
    }

    void aPasteResultArrivesInTheBatchAtQuit()
    {
        x->setDefaults({{"monitoringPaused", false}});
        server->clear();
        QVERIFY(x->startStashwell({serviceEnv()}));
        QVERIFY(x->recordCopy(QStringLiteral("paste me")));
        QProcess *zenity = x->startZenityEntry();
        QVERIFY(zenity);
        x->key(QStringLiteral("super+shift+v"));
        QVERIFY(x->waitForPopup(true));
        x->key(QStringLiteral("Return"));
        QCOMPARE(x->submitPaste(zenity, QStringLiteral("paste me")), QStringLiteral("paste me"));
        QCOMPARE(x->stopStashwell(), 0);

        QCOMPARE(server->count("/api/improve"), 1);
        QJsonObject paste = received("paste.result");
        QVERIFY(!paste.take("targetApp").toString().isEmpty());
        QCOMPARE(paste, QJsonObject({{"ok", true}, {"method", "synthCmdV"}, {"itemType", "text"}, {"sizeBucket", "xs"},
                                     {"ageBucket", "justNow"}, {"index", 0}, {"viaSearch", false}}));
        QVERIFY(!received("app.env").isEmpty());
    }
};

QTEST_GUILESS_MAIN(DiagnosticsE2ETest)
#include "DiagnosticsE2ETest.moc"

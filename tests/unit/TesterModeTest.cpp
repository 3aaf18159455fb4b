// SPDX-License-Identifier: GPL-3.0-or-later
// Tester mode's uploads of the tester log and this process's own log, each covering the time
// since the one before and cut to their last 700000 characters.
#include "diagnostics/AppMessageLog.h"
#include "diagnostics/DebugLog.h"
#include "diagnostics/OwnProcessLog.h"
#include "diagnostics/TesterMode.h"
#include "fakes/Fakes.h"
#include "fakes/LocalHttpServer.h"
#include "platform/DefaultsStore.h"

#include <QtTest>

class TesterModeTest : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    DefaultsStore defaults{QString()};
    FakeClock clock;
    DebugLog log{dir.path() + "/diag", clock};
    LocalHttpServer server;
    AppMessageLog messages; // no journal here: this process's log is its own messages
    TesterMode tester{defaults, log, clock, server.rootURL(), {1800 * 1000, [this](const QDateTime &since) {
                          return OwnProcessLog(messages, {"journalctl", dir.path() + "/no-journal"}).exportSince(since);
                      }}};

    QString uploadedLog(int index) const { return server.requests("/api/testlog").value(index).json()["log"].toString(); }

private slots:
    void anUploadCoversTheTimeSinceTheLastAndKeepsItsLastCharacters()
    {
        clock.advance(300);
        messages.append(clock.now().addSecs(-60), "big", QString(800000, QLatin1Char('m')));
        messages.append(clock.now().addSecs(-30), "stashwell.capture", "last message");
        const int before = server.count();
        tester.upload();
        QTRY_COMPARE(server.count(), before + 1);
        QCOMPARE(uploadedLog(before).size(), TesterMode::maxReportCharacters);
        QVERIFY(uploadedLog(before).endsWith("[stashwell.capture] last message\n"));
        clock.advance(60);
        messages.append(clock.now().addSecs(-1), "stashwell.capture", "newer");
        tester.upload();
        QTRY_COMPARE(server.count(), before + 2);
        QVERIFY(uploadedLog(before + 1).endsWith("[stashwell.capture] newer\n"));
        QVERIFY(!uploadedLog(before + 1).contains("last message")); // sent with the upload before
    }
};

QTEST_GUILESS_MAIN(TesterModeTest)
#include "TesterModeTest.moc"

// Part 7.2: crash reports built from diagnostics and posted to a local HTTP server; the
// crash handler itself runs in a forked child that really crashes.
#include "BuildInfo.h"
#include "diagnostics/CrashFiles.h"
#include "diagnostics/CrashHandler.h"
#include "diagnostics/CrashReporter.h"
#include "diagnostics/ImproveReporter.h"
#include "fakes/Fakes.h"
#include "fakes/LocalHttpServer.h"
#include "fakes/TestFiles.h"
#include "platform/DefaultsStore.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QTemporaryDir>
#include <QtTest>
#include <csignal>
#include <memory>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

CrashDiagnostic fullDiagnostic(qint64 signal = 11)
{
    return {QStringLiteral("Debian GNU/Linux 12 (bookworm)"), QStringLiteral("x86_64"),
            QByteArray("{\"callStacks\":[]}"), signal, 1, 1, QStringLiteral("Namespace SIGNAL, Code 11, SIGSEGV")};
}

CrashDiagnostic bareDiagnostic()
{
    return {QStringLiteral("os"), QStringLiteral("arm64"), QByteArray("{}"), {}, {}, {}, {}};
}

// Forks a child that installs the handler for `path` and then dies by `crash`; returns how it ended.
int crashChild(const QString &path, void (*crash)())
{
    const QByteArray file = QFile::encodeName(path);
    const QByteArray header = CrashFiles::header(QStringLiteral("Test OS 1.0"), QStringLiteral("x86_64"));
    const pid_t child = fork();
    if (child == 0) {
        CrashHandler::install(file, header);
        crash();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

void segfault() { CrashHandler::crashForTest(); }
void abortNow()
{
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    abort();
}

} // namespace

class CrashReporterTest : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> dir;
    std::unique_ptr<DefaultsStore> defaults;
    std::unique_ptr<LocalHttpServer> server;
    std::unique_ptr<CrashReporter> reporter;

    CrashReporter &make(const QString &root = QStringLiteral("server"))
    {
        reporter = std::make_unique<CrashReporter>(*defaults, root == "server" ? server->rootURL() : root, dir->path());
        return *reporter;
    }
    // Requests are answered in order: once the sentinel's report is in, every earlier send is too.
    void sendSentinelAndWait(int expectedTotal)
    {
        reporter->didReceive({CrashPayload{{bareDiagnostic()}}});
        QTRY_COMPARE(server->count(), expectedTotal);
        QTest::qWait(100);
        QCOMPARE(server->count(), expectedTotal);
    }

private slots:
    void init()
    {
        dir = std::make_unique<QTemporaryDir>();
        defaults = std::make_unique<DefaultsStore>(QString());
        server = std::make_unique<LocalHttpServer>();
    }
    void cleanup()
    {
        reporter.reset();
        server.reset();
    }

    void aPayloadWithoutCrashesSendsNothing()
    {
        make().didReceive({CrashPayload{}});
        sendSentinelAndWait(1);
    }

    void threeCrashesSendThreeRequests()
    {
        make().didReceive({CrashPayload{{fullDiagnostic(11), fullDiagnostic(6), fullDiagnostic(7)}}});
        QTRY_COMPARE(server->count("/api/crash"), 3);
        QList<int> signals_;
        for (const HttpRequest &request : server->requests())
            signals_ << request.json()["signal"].toInt();
        std::sort(signals_.begin(), signals_.end());
        QCOMPARE(signals_, QList<int>({6, 7, 11}));
    }

    void payloadsAreSentInOrder()
    {
        make().didReceive({CrashPayload{{fullDiagnostic(11)}}, CrashPayload{}, CrashPayload{{fullDiagnostic(4)}}});
        QTRY_COMPARE(server->count(), 2);
    }

    void reportHasTheTableFieldsInOrder()
    {
        make().didReceive({CrashPayload{{fullDiagnostic()}}});
        QTRY_COMPARE(server->count(), 1);
        const HttpRequest request = server->requests()[0];
        QCOMPARE(request.method, QByteArray("POST"));
        QCOMPARE(request.headers.value("content-type"), QByteArray("application/json"));
        QVERIFY(!request.headers.contains("authorization"));
        const QByteArray expected =
            "{\"type\":\"crash\",\"app\":\"stashwell\",\"installID\":\"" +
            defaults->stringValue("crashInstallID").value_or("?").toUtf8() + "\",\"appVersion\":\"" +
            BuildInfo::version + "\",\"build\":\"" + BuildInfo::buildNumber +
            "\",\"osVersion\":\"Debian GNU/Linux 12 (bookworm)\",\"arch\":\"x86_64\","
            "\"callStack\":\"{\\\"callStacks\\\":[]}\",\"signal\":11,\"exceptionType\":1,\"exceptionCode\":1,"
            "\"terminationReason\":\"Namespace SIGNAL, Code 11, SIGSEGV\"}";
        QCOMPARE(request.body, expected);
    }

    void missingFieldsAreAbsentNotNull()
    {
        make().didReceive({CrashPayload{{bareDiagnostic()}}});
        QTRY_COMPARE(server->count(), 1);
        const QJsonObject report = server->requests()[0].json();
        QCOMPARE(report.keys(), QStringList({"app", "appVersion", "arch", "build", "callStack", "installID",
                                             "osVersion", "type"}));
        QVERIFY(!server->requests()[0].body.contains("null"));
    }

    void anInvalidUtf8CallStackIsEmpty()
    {
        CrashDiagnostic diagnostic = bareDiagnostic();
        diagnostic.callStackJSON = QByteArray("{\"x\":\"\xff\xfe\"}");
        QCOMPARE(QJsonDocument::fromJson(make().report(diagnostic)).object()["callStack"].toString(), QString());
    }

    void reportsAreSentWhenTheSwitchIsAbsent()
    {
        QVERIFY(!defaults->contains("crashReportingEnabled"));
        make().didReceive({CrashPayload{{fullDiagnostic()}}});
        QTRY_COMPARE(server->count(), 1);
    }

    void reportingOffDropsTheDelivery()
    {
        defaults->set("crashReportingEnabled", false);
        make().didReceive({CrashPayload{{fullDiagnostic(), fullDiagnostic()}}});
        defaults->set("crashReportingEnabled", true);
        sendSentinelAndWait(1);
    }

    void theFirstReportCreatesTheInstallIDTheImproveReporterUses()
    {
        QVERIFY(!defaults->contains("crashInstallID"));
        make().didReceive({CrashPayload{{fullDiagnostic()}}});
        const QString id = defaults->stringValue("crashInstallID").value_or(QString());
        QCOMPARE(id.size(), 36);
        QCOMPARE(id, id.toUpper());
        QTRY_COMPARE(server->count("/api/crash"), 1);
        QCOMPARE(server->requests("/api/crash")[0].json()["installID"].toString(), id);

        FakeClock clock;
        ImproveReporter improve(*defaults, server->rootURL(), dir->path() + "/improve", clock);
        improve.record("app.env", {});
        improve.waitForWorker();
        QVERIFY(improve.flushNow(true));
        QCOMPARE(server->requests("/api/improve").value(0).json()["installID"].toString(), id);
        QCOMPARE(defaults->stringValue("crashInstallID").value_or(QString()), id);
    }

    void withoutAServiceNothingIsSent()
    {
        make(QString()).didReceive({CrashPayload{{fullDiagnostic()}}});
        QTest::qWait(200);
        QCOMPARE(server->count(), 0);
    }

    void theHandlerWritesSignalAndFramesThenTheProcessDiesOfIt()
    {
        const QString path = CrashFiles::pathForThisLaunch(dir->path());
        const int status = crashChild(path, segfault);
        QVERIFY(WIFSIGNALED(status));
        QCOMPARE(WTERMSIG(status), SIGSEGV); // re-raised with the default action
        QVERIFY(!QFile::exists(path + ".partial"));
        const QByteArray contents = readFile(path);
        QVERIFY2(contents.startsWith("osVersion: Test OS 1.0\narch: x86_64\nsignal: 11\ncode: 1\naddress: 0x0\nframes:\n"),
                 contents.constData());
        QCOMPARE(QFileInfo(path).permissions() & QFile::Permissions(0x0077), 0);

        const CrashDiagnostic diagnostic = CrashFiles::parse(contents);
        QCOMPARE(diagnostic.signal, std::optional<qint64>(11));
        QCOMPARE(diagnostic.exceptionType, std::optional<qint64>(1)); // EXC_BAD_ACCESS
        QCOMPARE(diagnostic.exceptionCode, std::optional<qint64>(1)); // SEGV_MAPERR
        QCOMPARE(diagnostic.terminationReason, std::optional<QString>("Namespace SIGNAL, Code 11, SIGSEGV at 0x0"));
        QCOMPARE(diagnostic.osVersion, QStringLiteral("Test OS 1.0"));
        const QJsonArray frames = QJsonDocument::fromJson(diagnostic.callStackJSON)
                                      .object()["callStacks"][0]["callStackFrames"].toArray();
        QVERIFY(frames.size() >= 3);
        QVERIFY(frames[0].toObject()["address"].toString().startsWith("0x"));
        QVERIFY(frames[0].toObject()["image"].toString().contains("CrashReporterTest"));
    }

    void anAbortHasASignalButNoProcessorException()
    {
        const QString path = CrashFiles::pathForThisLaunch(dir->path());
        const int status = crashChild(path, abortNow);
        QVERIFY(WIFSIGNALED(status));
        QCOMPARE(WTERMSIG(status), SIGABRT);
        const CrashDiagnostic diagnostic = CrashFiles::parse(readFile(path));
        QCOMPARE(diagnostic.signal, std::optional<qint64>(SIGABRT));
        QVERIFY(!diagnostic.exceptionType && !diagnostic.exceptionCode);
        QCOMPARE(diagnostic.terminationReason, std::optional<QString>("Namespace SIGNAL, Code 6, SIGABRT"));
    }

    void eachCrashFileIsDeliveredOnceThenDeleted()
    {
        QCOMPARE(crashChild(dir->path() + "/crash-20260301T093000-100.crash", segfault) & 0x7f, SIGSEGV);
        QCOMPARE(crashChild(dir->path() + "/crash-20260301T093100-101.crash", abortNow) & 0x7f, SIGABRT);
        QFile partial(dir->path() + "/crash-20260301T093200-102.crash.partial");
        QVERIFY(partial.open(QIODevice::WriteOnly));
        partial.write("osVersion: x\narch: y\nsignal: 7\n"); // a second crash cut this one short
        partial.close();
        QFile unrelated(dir->path() + "/improve-queue.jsonl");
        QVERIFY(unrelated.open(QIODevice::WriteOnly));
        unrelated.close();

        make().deliverPendingCrashes();
        QCOMPARE(CrashFiles::pending(dir->path()), QStringList());
        QVERIFY(QFile::exists(dir->path() + "/improve-queue.jsonl"));
        QTRY_COMPARE(server->count("/api/crash"), 3);
        QList<int> signals_;
        for (const HttpRequest &request : server->requests())
            signals_ << request.json()["signal"].toInt();
        std::sort(signals_.begin(), signals_.end());
        QCOMPARE(signals_, QList<int>({SIGABRT, SIGBUS, SIGSEGV}));

        reporter->deliverPendingCrashes(); // nothing twice
        QTest::qWait(200);
        QCOMPARE(server->count(), 3);
    }

    void crashFilesAreDroppedWhenReportingIsOff()
    {
        defaults->set("crashReportingEnabled", false);
        QCOMPARE(crashChild(dir->path() + "/crash-20260301T093000-100.crash", segfault) & 0x7f, SIGSEGV);
        make().deliverPendingCrashes();
        QCOMPARE(CrashFiles::pending(dir->path()), QStringList());
        defaults->set("crashReportingEnabled", true);
        sendSentinelAndWait(1);
    }

    void unreadableCrashFilesNeverBreakTheLaunch()
    {
        const CrashDiagnostic garbage = CrashFiles::parse(QByteArray("\x00\xff\nsignal: banana\nframes:\n(((\n", 24));
        QVERIFY(!garbage.signal && !garbage.terminationReason);
        QCOMPARE(garbage.osVersion, QStringLiteral("?"));
        QVERIFY(QJsonDocument::fromJson(garbage.callStackJSON).isObject());
        QVERIFY(!CrashFiles::parse(QByteArray()).signal);
    }

    void framesAreParsedFromBacktraceLines()
    {
        const CrashDiagnostic diagnostic = CrashFiles::parse(
            "signal: 11\nframes:\n/usr/bin/stashwell(+0x1a2b) [0x55d0c0ffee00]\n"
            "/lib/x86_64-linux-gnu/libc.so.6(__libc_start_main+0x85) [0x7f0000001234]\n[0x7f00000000aa]\n");
        const QJsonArray frames = QJsonDocument::fromJson(diagnostic.callStackJSON)
                                      .object()["callStacks"][0]["callStackFrames"].toArray();
        QCOMPARE(frames.size(), 3);
        QCOMPARE(frames[0].toObject(), QJsonObject({{"image", "/usr/bin/stashwell"},
                                                    {"offset", "0x1a2b"},
                                                    {"address", "0x55d0c0ffee00"}}));
        QCOMPARE(frames[1].toObject()["symbol"].toString(), QStringLiteral("__libc_start_main"));
        QCOMPARE(frames[2].toObject(), QJsonObject({{"address", "0x7f00000000aa"}}));
        // A signal sent by kill() is no processor exception.
        QVERIFY(!CrashFiles::parse("signal: 11\ncode: 0\n").exceptionType);
    }
};

QTEST_GUILESS_MAIN(CrashReporterTest)
#include "CrashReporterTest.moc"

// SPDX-License-Identifier: GPL-3.0-or-later
// Crash reports built from diagnostics and posted to a local HTTP server; the crash handler
// itself runs in forked children that really crash.
#include "diagnostics/CrashFiles.h"
#include "diagnostics/CrashHandler.h"
#include "diagnostics/CrashReporter.h"
#include "fakes/LocalHttpServer.h"
#include "fakes/TestFiles.h"
#include "platform/DefaultsStore.h"

#include <QNetworkReply>
#include <QtTest>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Forks a child that installs the handler for `path` and then dies by `crash`; returns its signal.
int crashChild(const QString &path, void (*crash)())
{
    const QByteArray header = CrashFiles::header(QStringLiteral("Test OS 1.0"), QStringLiteral("x86_64"));
    const pid_t child = fork();
    if (child == 0) {
        CrashHandler::install(QFile::encodeName(path), header);
        crash();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

void segfault() { CrashHandler::crashForTest(); }

} // namespace

class CrashReporterTest : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    DefaultsStore defaults{QString()};
    LocalHttpServer server;
    std::unique_ptr<CrashReporter> reporter;

    CrashReporter &make(const std::optional<QString> &root = {})
    {
        reporter = std::make_unique<CrashReporter>(defaults, root.value_or(server.rootURL()), dir.path());
        return *reporter;
    }
    // The requests the reporter has started and not yet finished.
    qsizetype requestsStarted() const { return reporter->findChildren<QNetworkReply *>().size(); }
    QList<int> sentSignals() const
    {
        QList<int> found;
        for (const HttpRequest &request : server.requests("/api/crash"))
            found << request.json()["signal"].toInt();
        std::sort(found.begin(), found.end());
        return found;
    }

private slots:
    void init() { server.clear(); }

    void everyCrashIsPostedOnceUnlessOffOrWithoutAService()
    {
        const CrashDiagnostic crash{"Debian 12", "x86_64", "{\"callStacks\":[]}", 11, 1, 1, "Namespace SIGNAL, Code 11, SIGSEGV"};
        CrashDiagnostic other = crash;
        other.signal = 6;
        const QList<CrashPayload> payloads{{{crash, other}}, {}, {{crash}}};
        defaults.set("crashReportingEnabled", false);
        make().didReceive(payloads);
        QCOMPARE(requestsStarted(), 0);
        defaults.set("crashReportingEnabled", "yes"); // not a Bool: on
        make(QString()).didReceive(payloads); // no service
        QCOMPARE(requestsStarted(), 0);
        make().didReceive(payloads);
        QCOMPARE(requestsStarted(), 3);
        QTRY_COMPARE(server.count("/api/crash"), 3);
        QCOMPARE(sentSignals(), QList<int>({6, 11, 11}));
        // The report's fields in order, with the installation's identifier made at the first.
        const HttpRequest request = server.requests().first();
        QCOMPARE(request.headers.value("content-type"), QByteArray("application/json"));
        const QByteArray installID = defaults.stringValue("crashInstallID").value_or("?").toUtf8();
        QCOMPARE(installID, QUuid::fromString(installID).toString(QUuid::WithoutBraces).toUpper().toUtf8());
        QVERIFY(request.body.startsWith("{\"type\":\"crash\",\"app\":\"stashwell\",\"installID\":\"" + installID + "\","));
        QVERIFY(request.body.contains(",\"osVersion\":\"Debian 12\",\"arch\":\"x86_64\",\"callStack\":\"{\\\"callStacks\\\":[]}\","));
        QVERIFY(request.body.endsWith(",\"exceptionType\":1,\"exceptionCode\":1,\"terminationReason\":\"Namespace SIGNAL, Code 11, SIGSEGV\"}"));
    }

    void aRealCrashWritesAFileThatIsReportedOnceAtTheNextLaunch()
    {
        const QString path = CrashFiles::pathForThisLaunch(dir.path());
        QCOMPARE(crashChild(path, segfault), SIGSEGV); // re-raised with the default action
        QCOMPARE(QFileInfo(path).permissions() & QFile::Permissions(0x0077), 0);
        const QByteArray contents = readFile(path);
        QVERIFY2(contents.startsWith("osVersion: Test OS 1.0\narch: x86_64\nsignal: 11\ncode: 1\naddress: 0x0\nframes:\n"),
                 contents.constData());
        const CrashDiagnostic crash = CrashFiles::parse(contents);
        QCOMPARE(crash.terminationReason, std::optional<QString>("Namespace SIGNAL, Code 11, SIGSEGV at 0x0"));
        QVERIFY(crash.callStackJSON.contains("CrashReporterTest"));
        // A crash while another was written leaves a partial file.
        QVERIFY(writeFile(dir.path() + "/crash-20260301T093200-102.crash.partial", "osVersion: x\narch: y\nsignal: 7\n"));
        make().deliverPendingCrashes();
        QCOMPARE(requestsStarted(), 2);
        QCOMPARE(CrashFiles::pending(dir.path()), QStringList());
        QTRY_COMPARE(sentSignals(), QList<int>({SIGBUS, SIGSEGV}));
        QTRY_COMPARE(requestsStarted(), 0);
        reporter->deliverPendingCrashes(); // nothing twice
        QCOMPARE(requestsStarted(), 0);
        defaults.set("crashReportingEnabled", false); // switched off: a crash file is dropped unsent
        QCOMPARE(crashChild(path, segfault), SIGSEGV);
        reporter->deliverPendingCrashes();
        QCOMPARE(requestsStarted(), 0);
        QCOMPARE(CrashFiles::pending(dir.path()), QStringList());
    }
};

QTEST_GUILESS_MAIN(CrashReporterTest)
#include "CrashReporterTest.moc"

// SPDX-License-Identifier: GPL-3.0-or-later
// The rotating tester log: timestamped private lines, rotated once the file is over 512 KiB.
#include "diagnostics/DebugLog.h"
#include "fakes/Fakes.h"
#include "fakes/TestFiles.h"

#include <QtTest>

class DebugLogTest : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    FakeClock clock;
    DebugLog log{dir.path() + "/diag", clock};

private slots:
    void onlyAFileOverTheLimitRotatesBeforeTheNextLine()
    {
        log.append("first");
        QCOMPARE(readFile(log.currentPath()), QByteArray("2026-03-01T09:30:00Z first\n"));
        QCOMPARE(QFileInfo(dir.path() + "/diag").permissions() & QFile::Permissions(0x0077), 0);
        QCOMPARE(QFileInfo(log.currentPath()).permissions() & QFile::Permissions(0x0077), 0);
        const QByteArray atLimit(DebugLog::rotationBytes, 'x');
        QVERIFY(writeFile(log.currentPath(), atLimit) && writeFile(log.previousPath(), "older generation\n"));
        clock.advance(61);
        log.append("kept");
        QCOMPARE(readFile(log.previousPath()), QByteArray("older generation\n"));
        const QByteArray overLimit = atLimit + "2026-03-01T09:31:01Z kept\n";
        QCOMPARE(readFile(log.currentPath()), overLimit);
        log.append("next");
        QCOMPARE(readFile(log.previousPath()), overLimit); // replaced the older generation
        QCOMPARE(readFile(log.currentPath()), QByteArray("2026-03-01T09:31:01Z next\n"));
    }
};

QTEST_GUILESS_MAIN(DebugLogTest)
#include "DebugLogTest.moc"

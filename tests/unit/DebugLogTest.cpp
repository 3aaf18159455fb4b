// Part 7.3: the rotating tester log.
#include "diagnostics/DebugLog.h"
#include "fakes/Fakes.h"
#include "fakes/TestFiles.h"

#include <QFile>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>
#include <memory>

class DebugLogTest : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> dir;
    FakeClock clock;
    std::unique_ptr<DebugLog> log;

    QString current() const { return log->currentPath(); }
    QString previous() const { return log->previousPath(); }

private slots:
    void init()
    {
        dir = std::make_unique<QTemporaryDir>();
        clock.wall = FakeClock().wall;
        log = std::make_unique<DebugLog>(dir->path() + "/diag", clock);
    }

    void linesAreTimestampedInIso8601()
    {
        QCOMPARE(current(), dir->path() + "/diag/tester.log");
        log->append("tester: mode ON");
        clock.advance(61);
        log->append("skylet command action=paste item=-");
        QCOMPARE(readFile(current()), QByteArray("2026-03-01T09:30:00Z tester: mode ON\n"
                                                 "2026-03-01T09:31:01Z skylet command action=paste item=-\n"));
        QCOMPARE(QFileInfo(current()).permissions() & QFile::Permissions(0x0077), 0);
        QCOMPARE(QFileInfo(dir->path() + "/diag").permissions() & QFile::Permissions(0x0077), 0);
    }

    void aFileOverTheLimitRotatesBeforeTheNextLine()
    {
        QDir().mkpath(dir->path() + "/diag");
        const QByteArray big(600000, 'x');
        QVERIFY(writeFile(current(), big));
        QVERIFY(writeFile(previous(), "older generation\n"));
        log->append("next");
        QCOMPARE(readFile(previous()), big); // replaced the older generation
        QCOMPARE(readFile(current()), QByteArray("2026-03-01T09:30:00Z next\n"));
    }

    void aFileAtTheLimitDoesNotRotate()
    {
        QDir().mkpath(dir->path() + "/diag");
        QVERIFY(writeFile(current(), QByteArray(DebugLog::rotationBytes, 'x')));
        log->append("next");
        QVERIFY(!QFile::exists(previous()));
        QCOMPARE(QFileInfo(current()).size(), DebugLog::rotationBytes + 26);
    }

    void tailReturnsTheOlderFileFirst()
    {
        QDir().mkpath(dir->path() + "/diag");
        QVERIFY(writeFile(previous(), "old line\n"));
        QVERIFY(writeFile(current(), "new line\n"));
        QCOMPARE(log->readTail(), QStringLiteral("old line\nnew line\n"));
    }

    void tailSkipsAFileThatIsNotUtf8()
    {
        QDir().mkpath(dir->path() + "/diag");
        QVERIFY(writeFile(previous(), "bad \xff\xfe bytes\n"));
        QVERIFY(writeFile(current(), "new line\n"));
        QCOMPARE(log->readTail(), QStringLiteral("new line\n"));
        QFile::remove(current());
        QCOMPARE(log->readTail(), QString());
    }

    void tailKeepsTheLastCharacters()
    {
        QDir().mkpath(dir->path() + "/diag");
        QVERIFY(writeFile(previous(), QByteArray(200000, 'a')));
        QVERIFY(writeFile(current(), QByteArray(100000, 'b') + "END"));
        const QString tail = log->readTail();
        QCOMPARE(tail.size(), DebugLog::tailCharacters);
        QVERIFY(tail.endsWith("bEND"));
        QCOMPARE(tail.count(QLatin1Char('a')), DebugLog::tailCharacters - 100003);
    }

    void linesFromManyThreadsStayWhole()
    {
        QList<QThread *> threads;
        for (int t = 0; t < 4; ++t) {
            threads << QThread::create([this, t] {
                for (int i = 0; i < 200; ++i)
                    log->append(QStringLiteral("thread %1 line %2 ").arg(t).arg(i) + QString(50, QLatin1Char('z')));
            });
            threads.last()->start();
        }
        for (QThread *thread : threads) {
            thread->wait();
            delete thread;
        }
        const QList<QByteArray> lines = readFile(current()).split('\n');
        QCOMPARE(lines.size(), 801); // 800 lines and the empty piece after the last line feed
        for (int i = 0; i < 800; ++i)
            QVERIFY2(lines[i].startsWith("2026-03-01T09:30:00Z thread ") && lines[i].endsWith(QByteArray(50, 'z')),
                     lines[i].constData());
    }

    void anUnwritableDirectoryLosesTheLineQuietly()
    {
        QVERIFY(writeFile(dir->path() + "/file", "not a directory"));
        DebugLog broken(dir->path() + "/file/diag", clock);
        broken.append("lost");
        QCOMPARE(broken.readTail(), QString());
    }
};

QTEST_GUILESS_MAIN(DebugLogTest)
#include "DebugLogTest.moc"

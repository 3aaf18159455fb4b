// Part 5.2 "Left to the implementer": frames reach the socket whole despite short writes.
#include "bridge/FrameWriter.h"

#include <QtTest>
#include <cerrno>

namespace {

// A socket stand-in: takes at most `perCall` bytes per write and plays scripted errors first.
struct FakeSocket {
    qint64 perCall = 1 << 30;
    QList<int> errors; // errno values returned (as -1) before accepting bytes; 0 = return 0
    QByteArray received;
    int calls = 0;

    qint64 write(const char *data, qint64 size)
    {
        ++calls;
        if (!errors.isEmpty()) {
            const int error = errors.takeFirst();
            if (error == 0)
                return 0;
            errno = error;
            return -1;
        }
        const qint64 n = qMin(size, perCall);
        received.append(data, n);
        return n;
    }
    FrameWriter::WriteFunction function()
    {
        return [this](const char *data, qint64 size) { return write(data, size); };
    }
};

} // namespace

class FrameWriterTest : public QObject {
    Q_OBJECT

private slots:
    void frameEndsInOneLineFeed()
    {
        QCOMPARE(FrameWriter::frame("{\"v\":1}"), QByteArray("{\"v\":1}\n"));
    }

    void shortWritesAreContinuedUntilTheFrameIsWhole()
    {
        FrameWriter writer;
        FakeSocket socket;
        socket.perCall = 3;
        const QByteArray message = R"({"v":1,"type":"widget.state","app":"com.norvane.Stashwell"})";
        QVERIFY(writer.enqueue(message));
        QCOMPARE(writer.drain(socket.function()), FrameWriter::Result::Done);
        QCOMPARE(socket.received, message + '\n');
        QCOMPARE(socket.calls, int((message.size() + 1 + 2) / 3));
        QVERIFY(!writer.hasPending());
    }

    void interruptedWritesAreRetried()
    {
        FrameWriter writer;
        FakeSocket socket;
        socket.errors = {EINTR, EINTR};
        writer.enqueue("abc");
        QCOMPARE(writer.drain(socket.function()), FrameWriter::Result::Done);
        QCOMPARE(socket.received, QByteArray("abc\n"));
    }

    void wouldBlockKeepsTheRestForLater()
    {
        FrameWriter writer;
        FakeSocket socket;
        socket.perCall = 2;
        writer.enqueue("abcdef");
        socket.errors = {};
        // Two bytes go out, then the socket is full.
        QCOMPARE(writer.drain([&](const char *d, qint64 n) -> qint64 {
            if (socket.received.isEmpty())
                return socket.write(d, n);
            errno = EAGAIN;
            return -1;
        }),
                 FrameWriter::Result::Pending);
        QCOMPARE(writer.pendingBytes(), 5);
        writer.enqueue("gh"); // queued behind the unfinished frame, never inside it
        QCOMPARE(writer.drain(socket.function()), FrameWriter::Result::Done);
        QCOMPARE(socket.received, QByteArray("abcdef\ngh\n"));
    }

    void zeroOrErrorFails()
    {
        for (int error : {0, EPIPE, ECONNRESET}) {
            FrameWriter writer;
            FakeSocket socket;
            socket.perCall = 2;
            writer.enqueue("abcd");
            QVERIFY(writer.drain([&](const char *d, qint64 n) -> qint64 {
                if (socket.received.isEmpty())
                    return socket.write(d, n);
                if (error == 0)
                    return 0;
                errno = error;
                return -1;
            }) == FrameWriter::Result::Failed);
            QCOMPARE(socket.received, QByteArray("ab"));
            QCOMPARE(writer.pendingBytes(), 3);
            writer.clear(); // the bridge disconnects: the message is lost
            QVERIFY(!writer.hasPending());
        }
    }

    void capRefusesAWholeFrame()
    {
        FrameWriter writer(10);
        QVERIFY(writer.enqueue("12345"));      // 6 bytes with the line feed
        QVERIFY(!writer.enqueue("1234"));      // would make 11
        QVERIFY(writer.enqueue("123"));        // exactly 10
        QCOMPARE(writer.pendingBytes(), 10);
        FakeSocket socket;
        QCOMPARE(writer.drain(socket.function()), FrameWriter::Result::Done);
        QCOMPARE(socket.received, QByteArray("12345\n123\n"));
        QVERIFY(writer.enqueue("123456789"));  // room again once drained
    }

    void drainWithNothingPendingWritesNothing()
    {
        FrameWriter writer;
        FakeSocket socket;
        QCOMPARE(writer.drain(socket.function()), FrameWriter::Result::Done);
        QCOMPARE(socket.calls, 0);
    }
};

QTEST_GUILESS_MAIN(FrameWriterTest)
#include "FrameWriterTest.moc"

// SPDX-License-Identifier: GPL-3.0-or-later
// Frames reach the socket whole and in order despite short writes, interruptions and a full
// socket; a peer that stops reading costs at most the cap.
#include "bridge/FrameWriter.h"

#include <QtTest>
#include <cerrno>

namespace {

// A socket stand-in. Each call plays the next step of `script`: n > 0 takes up to n bytes,
// 0 returns 0, -e fails with errno e. Once the script is used up it takes everything.
struct Socket {
    QList<int> script;
    QByteArray received;
    int calls = 0;

    FrameWriter::WriteFunction write()
    {
        return [this](const char *data, qint64 size) -> qint64 {
            ++calls;
            const int step = script.isEmpty() ? int(size) : script.takeFirst();
            if (step < 0)
                errno = -step;
            const qint64 n = step < 0 ? -1 : qMin<qint64>(size, step);
            received.append(data, qMax<qint64>(n, 0));
            return n;
        };
    }
};

} // namespace

class FrameWriterTest : public QObject {
    Q_OBJECT

private slots:
    void shortInterruptedOrBlockedWritesAreContinuedFrameAfterFrame()
    {
        FrameWriter writer;
        Socket socket{{3, -EINTR, 3, -EINTR, -EINTR, 3, -EAGAIN}};
        QVERIFY(writer.enqueue(R"({"v":1,"type":"widget.state"})"));
        QCOMPARE(writer.drain(socket.write()), FrameWriter::Result::Pending); // the socket is full
        QCOMPARE(writer.pendingBytes(), 21);
        writer.enqueue("gh"); // behind the unfinished frame, never inside it
        socket.script = {-EWOULDBLOCK};
        QCOMPARE(writer.drain(socket.write()), FrameWriter::Result::Pending);
        QCOMPARE(writer.drain(socket.write()), FrameWriter::Result::Done);
        QCOMPARE(socket.received, QByteArray("{\"v\":1,\"type\":\"widget.state\"}\ngh\n"));
        QVERIFY(!writer.hasPending());
        QCOMPARE(writer.drain(socket.write()), FrameWriter::Result::Done); // nothing left: no write
        QCOMPARE(socket.calls, 9);
    }

    void aClosedOrBrokenSocketFailsAndTheCapRefusesAWholeFrame()
    {
        for (const int step : {0, -EPIPE, -ECONNRESET}) {
            FrameWriter writer(10);
            Socket socket{{2, step}};
            QVERIFY(writer.enqueue("12345")); // 6 bytes with the line feed
            QVERIFY(!writer.enqueue("1234")); // would make 11
            QVERIFY(writer.enqueue("123"));   // exactly 10
            QCOMPARE(writer.drain(socket.write()), FrameWriter::Result::Failed);
            QCOMPARE(socket.received, QByteArray("12"));
            QCOMPARE(writer.pendingBytes(), 8); // until the bridge disconnects and clears it
            QVERIFY(writer.enqueue("1")); // room again for what was written
        }
    }
};

QTEST_GUILESS_MAIN(FrameWriterTest)
#include "FrameWriterTest.moc"

// SPDX-License-Identifier: GPL-3.0-or-later
// The companion's byte stream cut into lines, however it was split into reads, with a cap on
// the length of one line.
#include "bridge/LineFramer.h"

#include <QtTest>

namespace {

// Appends in reads of `chunk` bytes, taking the complete lines after every read as the bridge does.
QList<QByteArray> feed(LineFramer &framer, const QByteArray &stream, qsizetype chunk = 1 << 20)
{
    QList<QByteArray> lines;
    for (qsizetype i = 0; i < stream.size(); i += chunk) {
        framer.append(QByteArrayView(stream).sliced(i, qMin(chunk, stream.size() - i)));
        while (const auto line = framer.takeLine())
            lines << *line;
    }
    return lines;
}

} // namespace

class LineFramerTest : public QObject {
    Q_OBJECT

private slots:
    // Blank lines are skipped, one CR before the LF is dropped; a line of exactly the cap is
    // kept, one byte more is dropped whole, and the neighbours survive.
    void everySplitOfTheStreamGivesTheSameLines()
    {
        const QByteArray binary("\x00\xff\xe6\x97\xa5", 5);
        const QByteArray stream = "\n{\"a\":1}\n\nsecond\r\n\r\nc\rd\n\re\n" + binary + "\n0123456789\n12345678\n123456789\nz\n{\"t\"";
        for (qsizetype chunk = 1; chunk <= stream.size(); ++chunk) {
            LineFramer framer(8);
            QCOMPARE(feed(framer, stream, chunk), (QList<QByteArray>{"{\"a\":1}", "second", "c\rd", "\re", binary, "12345678", "z"}));
            QCOMPARE(framer.droppedLines(), 2);
            QCOMPARE(framer.bufferedBytes(), 4); // the unfinished tail waits for its line feed
        }
    }

    // A peer that never sends a line feed: the buffer stays bounded and framing resumes after it.
    void aLineWithoutEndNeverGrowsTheBufferAndClearForgetsIt()
    {
        LineFramer framer(16);
        framer.append("ok\n");
        for (int i = 0; i < 1000; ++i) {
            framer.append("0123456");
            QVERIFY(framer.bufferedBytes() <= 16 + 3);
        }
        QCOMPARE(feed(framer, "still the same line\nnext\n"), (QList<QByteArray>{"ok", "next"}));
        QCOMPARE(LineFramer().maxLineBytes(), 1024 * 1024);
        // After a disconnect neither a partial line nor a line being dropped joins the next.
        framer.append("{\"v\":");
        framer.clear();
        QCOMPARE(feed(framer, "new\n"), QList<QByteArray>{"new"});
        framer.append(QByteArray(20, 'x'));
        framer.clear();
        QCOMPARE(feed(framer, "next\n"), QList<QByteArray>{"next"});
    }
};

QTEST_GUILESS_MAIN(LineFramerTest)
#include "LineFramerTest.moc"

// Part 5.2 framing: the received byte stream cut into lines, with the read-buffer cap.
#include "bridge/LineFramer.h"
#include "bridge/WidgetMessage.h"

#include <QtTest>

class LineFramerTest : public QObject {
    Q_OBJECT

    static QList<QByteArray> drain(LineFramer &framer)
    {
        QList<QByteArray> lines;
        while (auto line = framer.takeLine())
            lines << *line;
        return lines;
    }
    // Appends in chunks of `chunk` bytes, taking lines after every read as the bridge does.
    static QList<QByteArray> feed(LineFramer &framer, const QByteArray &stream, qsizetype chunk)
    {
        QList<QByteArray> lines;
        for (qsizetype i = 0; i < stream.size(); i += chunk) {
            framer.append(QByteArrayView(stream).sliced(i, qMin(chunk, stream.size() - i)));
            lines << drain(framer);
        }
        return lines;
    }

private slots:
    void oneByteChunks()
    {
        LineFramer framer;
        const QByteArray stream = R"({"v":1,"type":"widget.command","app":"s","actionId":"openPalette"})"
                                  "\n"
                                  R"({"v":1,"type":"widget.hostinfo","app":"s","lang":"ja"})"
                                  "\n";
        const QList<QByteArray> lines = feed(framer, stream, 1);
        QCOMPARE(lines.size(), 2);
        QCOMPARE(WidgetMessage::decode(lines[0])->actionId, std::optional<QString>(QStringLiteral("openPalette")));
        QCOMPARE(WidgetMessage::decode(lines[1])->lang, std::optional<QString>(QStringLiteral("ja")));
        QCOMPARE(framer.bufferedBytes(), 0);
    }

    // Part 5.2 edge case: two messages in one read, one split over reads, a read ending mid-message.
    void severalLinesInOneReadAndAPartialTail()
    {
        LineFramer framer;
        framer.append("{\"a\":1}\n{\"b\":2}\n{\"c\":");
        QCOMPARE(drain(framer), (QList<QByteArray>{"{\"a\":1}", "{\"b\":2}"}));
        QCOMPARE(framer.bufferedBytes(), 5);
        QVERIFY(!framer.takeLine());
        framer.append("3");
        QVERIFY(!framer.takeLine());
        framer.append("}\n{\"d\"");
        QCOMPARE(drain(framer), (QList<QByteArray>{"{\"c\":3}"}));
        QCOMPARE(framer.bufferedBytes(), 4);
    }

    void linesCanBeTakenLaterInOrder()
    {
        LineFramer framer;
        framer.append("a\nb");
        framer.append("\nc\n");
        QCOMPARE(drain(framer), (QList<QByteArray>{"a", "b", "c"}));
    }

    // Part 5.2 edge case: a blank line between messages is skipped.
    void blankLinesAreSkipped()
    {
        LineFramer framer;
        framer.append("\n\na\n\n\nb\n\n");
        QCOMPARE(drain(framer), (QList<QByteArray>{"a", "b"}));
    }

    void crlfEndsALineLikeLf()
    {
        LineFramer framer;
        const QList<QByteArray> lines = feed(framer, "a\r\nb\r\n\r\nc\rd\n\re\n", 1);
        QCOMPARE(lines, (QList<QByteArray>{"a", "b", "c\rd", "\re"}));
    }

    void bytesAreKeptAsTheyAre()
    {
        LineFramer framer;
        const QByteArray odd("\x00\xff \xe6\x97\xa5 \t\x01", 9);
        framer.append(odd + '\n');
        QCOMPARE(drain(framer), QList<QByteArray>{odd});
    }

    void splitAnywhereGivesTheSameLines()
    {
        const QByteArray stream = "first line\n\nsecond\r\nthird has \"quotes\"\n\xc3\xa9\n";
        LineFramer whole;
        const QList<QByteArray> expected = feed(whole, stream, stream.size());
        QCOMPARE(expected.size(), 4);
        for (qsizetype chunk = 1; chunk < stream.size(); ++chunk) {
            LineFramer framer;
            QCOMPARE(feed(framer, stream, chunk), expected);
        }
    }

    void defaultCapIsOneMebibyte()
    {
        LineFramer framer;
        QCOMPARE(framer.maxLineBytes(), qsizetype(1024 * 1024));
        const QByteArray chunk(4096, 'x');
        for (int i = 0; i < 300; ++i) { // 1.2 MiB without a line feed
            framer.append(chunk);
            QVERIFY(framer.bufferedBytes() <= 1024 * 1024);
        }
        QCOMPARE(framer.droppedLines(), 1);
        framer.append("tail of the long line\n{\"next\":1}\n");
        QCOMPARE(drain(framer), QList<QByteArray>{"{\"next\":1}"});
    }

    // A peer that never sends a line feed: the buffer stays bounded and framing resumes.
    void overlongLineIsDroppedWithoutGrowth()
    {
        LineFramer framer(16);
        framer.append("ok\n");
        for (int i = 0; i < 1000; ++i) {
            framer.append("0123456");
            QVERIFY(framer.bufferedBytes() <= 16 + 3);
        }
        QCOMPARE(drain(framer), QList<QByteArray>{"ok"});
        QCOMPARE(framer.bufferedBytes(), 0);
        framer.append("still the same line");
        QCOMPARE(framer.bufferedBytes(), 0);
        framer.append("\nnext\n");
        QCOMPARE(drain(framer), QList<QByteArray>{"next"});
        QCOMPARE(framer.droppedLines(), 1);
    }

    void overlongLineInOneReadIsDroppedNeighboursKept()
    {
        LineFramer framer(8);
        framer.append("before\n0123456789abcdef\nafter\n12345678\n");
        QCOMPARE(drain(framer), (QList<QByteArray>{"before", "after", "12345678"}));
        QCOMPARE(framer.droppedLines(), 1);
    }

    void lineOfExactlyTheCapIsKept()
    {
        LineFramer framer(8);
        QCOMPARE(feed(framer, "12345678\n123456789\nabc\n", 1), (QList<QByteArray>{"12345678", "abc"}));
        QCOMPARE(framer.droppedLines(), 1);
    }

    // disconnect() empties readBuffer: a partial line of the old connection never joins the new one.
    void clearForgetsPartialLineAndDiscarding()
    {
        LineFramer framer(4);
        framer.append("{\"half");
        framer.clear();
        QCOMPARE(framer.bufferedBytes(), 0);
        framer.append("new\n");
        QCOMPARE(drain(framer), QList<QByteArray>{"new"});

        LineFramer partial;
        partial.append("{\"v\":1,");
        partial.clear();
        partial.append("{\"x\":2}\n");
        QCOMPARE(drain(partial), QList<QByteArray>{"{\"x\":2}"});
    }

    void badLineDoesNotStopLaterOnes()
    {
        LineFramer framer;
        framer.append("not json\n{\"v\":1,\"type\":\"widget.command\",\"app\":\"s\",\"itemId\":\"X\"}\n");
        QList<WidgetMessage> messages;
        while (auto line = framer.takeLine())
            if (auto m = WidgetMessage::decode(*line))
                messages << *m;
        QCOMPARE(messages.size(), 1);
        QCOMPARE(messages[0].itemId, std::optional<QString>(QStringLiteral("X")));
    }
};

QTEST_GUILESS_MAIN(LineFramerTest)
#include "LineFramerTest.moc"

// SPDX-License-Identifier: GPL-3.0-or-later
// Framing fuzzer for the companion socket: the lines read from a stream do not depend on how
// the stream was cut into reads, match a plain model of the rules, and the buffer stays under
// its cap.
// The lines are decoded as messages, then written back through FrameWriter with short,
// interrupted and blocked writes, which must deliver every frame whole and in order.
#include "bridge/FrameWriter.h"
#include "bridge/LineFramer.h"
#include "bridge/WidgetMessage.h"

#include <cerrno>
#include <cstdlib>
#include <fuzzer/FuzzedDataProvider.h>
#include <vector>

namespace {

void check(bool condition)
{
    if (!condition)
        abort();
}

// The rules written plainly: split at line feeds, drop lines over the cap, drop one trailing
// carriage return, skip empty lines; the part after the last line feed is not a line yet.
QList<QByteArray> model(const QByteArray &stream, qsizetype cap)
{
    QList<QByteArray> lines;
    QList<QByteArray> pieces = stream.split('\n');
    pieces.removeLast();
    for (QByteArray piece : pieces) {
        if (piece.size() > cap)
            continue;
        if (piece.endsWith('\r'))
            piece.chop(1);
        if (!piece.isEmpty())
            lines << piece;
    }
    return lines;
}

QList<QByteArray> frameInReads(const QByteArray &stream, qsizetype cap, const std::vector<uint8_t> &reads)
{
    LineFramer framer(cap);
    QList<QByteArray> lines;
    qsizetype at = 0;
    for (size_t i = 0; at < stream.size(); ++i) {
        const qsizetype n = reads.empty() ? stream.size() : qsizetype(reads[i % reads.size()] % 64) + 1;
        const qsizetype take = qMin(n, stream.size() - at);
        framer.append(QByteArrayView(stream).sliced(at, take));
        at += take;
        while (auto line = framer.takeLine())
            lines << *line;
        check(framer.bufferedBytes() <= cap); // only an unfinished line remains
    }
    return lines;
}

void writeBack(const QList<QByteArray> &lines, const std::vector<uint8_t> &script)
{
    FrameWriter writer;
    QByteArray expected;
    for (const QByteArray &line : lines) {
        check(writer.enqueue(line));
        expected += FrameWriter::frame(line);
    }
    QByteArray received;
    size_t step = 0;
    bool failedLast = false; // a socket makes progress between errors
    const auto write = [&](const char *data, qint64 size) -> qint64 {
        const uint8_t s = script.empty() ? 255 : script[step++ % script.size()];
        failedLast = !failedLast && s % 8 < 2;
        if (failedLast) {
            errno = s % 8 == 0 ? EINTR : EAGAIN;
            return -1;
        }
        const qint64 n = qMin<qint64>(size, s / 8 + 1);
        received.append(data, n);
        return n;
    };
    while (writer.hasPending())
        check(writer.drain(write) != FrameWriter::Result::Failed);
    check(received == expected);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider provider(data, size);
    const qsizetype cap = provider.ConsumeIntegralInRange<qsizetype>(1, 96);
    const std::vector<uint8_t> reads = provider.ConsumeBytes<uint8_t>(provider.ConsumeIntegralInRange<size_t>(0, 16));
    const std::vector<uint8_t> writes = provider.ConsumeBytes<uint8_t>(provider.ConsumeIntegralInRange<size_t>(0, 16));
    const std::string rest = provider.ConsumeRemainingBytesAsString();
    const QByteArray stream(rest.data(), qsizetype(rest.size()));

    const QList<QByteArray> expected = model(stream, cap);
    check(frameInReads(stream, cap, {}) == expected);
    check(frameInReads(stream, cap, reads) == expected);
    for (const QByteArray &line : expected)
        (void)WidgetMessage::decode(line);
    writeBack(expected, writes);
    return 0;
}

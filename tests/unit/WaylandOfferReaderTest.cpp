// SPDX-License-Identifier: GPL-3.0-or-later
// Reading a clipboard offer through pipes as the Wayland worker does: the owner's data arrives
// whole and an empty type counts; a silent type is passed over, and at the deadline the read ends
// with nothing; a type over its share is passed over by a capture but fails a snapshot; a
// replaced offer ends the read at once.
#include "platform/WaylandOfferReader.h"

#include <QElapsedTimer>
#include <QtTest>
#include <unistd.h>

namespace {

// The owner's answer to each type it offers, in its order: "type data" writes the data (up to
// the end; MIME types hold no spaces) and closes the pipe; "type <silent>" keeps the pipe open
// and never writes.
struct Owner {
    explicit Owner(QStringList answers)
        : answers(std::move(answers))
    {
    }
    ~Owner()
    {
        for (int fd : std::as_const(silent))
            close(fd);
    }
    QStringList offered() const
    {
        QStringList types;
        for (const QString &answer : answers)
            types << answer.section(QLatin1Char(' '), 0, 0);
        return types;
    }
    void receive(const QString &type, int fd)
    {
        for (const QString &answer : std::as_const(answers)) {
            if (answer.section(QLatin1Char(' '), 0, 0) != type)
                continue;
            const QByteArray data = answer.section(QLatin1Char(' '), 1).toUtf8();
            if (data == "<silent>")
                silent << dup(fd);
            else
                QCOMPARE(write(fd, data.constData(), size_t(data.size())), ssize_t(data.size()));
        }
    }

    QStringList answers;
    QList<int> silent; // the pipes it keeps open
};

struct Outcome {
    std::optional<ClipboardItemData> item;
    qint64 ms = 0;
};

// Runs the read on this thread's poll(2) loop until it is done.
Outcome readOffer(Owner &owner, const QList<WaylandOfferReader::Step> &steps, WaylandOfferReader::Limits limits,
                  const std::function<void(WaylandOfferReader &)> &meanwhile = {})
{
    WaylandWatches watches;
    Outcome outcome;
    bool finished = false;
    QElapsedTimer clock;
    clock.start();
    WaylandOfferReader reader(
        watches, [&](const QString &type, int fd) { owner.receive(type, fd); }, steps, limits,
        [&](std::optional<ClipboardItemData> item) {
            outcome = {std::move(item), clock.elapsed()};
            finished = true;
        });
    reader.start();
    if (meanwhile)
        meanwhile(reader);
    while (!finished && clock.elapsed() < 10000) {
        QList<pollfd> fds;
        const int timeout = watches.prepare(fds);
        poll(fds.data(), nfds_t(fds.size()), timeout);
        watches.dispatch(fds, 0);
    }
    return outcome;
}

QStringList pairs(const std::optional<ClipboardItemData> &item)
{
    if (!item)
        return {QStringLiteral("nothing")};
    QStringList list;
    for (const auto &[type, bytes] : *item)
        list << type + QLatin1Char(' ') + QString::fromUtf8(bytes);
    return list;
}

// One read: the owner's answers, the request's wants (a want's formats joined by "|"), its limits
// and what it read.
struct Read {
    QStringList owner, wants;
    qint64 maxBytes = 100, maxTotalBytes = 1000; // each want's; all together
    bool wholeOrNothing = false;
    int silenceMs = 100, deadlineMs = 2000;
    QStringList read;
};

} // namespace
Q_DECLARE_METATYPE(Read)

class WaylandOfferReaderTest : public QObject {
    Q_OBJECT
private slots:
    void readsWhatTheRequestAsksWithinItsLimits_data()
    {
        QTest::addColumn<Read>("read");
        QTest::newRow("wanted order, first offered format, empty marker")
            << Read{.owner = {"text/plain plain", "text/plain;charset=utf-8 utf-8 text", "x-marker "},
                    .wants = {"x-marker", "text/plain;charset=utf-8|text/plain", "text/html"},
                    .read = {"x-marker ", "text/plain;charset=utf-8 utf-8 text"}};
        QTest::newRow("a silent format gives way to the next")
            << Read{.owner = {"a <silent>", "b bee"}, .wants = {"a|b"}, .read = {"b bee"}};
        QTest::newRow("a silent owner runs into the deadline")
            << Read{.owner = {"a <silent>"}, .wants = {"a"}, .silenceMs = 1000, .deadlineMs = 300, .read = {"nothing"}};
        QTest::newRow("over the want's size: the next format")
            << Read{.owner = {"big 0123456789", "small ok"}, .wants = {"big|small"}, .maxBytes = 5,
                    .read = {"small ok"}};
        QTest::newRow("over the total: what was read so far")
            << Read{.owner = {"a 1234", "b 5678"}, .wants = {"a", "b"}, .maxTotalBytes = 6, .read = {"a 1234"}};
        QTest::newRow("over its share in a snapshot: nothing")
            << Read{.owner = {"a 1234", "b 5678"}, .wants = {"a", "b"}, .maxTotalBytes = 6, .wholeOrNothing = true,
                    .read = {"nothing"}};
    }
    void readsWhatTheRequestAsksWithinItsLimits()
    {
        QFETCH(Read, read);
        Owner client(read.owner);
        ClipboardReadRequest request;
        for (const QString &want : std::as_const(read.wants))
            request.wants.append({want.split(QLatin1Char('|')), read.maxBytes});
        const Outcome outcome =
            readOffer(client, WaylandOfferReader::steps(request, client.offered()),
                      {read.maxTotalBytes, QDeadlineTimer(read.deadlineMs), read.wholeOrNothing, read.silenceMs});
        QCOMPARE(pairs(outcome.item), read.read);
        QVERIFY2(outcome.ms < read.deadlineMs + 200, qPrintable(QString::number(outcome.ms)));
    }

    void aReplacedOfferEndsTheReadAtOnce()
    {
        Owner client({QStringLiteral("a <silent>")});
        const Outcome outcome = readOffer(client, WaylandOfferReader::everyType(client.offered(), 100),
                                          {100, QDeadlineTimer(5000), true, 1000},
                                          [](WaylandOfferReader &reader) { reader.cancel(); });
        QCOMPARE(pairs(outcome.item), QStringList{"nothing"});
        QVERIFY(outcome.ms < 100);
    }
};

QTEST_MAIN(WaylandOfferReaderTest)
#include "WaylandOfferReaderTest.moc"

// SPDX-License-Identifier: GPL-3.0-or-later
#include "Measurements.h"

#include "Contender.h"
#include "ProcessTree.h"

#include <QRandomGenerator>
#include <QSet>
#include <QTest>
#include <X11/keysym.h>
#include <future>
#include <thread>

namespace {

using Clock = XProbe::Clock;

double millisSince(Clock::time_point start, Clock::time_point end)
{
    return std::chrono::duration<double, std::milli>(end - start).count();
}

// A repaint has settled once the window stayed unchanged this long.
constexpr int quietMs = 300;
// An opening that takes longer failed; the open command gets as long to end.
constexpr int openTimeoutMs = 2000;
// Copies while a program starts: the resolution of its start-up time.
constexpr int copyIntervalMs = 40;

} // namespace

namespace Measure {

std::optional<double> startUntilCaptureReady(Contender &program)
{
    const QString run = QString::number(QRandomGenerator::global()->generate(), 36);
    const auto copy = [&](qsizetype i) { return QStringLiteral("start %1 copy %2").arg(run).arg(i); };
    QList<double> copiedAt;
    std::future<QStringList> newest; // asked on another thread, while the copies go on
    const Clock::time_point start = Clock::now();
    program.launch();
    for (auto next = start; next - start < std::chrono::seconds(30); next += std::chrono::milliseconds(copyIntervalMs)) {
        std::this_thread::sleep_until(next);
        copiedAt << millisSince(start, Clock::now());
        program.desktop().xclipCopy(copy(copiedAt.size() - 1).toUtf8());
        if (newest.valid() && newest.wait_for(std::chrono::seconds(0)) == std::future_status::ready) {
            const QStringList texts = newest.get();
            for (qsizetype i = 0; i < copiedAt.size(); ++i)
                if (texts.contains(copy(i)))
                    return copiedAt[i];
        }
        if (!newest.valid())
            newest = std::async(std::launch::async, [&program, n = int(copiedAt.size())] { return program.newestTexts(n); });
    }
    return std::nullopt;
}

void settle(Contender &program)
{
    qint64 before = ProcessTree::cpuTicks(program.processes());
    for (int second = 0; second < 20; ++second) {
        QTest::qWait(1000);
        const qint64 now = ProcessTree::cpuTicks(program.processes());
        if (now == before)
            return;
        before = now;
    }
}

std::optional<Opening> openByCommand(Contender &program, XProbe &probe, bool *answered)
{
    probe.discardEvents();
    const Clock::time_point start = Clock::now();
    const std::unique_ptr<QProcess> client = program.startOpenCommand();
    const auto mapped = probe.waitMapped(program.popupIsOverrideRedirect(), openTimeoutMs);
    const bool finished = client->waitForFinished(openTimeoutMs);
    if (answered)
        *answered = finished;
    if (!finished) {
        client->kill();
        client->waitForFinished();
    }
    if (!mapped)
        return std::nullopt;
    return Opening{millisSince(start, mapped->at), mapped->window};
}

std::optional<Opening> openByHotKey(Contender &program, XProbe &probe)
{
    probe.discardEvents();
    const Clock::time_point start = probe.press({XK_Super_L, XK_Shift_L, XK_v});
    const auto mapped = probe.waitMapped(program.popupIsOverrideRedirect(), openTimeoutMs);
    if (!mapped)
        return std::nullopt;
    return Opening{millisSince(start, mapped->at), mapped->window};
}

std::optional<double> openOnce(Contender &program, XProbe &probe, bool hotKey, bool *answered)
{
    const std::optional<Opening> opened = hotKey ? openByHotKey(program, probe) : openByCommand(program, probe, answered);
    if (opened) {
        program.closeWindow(probe, opened->window);
        return opened->ms;
    }
    // It may still come: closed then, so that the next opening starts from a closed window.
    if (const auto late = probe.waitMapped(program.popupIsOverrideRedirect(), 3000))
        program.closeWindow(probe, late->window);
    return std::nullopt;
}

QList<std::optional<double>> keystrokes(Contender &program, XProbe &probe, const QString &query)
{
    const std::optional<Opening> opened = openByCommand(program, probe);
    if (!opened)
        return {std::nullopt};
    probe.watchRepaints(opened->window);
    probe.settledRepaint(Clock::now(), quietMs, 1000); // the opening's own repaints
    QList<std::optional<double>> perKey;
    for (QChar c : query)
        perKey << probe.settledRepaint(probe.type(c), quietMs, 3000);
    probe.stopWatchingRepaints();
    program.closeWindow(probe, opened->window);
    return perKey;
}

double captureRatio(Contender &program, int perSecond, int copies, const QString &tag)
{
    QStringList texts;
    for (int i = 0; i < copies; ++i)
        texts << QStringLiteral("capture %1 at %2 per second, copy %3").arg(tag).arg(perSecond).arg(i);
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < copies; ++i) {
        std::this_thread::sleep_until(start + std::chrono::milliseconds(1000 * i / perSecond));
        program.desktop().xclipCopy(texts[i].toUtf8());
    }
    // Counted once the last copy is in, or after 5 s when it is not.
    XSession::waitFor([&] { return program.newestTexts(1).value(0) == texts.last(); }, 5000);
    const QStringList newest = program.newestTexts(2 * copies);
    const QSet<QString> recorded(newest.begin(), newest.end());
    qsizetype count = 0;
    for (const QString &text : texts)
        count += recorded.contains(text);
    return double(count) / copies;
}

std::optional<double> openAfterCopy(Contender &program, XProbe &probe, int index)
{
    program.desktop().xclipCopy(QStringLiteral("copied just before the hot key, %1").arg(index).toUtf8());
    QTest::qWait(650 + QRandomGenerator::global()->bounded(301));
    return openOnce(program, probe, true);
}

} // namespace Measure

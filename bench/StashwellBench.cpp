// SPDX-License-Identifier: GPL-3.0-or-later
// Stashwell and CopyQ side by side, each on a private X display, on the same generated
// histories: memory, opening, typing, capture, idle CPU and start-up. Prints one Markdown table.
// Usage: stashwell-bench [--quick]   (fewer repetitions, no 60 s idle run)
#include "Contender.h"
#include "HistoryGenerator.h"
#include "Measurements.h"
#include "ProcessTree.h"
#include "ResultTable.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <cstdio>

namespace {

struct Plan {
    int starts, opens, queries, toggles, stalls, captureCopies;
    bool idleCpu;
};
constexpr Plan full{3, 20, 3, 1000, 10, 20, true};
constexpr Plan quick{1, 5, 1, 100, 4, 20, false};
constexpr qint64 stressLimitMs = 5 * 60 * 1000; // the toggles stop early after this

const QList<qsizetype> sizes = {5000, 10000, 50000};
const QString query = QStringLiteral("docker deploy"); // words the generated entries use

struct Side {
    Contender &program;
    XProbe &probe;
};

QString entries(qsizetype n) { return QLocale(QLocale::English).toString(n); }

void progress(const QString &line)
{
    static QElapsedTimer clock;
    if (!clock.isValid())
        clock.start();
    std::fprintf(stderr, "bench: %4llds %s\n", clock.elapsed() / 1000, qPrintable(line));
}

std::optional<double> memoryMiB(Contender &program, qint64 (*kiB)(const QList<qint64> &))
{
    const QList<qint64> pids = program.processes();
    return pids.isEmpty() ? std::nullopt : std::optional(kiB(pids) / 1024.0);
}

void addMemory(QList<Side> &sides, const QString &when, qsizetype size, ResultTable &table)
{
    table.addFigures(QStringLiteral("RSS %1, all processes, %2").arg(when, entries(size)),
                     memoryMiB(sides[0].program, ProcessTree::rssKiB), memoryMiB(sides[1].program, ProcessTree::rssKiB),
                     " MiB", 1);
    table.addFigures(QStringLiteral("PSS %1, all processes, %2").arg(when, entries(size)),
                     memoryMiB(sides[0].program, ProcessTree::pssKiB), memoryMiB(sides[1].program, ProcessTree::pssKiB),
                     " MiB", 1);
}

// A program that ended by itself is noted and started again, for the measurements after `phase`.
void keepRunning(QList<Side> &sides, const QString &phase, ResultTable &table)
{
    for (Side &side : sides) {
        if (side.program.isRunning())
            continue;
        table.addNote(QStringLiteral("%1 ended by itself during %2 (%3) and was started again.")
                          .arg(side.program.name(), phase, side.program.howItEnded()));
        side.program.launch();
        side.program.waitAnswers();
        Measure::settle(side.program);
    }
}

// Starts each program `plan.starts` times, alternately; they run afterwards.
void startUp(QList<Side> &sides, const Plan &plan, qsizetype size, ResultTable &table)
{
    Samples start[2];
    for (int rep = 0; rep < plan.starts; ++rep)
        for (int i = 0; i < 2; ++i) {
            sides[i].program.stop();
            start[i].add(Measure::startUntilCaptureReady(sides[i].program));
        }
    for (Side &side : sides) {
        side.program.waitAnswers();
        Measure::settle(side.program);
    }
    table.addTimes(QStringLiteral("start → first copy recorded, %1").arg(entries(size)), start[0], start[1]);
}

void openings(QList<Side> &sides, const Plan &plan, qsizetype size, ResultTable &table)
{
    Samples command[2], hotKey[2], typing[2];
    for (Side &side : sides)
        side.program.desktop().startZenityEntry(); // X delivers the hot key only while a window has the focus
    for (int rep = 0; rep < plan.opens; ++rep)
        for (int i = 0; i < 2; ++i) {
            command[i].add(Measure::openOnce(sides[i].program, sides[i].probe, false));
            hotKey[i].add(Measure::openOnce(sides[i].program, sides[i].probe, true));
        }
    for (int rep = 0; rep < plan.queries; ++rep)
        for (int i = 0; i < 2; ++i)
            for (const std::optional<double> &ms : Measure::keystrokes(sides[i].program, sides[i].probe, query))
                typing[i].add(ms);
    table.addTimes(QStringLiteral("open: command → mapped, %1").arg(entries(size)), command[0], command[1]);
    table.addTimes(QStringLiteral("open: hot key → mapped, %1").arg(entries(size)), hotKey[0], hotKey[1]);
    table.addTimes(QStringLiteral("keystroke → repaint settled, %1").arg(entries(size)), typing[0], typing[1]);
}

void measureSize(QList<Side> &sides, const GeneratedHistory &history, const Plan &plan, qsizetype size,
                 ResultTable &table)
{
    progress(QStringLiteral("%1 entries").arg(size));
    for (Side &side : sides)
        if (!side.program.install(history, size))
            table.addNote(QStringLiteral("%1 could not be given the %2 entries").arg(side.program.name(), entries(size)));
    startUp(sides, plan, size, table);
    QString held[2];
    for (int i = 0; i < 2; ++i) {
        const std::optional<qsizetype> count = sides[i].program.entryCount();
        held[i] = count ? entries(*count) : QStringLiteral("no answer");
        if (count && *count < size && !sides[i].program.entryCountNote().isEmpty())
            held[i] += QStringLiteral(" (its maximum)");
    }
    table.addText(QStringLiteral("entries held, %1 given").arg(entries(size)), held[0], held[1]);
    addMemory(sides, QStringLiteral("idle after start"), size, table);
    openings(sides, plan, size, table);
    keepRunning(sides, QStringLiteral("the openings at %1").arg(entries(size)), table);
    for (Side &side : sides)
        Measure::settle(side.program);
    addMemory(sides, QStringLiteral("after opening and typing"), size, table);
}

void stress(QList<Side> &sides, const Plan &plan, ResultTable &table)
{
    progress(QStringLiteral("%1 toggles").arg(plan.toggles));
    Samples toggles[2];
    int unanswered[2] = {};
    QElapsedTimer clock;
    clock.start();
    for (int rep = 0; rep < plan.toggles && clock.elapsed() < stressLimitMs; ++rep)
        for (int i = 0; i < 2; ++i) {
            bool answered = true;
            if (sides[i].program.isRunning())
                toggles[i].add(Measure::openOnce(sides[i].program, sides[i].probe, false, &answered));
            unanswered[i] += !answered;
        }
    QString text[2];
    for (int i = 0; i < 2; ++i) {
        text[i] = QStringLiteral("%1 of %2").arg(toggles[i].failures).arg(toggles[i].failures + toggles[i].values.size());
        if (unanswered[i])
            text[i] += QStringLiteral(", %1 commands unanswered").arg(unanswered[i]);
        if (!sides[i].program.isRunning())
            text[i] += QStringLiteral(", then it ended (%1)").arg(sides[i].program.howItEnded());
    }
    table.addText(QStringLiteral("up to %1 openings by command: not mapped within 2 s").arg(entries(plan.toggles)),
                  text[0], text[1]);
    keepRunning(sides, QStringLiteral("the toggles"), table);
}

void capture(QList<Side> &sides, const Plan &plan, ResultTable &table)
{
    progress(QStringLiteral("capture"));
    for (int perSecond : {5, 10, 20}) {
        double ratio[2];
        for (int i = 0; i < 2; ++i)
            ratio[i] = Measure::captureRatio(sides[i].program, perSecond, plan.captureCopies,
                                             QString::number(QRandomGenerator::global()->generate(), 36));
        table.addFigures(QStringLiteral("copies recorded at %1 per second (%2 copies)").arg(perSecond).arg(plan.captureCopies),
                         100 * ratio[0], 100 * ratio[1], " %", 0);
    }
    keepRunning(sides, QStringLiteral("the copies"), table);
}

void afterCopyStall(QList<Side> &sides, const Plan &plan, qsizetype size, ResultTable &table)
{
    progress(QStringLiteral("hot key after a copy"));
    Samples opens[2];
    for (int rep = 0; rep < plan.stalls; ++rep)
        for (int i = 0; i < 2; ++i)
            opens[i].add(Measure::openAfterCopy(sides[i].program, sides[i].probe, rep));
    table.addTimes(QStringLiteral("hot key 650–950 ms after a copy → mapped, %1").arg(entries(size)), opens[0], opens[1]);
    keepRunning(sides, QStringLiteral("the hot key after a copy"), table);
}

void idleCpu(QList<Side> &sides, ResultTable &table)
{
    progress(QStringLiteral("idle CPU, 60 s"));
    qint64 before[2];
    for (int i = 0; i < 2; ++i) {
        Measure::settle(sides[i].program);
        before[i] = ProcessTree::cpuTicks(sides[i].program.processes());
    }
    QTest::qWait(60000);
    double percent[2];
    for (int i = 0; i < 2; ++i)
        percent[i] = 100.0 * (ProcessTree::cpuTicks(sides[i].program.processes()) - before[i])
            / ProcessTree::ticksPerSecond() / 60;
    table.addFigures(QStringLiteral("idle CPU over 60 s"), percent[0], percent[1], " %", 3);
}

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const Plan &plan = app.arguments().contains(QStringLiteral("--quick")) ? quick : full;
    QElapsedTimer clock;
    clock.start();
    QTemporaryDir work;
    progress(QStringLiteral("generating %1 entries").arg(sizes.last()));
    const GeneratedHistory history(work.path(), sizes.last());

    StashwellContender stashwell;
    CopyQContender copyq;
    XProbe stashwellProbe(stashwell.desktop().display()), copyqProbe(copyq.desktop().display());
    if (!stashwell.desktop().isUp() || !copyq.desktop().isUp() || !stashwellProbe.isUp() || !copyqProbe.isUp()) {
        std::fprintf(stderr, "bench: no Xvfb desktop\n");
        return 1;
    }
    QList<Side> sides{{stashwell, stashwellProbe}, {copyq, copyqProbe}};
    ResultTable table;
    for (qsizetype size : sizes) {
        measureSize(sides, history, plan, size, table);
        if (size == sizes.first())
            stress(sides, plan, table);
        if (size == 10000)
            capture(sides, plan, table);
    }
    afterCopyStall(sides, plan, sizes.last(), table);
    if (plan.idleCpu)
        idleCpu(sides, table);
    if (!copyq.entryCountNote().isEmpty())
        table.addNote(copyq.entryCountNote() + QStringLiteral(" (its settings offer no more)."));
    table.addNote(QStringLiteral("Median / worst; the programs take turns, each on its own Xvfb display with openbox. "
                                 "Open: Stashwell's `stashwell toggle`, CopyQ's `copyq show`, or the hot key Super+Shift+V; "
                                 "mapped = MapNotify seen by an X client. Keystroke: XTest key press to the last XDamage "
                                 "of the window before it stayed unchanged for 300 ms (query \"%1\")."
                                 " %2 s in all.").arg(query).arg(clock.elapsed() / 1000));
    std::printf("%s\n", qPrintable(table.markdown()));
    return 0;
}

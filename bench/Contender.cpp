// SPDX-License-Identifier: GPL-3.0-or-later
#include "Contender.h"

#include "HistoryGenerator.h"
#include "ProcessTree.h"
#include "XProbe.h"

#include <QDir>
#include <QLocale>
#include <X11/keysym.h>

namespace {

// Adds the texts of a JSON array (see GeneratedHistory::oldestFirstJson) in order, so that the
// last one ends on top, and prints how many entries the history then holds.
constexpr char copyqLoader[] = R"js(
var file = new File(%1); file.openReadOnly(); var items = JSON.parse(str(file.readAll())); file.close();
var texts = [];
function flush() { if (texts.length) add.apply(this, texts); texts = []; }
for (var i = 0; i < items.length; ++i) {
    if (items[i].png === undefined) { texts.push(items[i].text); if (texts.length == 500) flush(); continue; }
    flush();
    var png = new File(items[i].png); png.openReadOnly(); write('image/png', png.readAll()); png.close();
}
flush();
print(count());
)js";

// Super+Shift+V shows or hides the main window, as it opens Stashwell's palette.
constexpr char copyqHotKey[] = R"js(setCommands([{name: "Show or hide", cmd: "copyq: toggle()", isGlobalShortcut: true,
                                               globalShortcuts: ["meta+shift+v"]}]))js";

// The newest texts, one a line (each on one line: the benchmark's own copies are).
constexpr char copyqNewest[] = "var n = Math.min(size(), %1); for (var i = 0; i < n; ++i) print(str(read(i)) + '\\n');";

} // namespace

Contender::Contender() = default;

Contender::~Contender()
{
    if (m_process) { // before its desktop goes
        m_process->terminate();
        m_process->waitForFinished(10000);
    }
}

void Contender::launch()
{
    m_process = std::make_unique<QProcess>();
    m_process->setProcessEnvironment(m_desktop.environment());
    m_process->setStandardOutputFile(QProcess::nullDevice());
    m_process->setStandardErrorFile(m_desktop.dataDir() + "/" + name() + ".log", QIODevice::Append);
    m_process->start(program(), {});
}

bool Contender::waitAnswers()
{
    return m_process && m_process->waitForStarted(5000)
        && XSession::waitFor([&] { return m_process->state() != QProcess::Running || answers(); }, 30000)
        && m_process->state() == QProcess::Running;
}

void Contender::stop()
{
    if (!m_process || m_process->state() == QProcess::NotRunning)
        return;
    quit();
    if (!m_process->waitForFinished(15000))
        m_process->kill();
    m_process->waitForFinished(5000);
}

bool Contender::isRunning() const
{
    return m_process && !m_process->waitForFinished(0) && m_process->state() == QProcess::Running;
}

QString Contender::howItEnded() const
{
    if (!m_process)
        return {};
    return m_process->exitStatus() == QProcess::CrashExit ? QStringLiteral("signal %1").arg(m_process->exitCode())
                                                          : QStringLiteral("exit code %1").arg(m_process->exitCode());
}

QList<qint64> Contender::processes() const
{
    return isRunning() ? ProcessTree::of(m_process->processId()) : QList<qint64>();
}

std::unique_ptr<QProcess> Contender::startOpenCommand() const
{
    auto client = std::make_unique<QProcess>();
    client->setProcessEnvironment(m_desktop.environment());
    client->start(program(), openArgs());
    return client;
}

XSession::Run Contender::command(const QStringList &args, const QByteArray &input) const
{
    return m_desktop.runClient(program(), args, input);
}

bool StashwellContender::install(const GeneratedHistory &history, qsizetype count)
{
    stop();
    m_desktop.setDefaults({{"historyLimit", count}, {"launchAtLogin", false}});
    return history.writeStashwellDir(m_desktop.historyDir(), count);
}

std::optional<QStringList> StashwellContender::listing() const
{
    const XSession::Run list = command({"list"});
    if (list.exitCode != 0)
        return std::nullopt;
    QStringList titles;
    for (const QByteArray &line : list.out.split('\n'))
        if (!line.isEmpty())
            titles << QString::fromUtf8(line.mid(line.indexOf('\t') + 1));
    return titles;
}

QStringList StashwellContender::newestTexts(int count) const
{
    return listing().value_or(QStringList()).mid(0, count);
}

std::optional<qsizetype> StashwellContender::entryCount() const
{
    const std::optional<QStringList> titles = listing();
    return titles ? std::optional(titles->size()) : std::nullopt;
}

bool StashwellContender::closeWindow(XProbe &probe, quint32 window)
{
    probe.press({XK_Escape});
    if (probe.waitUnmapped(window, 2000))
        return true;
    command({"toggle"}); // the palette may not have had the keyboard
    return probe.waitUnmapped(window, 2000);
}

bool CopyQContender::install(const GeneratedHistory &history, qsizetype count)
{
    stop();
    QDir(m_desktop.configDir() + "/copyq").removeRecursively();
    launch();
    if (!waitAnswers())
        return false;
    command({"eval", copyqHotKey});
    command({"config", "maxitems", QString::number(count)});
    const qsizetype cap = command({"config", "maxitems"}).out.trimmed().toLongLong();
    m_note = cap < count ? QStringLiteral("CopyQ keeps at most %1 entries").arg(QLocale(QLocale::English).toString(cap)) : QString();
    const QString load = m_desktop.dataDir() + "/copyq-load.json";
    m_desktop.writeFile(load, history.oldestFirstJson(std::min(count, cap)));
    const QByteArray script = QString::fromLatin1(copyqLoader).arg(QLatin1Char('\'') + load + QLatin1Char('\'')).toUtf8();
    const bool loaded = command({"eval", "-"}, script).out.trimmed().toLongLong() == std::min(count, cap);
    stop(); // it writes its history at exit
    return loaded;
}

QStringList CopyQContender::newestTexts(int count) const
{
    const QByteArray out = command({"eval", "-"}, QByteArray(copyqNewest).replace("%1", QByteArray::number(count))).out;
    return QString::fromUtf8(out).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

std::optional<qsizetype> CopyQContender::entryCount() const
{
    const XSession::Run count = command({"count"});
    return count.exitCode == 0 ? std::optional(count.out.trimmed().toLongLong()) : std::nullopt;
}

bool CopyQContender::closeWindow(XProbe &probe, quint32 window)
{
    probe.press({XK_Escape}); // clears the search, if any
    command({"hide"});
    return probe.waitUnmapped(window, 2000);
}

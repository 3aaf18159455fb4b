// SPDX-License-Identifier: GPL-3.0-or-later
#include "diagnostics/OwnProcessLog.h"

#include "diagnostics/AppMessageLog.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>

OwnProcessLog::OwnProcessLog(AppMessageLog &messages, Options options)
    : m_messages(messages)
    , m_options(std::move(options))
{
    if (m_options.pid == 0)
        m_options.pid = QCoreApplication::applicationPid();
}

OwnProcessLog::OwnProcessLog(AppMessageLog &messages)
    : OwnProcessLog(messages, Options())
{
}

bool OwnProcessLog::journalExists() const
{
    return QFileInfo::exists(m_options.journalSocket) &&
           !QStandardPaths::findExecutable(m_options.journalctl).isEmpty();
}

QString OwnProcessLog::exportSince(const QDateTime &since) const
{
    if (!journalExists())
        return m_messages.exportSince(since);
    QProcess journal;
    journal.start(m_options.journalctl,
                  {QStringLiteral("_PID=%1").arg(m_options.pid), QStringLiteral("-o"), QStringLiteral("short-iso"),
                   QStringLiteral("--since"), QStringLiteral("@%1").arg(since.toSecsSinceEpoch()),
                   QStringLiteral("--no-pager"), QStringLiteral("-q")});
    const auto failed = [](const QString &why) { return QStringLiteral("(oslog export failed: %1)").arg(why); };
    if (!journal.waitForFinished(m_options.timeoutMs)) {
        const QString why = journal.error() == QProcess::Timedout ? QStringLiteral("journalctl timed out")
                                                                   : journal.errorString();
        journal.kill();
        journal.waitForFinished(1000);
        return failed(why);
    }
    if (journal.exitStatus() != QProcess::NormalExit || journal.exitCode() != 0) {
        const QString why = QString::fromUtf8(journal.readAllStandardError()).trimmed();
        return failed(why.isEmpty() ? QStringLiteral("journalctl exit code %1").arg(journal.exitCode()) : why);
    }
    const QStringList lines = QString::fromUtf8(journal.readAllStandardOutput()).split(QLatin1Char('\n'));
    QString text;
    for (const QString &line : lines) {
        if (!line.isEmpty())
            text += fromShortIso(line) + QLatin1Char('\n');
    }
    // A journal that holds nothing of ours (Qt wrote to a terminal or file): our own messages.
    return text.isEmpty() ? m_messages.exportSince(since) : text;
}

QString OwnProcessLog::fromShortIso(const QString &line)
{
    static const QRegularExpression pattern(QStringLiteral(R"(^(\S+) \S+ ([^\s\[:]+)(?:\[\d+\])?: (.*)$)"));
    const QRegularExpressionMatch match = pattern.match(line);
    if (!match.hasMatch())
        return line; // continuation of a multi-line message
    return match.captured(1) + QStringLiteral(" [") + match.captured(2) + QStringLiteral("] ") + match.captured(3);
}

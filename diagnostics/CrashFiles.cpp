// SPDX-License-Identifier: GPL-3.0-or-later
#include "diagnostics/CrashFiles.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <csignal>
#include <cstring>

namespace CrashFiles {

namespace {

// The report's numeric exception type for the signals that have one: 1 bad memory access,
// 2 illegal instruction, 3 arithmetic fault; other signals report none.
std::optional<qint64> exceptionTypeFor(qint64 signal)
{
    switch (signal) {
    case SIGSEGV:
    case SIGBUS:
        return 1;
    case SIGILL:
        return 2;
    case SIGFPE:
        return 3;
    default:
        return std::nullopt;
    }
}

QString signalName(qint64 signal)
{
    const char *abbreviation = signal > 0 && signal < NSIG ? sigabbrev_np(int(signal)) : nullptr;
    return abbreviation ? QStringLiteral("SIG") + QString::fromLatin1(abbreviation) : QStringLiteral("signal %1").arg(signal);
}

// "/usr/bin/stashwell(_ZN3Foo3barEv+0x1a) [0x55d0c0ffee00]"; image, symbol and offset may be missing.
QJsonObject frameObject(const QString &line)
{
    static const QRegularExpression pattern(
        QStringLiteral(R"(^(.*?)(?:\(([^()+]*)(?:\+(0x[0-9a-fA-F]+))?\))?\s*\[(0x[0-9a-fA-F]+)\]\s*$)"));
    const QRegularExpressionMatch match = pattern.match(line);
    if (!match.hasMatch())
        return {{QStringLiteral("raw"), line}};
    QJsonObject frame;
    const auto put = [&](const char *key, int group) {
        if (!match.captured(group).isEmpty())
            frame.insert(QLatin1String(key), match.captured(group));
    };
    put("image", 1);
    put("symbol", 2);
    put("offset", 3);
    put("address", 4);
    return frame;
}

} // namespace

QString pathForThisLaunch(const QString &directory)
{
    const QString stamp = QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd'T'HHmmss"));
    return QStringLiteral("%1/crash-%2-%3.crash").arg(directory, stamp).arg(QCoreApplication::applicationPid());
}

QByteArray header(const QString &osVersion, const QString &arch)
{
    const auto oneLine = [](QString text) { return text.replace(QLatin1Char('\n'), QLatin1Char(' ')).toUtf8(); };
    return "osVersion: " + oneLine(osVersion) + "\narch: " + oneLine(arch) + '\n';
}

QStringList pending(const QString &directory)
{
    QStringList paths;
    const QFileInfoList files = QDir(directory).entryInfoList(
        {QStringLiteral("crash-*.crash"), QStringLiteral("crash-*.crash.partial")}, QDir::Files,
        QDir::Time | QDir::Reversed);
    for (const QFileInfo &file : files)
        paths << file.absoluteFilePath();
    return paths;
}

CrashDiagnostic parse(const QByteArray &contents)
{
    CrashDiagnostic diagnostic{QStringLiteral("?"), QStringLiteral("?"), {}, {}, {}, {}, {}};
    std::optional<qint64> code;
    QString address;
    QJsonArray frames;
    bool inFrames = false;
    for (const QByteArray &raw : contents.split('\n')) {
        const QString line = QString::fromUtf8(raw);
        if (inFrames) {
            if (!line.trimmed().isEmpty())
                frames.append(frameObject(line));
            continue;
        }
        if (line == QLatin1String("frames:")) {
            inFrames = true;
            continue;
        }
        const QString key = line.section(QStringLiteral(": "), 0, 0);
        const QString value = line.section(QStringLiteral(": "), 1);
        bool ok = false;
        if (key == QLatin1String("osVersion"))
            diagnostic.osVersion = value;
        else if (key == QLatin1String("arch"))
            diagnostic.arch = value;
        else if (key == QLatin1String("signal") && value.toLongLong(&ok) > 0 && ok)
            diagnostic.signal = value.toLongLong();
        else if (key == QLatin1String("code") && (value.toLongLong(&ok), ok))
            code = value.toLongLong();
        else if (key == QLatin1String("address"))
            address = value;
    }
    if (diagnostic.signal) {
        const qint64 signal = *diagnostic.signal;
        // A positive si_code means the processor raised it (not kill() or raise()).
        if (code && *code > 0) {
            diagnostic.exceptionType = exceptionTypeFor(signal);
            if (diagnostic.exceptionType)
                diagnostic.exceptionCode = *code;
        }
        QString reason = QStringLiteral("Namespace SIGNAL, Code %1, %2").arg(signal).arg(signalName(signal));
        if (diagnostic.exceptionType && !address.isEmpty())
            reason += QStringLiteral(" at ") + address;
        diagnostic.terminationReason = reason;
    }
    const QJsonObject stack{{QStringLiteral("threadAttributed"), true}, {QStringLiteral("callStackFrames"), frames}};
    diagnostic.callStackJSON = QJsonDocument(QJsonObject{{QStringLiteral("callStacks"), QJsonArray{stack}}})
                                   .toJson(QJsonDocument::Compact);
    return diagnostic;
}

} // namespace CrashFiles

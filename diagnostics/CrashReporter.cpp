// SPDX-License-Identifier: GPL-3.0-or-later
#include "diagnostics/CrashReporter.h"

#include "common/FileSafety.h"
#include "common/OrderedJson.h"
#include "diagnostics/CrashFiles.h"
#include "diagnostics/CrashHandler.h"

#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QStringDecoder>
#include <QTimer>

CrashReporter::CrashReporter(DefaultsStore &defaults, const QString &serviceRoot, const QString &directory,
                             QObject *parent)
    : QObject(parent)
    , m_config(defaults, serviceRoot)
    , m_directory(directory)
    , m_network(new QNetworkAccessManager(this))
{
}

void CrashReporter::start()
{
    // Registration is unconditional; the switch is consulted when diagnostics arrive.
    if (FileSafety::ensurePrivateDir(m_directory)) {
        CrashHandler::install(QFile::encodeName(CrashFiles::pathForThisLaunch(m_directory)),
                              CrashFiles::header(DiagnosticsConfig::osVersion(), DiagnosticsConfig::arch()));
    }
    deliverPendingCrashes();
#ifdef STASHWELL_TEST_HOOKS
    // Test-only: STASHWELL_TEST_CRASH=1 ends this run with SIGSEGV shortly after launch.
    if (qEnvironmentVariable("STASHWELL_TEST_CRASH") == QLatin1String("1"))
        QTimer::singleShot(1500, [] { CrashHandler::crashForTest(); });
#endif
}

void CrashReporter::deliverPendingCrashes()
{
    const QStringList files = CrashFiles::pending(m_directory);
    if (files.isEmpty())
        return;
    QList<CrashPayload> payloads;
    for (const QString &path : files) {
        QFile file(path);
        CrashPayload payload;
        if (file.open(QIODevice::ReadOnly))
            payload.crashDiagnostics.append(CrashFiles::parse(file.readAll()));
        payloads.append(payload);
    }
    didReceive(payloads);
    for (const QString &path : files) // the platform never delivers the same crash twice
        QFile::remove(path);
}

void CrashReporter::didReceive(const QList<CrashPayload> &payloads)
{
    if (!m_config.reportingEnabled())
        return;
    for (const CrashPayload &payload : payloads) {
        for (const CrashDiagnostic &diagnostic : payload.crashDiagnostics)
            send(report(diagnostic));
    }
}

QByteArray CrashReporter::report(const CrashDiagnostic &diagnostic)
{
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString callStack = utf8(diagnostic.callStackJSON);
    if (utf8.hasError())
        callStack.clear();

    OrderedJsonObject json;
    json.add(QLatin1StringView("type"), QStringLiteral("crash"))
        .add(QLatin1StringView("app"), QStringLiteral("stashwell"))
        .add(QLatin1StringView("installID"), m_config.installID())
        .add(QLatin1StringView("appVersion"), DiagnosticsConfig::appVersion())
        .add(QLatin1StringView("build"), DiagnosticsConfig::build())
        .add(QLatin1StringView("osVersion"), diagnostic.osVersion)
        .add(QLatin1StringView("arch"), diagnostic.arch)
        .add(QLatin1StringView("callStack"), callStack);
    if (diagnostic.signal)
        json.add(QLatin1StringView("signal"), *diagnostic.signal);
    if (diagnostic.exceptionType)
        json.add(QLatin1StringView("exceptionType"), *diagnostic.exceptionType);
    if (diagnostic.exceptionCode)
        json.add(QLatin1StringView("exceptionCode"), *diagnostic.exceptionCode);
    if (diagnostic.terminationReason)
        json.add(QLatin1StringView("terminationReason"), *diagnostic.terminationReason);
    return json.finish();
}

void CrashReporter::send(const QByteArray &json)
{
    if (!m_config.endpoint().isValid())
        return; // no service: nothing is ever sent
    QNetworkRequest request(m_config.endpoint());
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    request.setTransferTimeout(requestTimeoutMs);
    QNetworkReply *reply = m_network->post(request, json);
    // Fire and forget: the answer is not examined.
    connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
}

// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Forwards crash diagnostics of this application to the vendor's web service,
// one JSON report per crash. The diagnostics come from the crash files that
// CrashHandler wrote in an earlier run, delivered once at the next launch.
#include "diagnostics/CrashDiagnostic.h"
#include "diagnostics/DiagnosticsConfig.h"

#include <QObject>

class DefaultsStore;
class QNetworkAccessManager;

class CrashReporter : public QObject {
    Q_OBJECT
public:
    // `directory`: the diagnostics directory, where crash files are written and found.
    CrashReporter(DefaultsStore &defaults, const QString &serviceRoot, const QString &directory,
                  QObject *parent = nullptr);
    static CrashReporter &shared();

    static constexpr int requestTimeoutMs = 60000;

    // At launch: install the crash handler for this run, then deliver the earlier runs' crashes.
    void start();
    // Each crash file is one payload; the files are deleted once delivered.
    void deliverPendingCrashes();
    // Sends one report per diagnostic; drops everything while reporting is off.
    void didReceive(const QList<CrashPayload> &payloads);
    QByteArray report(const CrashDiagnostic &diagnostic);

private:
    void send(const QByteArray &json);

    CrashConfig m_config;
    QString m_directory;
    QNetworkAccessManager *m_network;
};

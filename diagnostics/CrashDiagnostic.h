// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// What a crash diagnostic carries (read back from a crash file), and a payload of them
// as delivered at launch.
#include <QByteArray>
#include <QList>
#include <QString>
#include <optional>

struct CrashDiagnostic {
    QString osVersion;
    QString arch;
    QByteArray callStackJSON; // the call-stack tree, JSON text
    std::optional<qint64> signal;
    std::optional<qint64> exceptionType;
    std::optional<qint64> exceptionCode;
    std::optional<QString> terminationReason;
};

struct CrashPayload {
    QList<CrashDiagnostic> crashDiagnostics; // hang and other diagnostics do not exist here
};

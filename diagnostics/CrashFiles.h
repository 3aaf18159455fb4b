// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The crash files the handler writes into the diagnostics directory,
// "crash-<time>-<pid>.crash", and how the next launch reads them back as diagnostics.
//
// Format (text): the header lines written at install time ("osVersion: ...", "arch: ..."),
// then "signal: N", "code: N" (si_code), for faults "address: 0x...", then "frames:" and one
// backtrace_symbols line per frame.
#include "diagnostics/CrashDiagnostic.h"

#include <QStringList>

namespace CrashFiles {

QString pathForThisLaunch(const QString &directory); // unique per process
QByteArray header(const QString &osVersion, const QString &arch);
QStringList pending(const QString &directory); // full paths, oldest first; also files cut short by a second crash
// Never fails: what cannot be read is left out of the diagnostic.
CrashDiagnostic parse(const QByteArray &contents);

} // namespace CrashFiles

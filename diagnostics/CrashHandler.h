// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Crash capture: at a fatal signal the handler writes the signal and the raw stack frames
// to a file whose name and header were prepared at install time, then lets the default
// action end the process. Only async-signal-safe calls run inside the handler.
#include <QByteArray>

namespace CrashHandler {

// Installs the handler for SIGSEGV, SIGBUS, SIGILL, SIGFPE and SIGABRT on an alternate
// signal stack. `path` is where a crash of this process goes; `header` is written first.
// Returns false when the path or header do not fit the handler's fixed buffers.
bool install(const QByteArray &path, const QByteArray &header);

// A real invalid memory access (SIGSEGV), for the test-only trigger.
[[noreturn]] void crashForTest();

} // namespace CrashHandler

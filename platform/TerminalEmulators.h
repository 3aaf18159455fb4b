// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QString>

// Terminals paste with Ctrl+Shift+V, so the synthetic paste sends that
// when the target window's WM_CLASS is one of theirs.
namespace TerminalEmulators {
bool isTerminal(const QString &wmClass); // case-insensitive, class or instance name
}

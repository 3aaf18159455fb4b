// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// One repetition of each measurement, on one program; the caller interleaves the programs.
#include "XProbe.h"

#include <QString>
#include <optional>

class Contender;

namespace Measure {

// Launches the program and copies again and again until it records a copy: milliseconds from
// the launch to that copy. The program keeps running.
std::optional<double> startUntilCaptureReady(Contender &program);
// Waits until the program used no CPU for a second (at most 20 s).
void settle(Contender &program);

// The window mapped, milliseconds from `start`: hot key (Super+Shift+V) or the open command.
struct Opening {
    double ms;
    xcb_window_t window;
};
// `answered`: whether the command ended within 2 s (it was killed otherwise).
std::optional<Opening> openByCommand(Contender &program, XProbe &probe, bool *answered = nullptr);
std::optional<Opening> openByHotKey(Contender &program, XProbe &probe);
// Opens, measures and closes: nothing when the window did not map within 2 s (it is closed once
// it shows after all).
std::optional<double> openOnce(Contender &program, XProbe &probe, bool hotKey, bool *answered = nullptr);

// Opens the window and types `query` into it: for each key, the milliseconds until its repaint
// settled.
QList<std::optional<double>> keystrokes(Contender &program, XProbe &probe, const QString &query);

// `copies` distinct texts at `perSecond`: the share of them that the program recorded.
double captureRatio(Contender &program, int perSecond, int copies, const QString &tag);

// Copies, waits 650–950 ms, then opens with the hot key: its opening time.
std::optional<double> openAfterCopy(Contender &program, XProbe &probe, int index);

} // namespace Measure

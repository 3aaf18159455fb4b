// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Measures the palette's opening as a user sees it: from the hot key pressed (XTest) to the
// palette window mapped (MapNotify on the root window), on its own X connection.
#include <QString>
#include <optional>

namespace PaletteOpenTimer {
// Milliseconds from Super+Shift+V to the first override-redirect window mapped; nothing on timeout.
std::optional<double> measure(const QString &display);
// Closes the palette again (Escape) and waits for it to unmap.
void close(const QString &display);
}

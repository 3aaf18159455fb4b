// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The version comparison appcast updaters share, so that a feed written for them orders
// versions here as it does elsewhere: "1.10" > "1.9", "1.0" > "1.0b1", "1.0.1" > "1.0".
#include <QString>

namespace VersionComparator {
// Negative when a < b, 0 when equal, positive when a > b.
int compare(const QString &a, const QString &b);
}

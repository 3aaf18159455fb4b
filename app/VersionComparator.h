#pragma once
// Part 2.6: Sparkle's standard version comparison, so that an appcast written for Sparkle
// orders versions here as it does there: "1.10" > "1.9", "1.0" > "1.0b1", "1.0.1" > "1.0".
#include <QString>

namespace VersionComparator {
// Negative when a < b, 0 when equal, positive when a > b.
int compare(const QString &a, const QString &b);
}

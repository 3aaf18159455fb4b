// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Each entry kind's tint and symbol.
#include "capture/ClipItem.h"

#include <QColor>
#include <QString>

namespace ClipKindStyle {
QColor tint(ClipKind kind);
QString symbol(ClipKind kind);
QString filterKey(ClipKind kind); // "filter.text", ...: the kind's label
// "#RRGGBB" (either case, "#" optional) as a colour; invalid when it does not parse.
QColor color(const QString &hex);
}

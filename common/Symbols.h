// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QString>

// The bundled SVG icons, under dotted names that say what they show ("doc.text", "pin.fill").
// They are drawn in one colour, so any tint can be applied.
namespace Symbols {
QPixmap pixmap(const QString &name, const QColor &tint, int size, qreal devicePixelRatio = 1.0);
// Drawn from the SVG at whatever size and pixel ratio it is shown at, never larger than `size`;
// in `selectedTint` when shown selected (on the selection colour), if given.
QIcon icon(const QString &name, const QColor &tint, int size = 16, const QColor &selectedTint = {});
}

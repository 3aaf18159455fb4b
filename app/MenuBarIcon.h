// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The tray icon's drawing: the clipboard glyph in the desktop's text colour with a faint rim of
// its window colour. A tray does not say what colour it is, but panels follow the light or dark
// theme that the application palette follows too; the rim keeps the glyph legible where a panel
// does not. A paused recorder draws it at alpha 0.45.
#include <QIcon>

namespace MenuBarIcon {

enum class State { active, paused };

inline constexpr qreal activeAlpha = 1.0;
inline constexpr qreal pausedAlpha = 0.45;

// Drawn whenever it is shown, at the size and pixel ratio asked for, in the application palette
// of that moment: a tray that repaints after a change of theme shows the new colours.
QIcon icon(State state);

} // namespace MenuBarIcon

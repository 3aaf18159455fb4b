// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The tray icon's drawing. The clipboard glyph in a light tint with a faint dark
// rim, so that it reads on dark and light panels alike (no template tinting on Linux); a
// paused recorder draws it at alpha 0.45.
#include <QIcon>
#include <QPixmap>

namespace MenuBarIcon {

enum class State { active, paused };

inline constexpr qreal activeAlpha = 1.0;
inline constexpr qreal pausedAlpha = 0.45;

QPixmap image(State state, int size = 16, qreal devicePixelRatio = 1.0);
// The image at the sizes tray hosts ask for (16 to 48 pixels).
QIcon icon(State state);

} // namespace MenuBarIcon

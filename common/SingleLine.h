// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// A text shown on one line (a menu item, a line of `stashwell list`): every line break and tab
// becomes one space, so that positions and lengths stay those of the text.
#include <QString>

QString singleLine(QString text);

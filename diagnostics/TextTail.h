// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QString>

// "Characters" are user-perceived characters (common/Graphemes); logs keep their end.
namespace TextTail {
// The last `n` grapheme clusters of `text` (all of it when shorter).
QString lastCharacters(const QString &text, qsizetype n);
}

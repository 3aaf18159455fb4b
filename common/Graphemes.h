// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QString>

// Character counts and cuts (titles, previews, limits) in user-perceived characters,
// i.e. extended grapheme clusters, so that a cut never splits an emoji or an accent.
namespace Graphemes {
qsizetype count(const QString &text);
// The first `n` grapheme clusters of `text` (all of it when shorter).
QString left(const QString &text, qsizetype n);
}

#pragma once
#include <QString>

// "Characters" in the spec are user-perceived characters (extended grapheme clusters).
namespace Graphemes {
qsizetype count(const QString &text);
// The first `n` grapheme clusters of `text` (all of it when shorter).
QString left(const QString &text, qsizetype n);
}

// SPDX-License-Identifier: GPL-3.0-or-later
#include "diagnostics/TextTail.h"

#include <QTextBoundaryFinder>

namespace TextTail {

QString lastCharacters(const QString &text, qsizetype n)
{
    if (text.size() <= n) // every cluster holds at least one UTF-16 unit
        return text;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    finder.toEnd();
    qsizetype start = text.size();
    for (qsizetype i = 0; i < n; ++i) {
        const qsizetype previous = finder.toPreviousBoundary();
        if (previous == -1)
            break;
        start = previous;
    }
    return text.mid(start);
}

} // namespace TextTail

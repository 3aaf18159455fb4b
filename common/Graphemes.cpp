// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/Graphemes.h"

#include <QTextBoundaryFinder>

namespace Graphemes {

qsizetype count(const QString &text)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype n = 0;
    while (finder.toNextBoundary() != -1)
        ++n;
    return n;
}

QString left(const QString &text, qsizetype n)
{
    if (text.size() <= n) // every cluster holds at least one UTF-16 unit
        return text;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype end = 0;
    for (qsizetype i = 0; i < n; ++i) {
        const qsizetype next = finder.toNextBoundary();
        if (next == -1)
            break;
        end = next;
    }
    return text.left(end);
}

} // namespace Graphemes

// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/SingleLine.h"

QString singleLine(QString text)
{
    for (QChar &c : text)
        if (c == QLatin1Char('\n') || c == QLatin1Char('\r') || c == QLatin1Char('\t') || c == QChar::LineSeparator
            || c == QChar::ParagraphSeparator)
            c = QLatin1Char(' ');
    return text;
}

// SPDX-License-Identifier: GPL-3.0-or-later
#include "ResultTable.h"

#include <algorithm>

namespace {

QString figure(std::optional<double> value, const char *unit, int decimals)
{
    return value ? QString::number(*value, 'f', decimals) + QLatin1String(unit) : QStringLiteral("n/a");
}

QString times(const Samples &s)
{
    if (s.values.isEmpty())
        return s.failures ? QStringLiteral("failed %1×").arg(s.failures) : QStringLiteral("n/a");
    QString text = QStringLiteral("%1 / %2 ms").arg(*s.median(), 0, 'f', 1).arg(*s.worst(), 0, 'f', 1);
    if (s.failures)
        text += QStringLiteral(" (%1 of %2 failed)").arg(s.failures).arg(s.failures + s.values.size());
    return text;
}

} // namespace

void Samples::add(std::optional<double> value)
{
    if (value)
        values << *value;
    else
        ++failures;
}

std::optional<double> Samples::median() const
{
    if (values.isEmpty())
        return std::nullopt;
    QList<double> sorted = values;
    std::sort(sorted.begin(), sorted.end());
    return sorted[sorted.size() / 2];
}

std::optional<double> Samples::worst() const
{
    if (values.isEmpty())
        return std::nullopt;
    return *std::max_element(values.begin(), values.end());
}

QString ResultTable::ratio(std::optional<double> stashwell, std::optional<double> copyq)
{
    return stashwell && copyq && *copyq > 0 ? QString::number(*stashwell / *copyq, 'f', 2) : QString();
}

void ResultTable::addTimes(const QString &metric, const Samples &stashwell, const Samples &copyq)
{
    m_rows.append({metric, times(stashwell), times(copyq), ratio(stashwell.median(), copyq.median())});
}

void ResultTable::addFigures(const QString &metric, std::optional<double> stashwell, std::optional<double> copyq,
                             const char *unit, int decimals)
{
    m_rows.append({metric, figure(stashwell, unit, decimals), figure(copyq, unit, decimals), ratio(stashwell, copyq)});
}

void ResultTable::addText(const QString &metric, const QString &stashwell, const QString &copyq)
{
    m_rows.append({metric, stashwell, copyq, QString()});
}

QString ResultTable::markdown() const
{
    QList<Row> rows{{QStringLiteral("metric"), QStringLiteral("Stashwell"), QStringLiteral("CopyQ"), QStringLiteral("ratio")}};
    rows += m_rows;
    qsizetype widths[4] = {};
    for (const Row &row : rows) {
        widths[0] = std::max(widths[0], row.metric.size());
        widths[1] = std::max(widths[1], row.stashwell.size());
        widths[2] = std::max(widths[2], row.copyq.size());
        widths[3] = std::max(widths[3], row.ratio.size());
    }
    QString out;
    for (qsizetype i = 0; i < rows.size(); ++i) {
        const Row &r = rows[i];
        out += QStringLiteral("| %1 | %2 | %3 | %4 |\n").arg(r.metric, -int(widths[0])).arg(r.stashwell, -int(widths[1]))
                   .arg(r.copyq, -int(widths[2])).arg(r.ratio, -int(widths[3]));
        if (i == 0)
            out += QStringLiteral("|%1|%2|%3|%4:|\n").arg(QString(widths[0] + 2, '-'), QString(widths[1] + 2, '-'),
                                                        QString(widths[2] + 2, '-'), QString(widths[3] + 1, '-'));
    }
    for (const QString &note : m_notes)
        out += QStringLiteral("\n- ") + note;
    return out;
}

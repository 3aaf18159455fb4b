// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The benchmark's one table: metric | Stashwell | CopyQ | ratio, as Markdown.
#include <QList>
#include <QString>
#include <optional>

// Repeated measurements of one thing; a failed repetition counts, but has no value.
struct Samples {
    QList<double> values;
    int failures = 0;
    void add(std::optional<double> value);
    std::optional<double> median() const;
    std::optional<double> worst() const;
};

class ResultTable {
public:
    // "median / worst" in milliseconds, with the failed repetitions if any.
    void addTimes(const QString &metric, const Samples &stashwell, const Samples &copyq);
    // One figure each; nothing is shown as "n/a".
    void addFigures(const QString &metric, std::optional<double> stashwell, std::optional<double> copyq,
                    const char *unit, int decimals);
    void addText(const QString &metric, const QString &stashwell, const QString &copyq);
    void addNote(const QString &note) { m_notes << note; }
    QString markdown() const;

private:
    struct Row {
        QString metric, stashwell, copyq, ratio;
    };
    static QString ratio(std::optional<double> stashwell, std::optional<double> copyq);
    QList<Row> m_rows;
    QStringList m_notes;
};

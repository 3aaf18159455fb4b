// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/VersionComparator.h"

#include <QStringList>
#include <optional>

namespace VersionComparator {

namespace {

enum class Type { number, string, separator };

Type typeOf(QChar c)
{
    if (c.isDigit())
        return Type::number;
    if (c == QLatin1Char('.') || c.isSpace())
        return Type::separator;
    return Type::string;
}

// Runs of digits, runs of other characters, and every separator on its own.
QStringList parts(const QString &version)
{
    QStringList result;
    std::optional<Type> previous;
    for (QChar c : version) {
        const Type type = typeOf(c);
        if (previous && type == *previous && type != Type::separator)
            result.last() += c;
        else
            result.append(QString(c));
        previous = type;
    }
    return result;
}

// Digit strings of any length, without overflow.
int compareNumbers(QString a, QString b)
{
    while (a.size() > 1 && a.startsWith(QLatin1Char('0')))
        a.remove(0, 1);
    while (b.size() > 1 && b.startsWith(QLatin1Char('0')))
        b.remove(0, 1);
    if (a.size() != b.size())
        return a.size() < b.size() ? -1 : 1;
    return a.compare(b);
}

int sign(int value)
{
    return (value > 0) - (value < 0);
}

} // namespace

int compare(const QString &a, const QString &b)
{
    const QStringList partsA = parts(a);
    const QStringList partsB = parts(b);
    const qsizetype n = qMin(partsA.size(), partsB.size());
    for (qsizetype i = 0; i < n; ++i) {
        const Type typeA = typeOf(partsA[i][0]);
        const Type typeB = typeOf(partsB[i][0]);
        if (typeA == typeB) {
            if (typeA == Type::number) {
                if (const int result = compareNumbers(partsA[i], partsB[i]))
                    return sign(result);
            } else if (typeA == Type::string) {
                if (const int result = partsA[i].compare(partsB[i]))
                    return sign(result);
            }
        } else if (typeA != Type::string && typeB == Type::string) {
            return 1; // "1.0.1" > "1.0a"
        } else if (typeA == Type::string && typeB != Type::string) {
            return -1;
        } else {
            return typeA == Type::number ? 1 : -1; // a number beats a separator
        }
    }
    if (partsA.size() == partsB.size())
        return 0;
    // The longer one goes on: a letter makes it a pre-release (smaller), anything else larger.
    const bool aLonger = partsA.size() > partsB.size();
    const QString next = aLonger ? partsA[n] : partsB[n];
    const bool longerIsLarger = typeOf(next[0]) != Type::string;
    return (aLonger == longerIsLarger) ? 1 : -1;
}

} // namespace VersionComparator

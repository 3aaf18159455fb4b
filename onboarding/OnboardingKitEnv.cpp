// SPDX-License-Identifier: GPL-3.0-or-later
#include "onboarding/OKStep.h"

#include <QRegularExpression>

namespace OnboardingKitEnv {

Environment process()
{
    return [](const QString &name) -> std::optional<QString> {
        const QByteArray key = name.toLocal8Bit();
        if (!qEnvironmentVariableIsSet(key.constData()))
            return std::nullopt;
        return qEnvironmentVariable(key.constData());
    };
}

bool forced(const QStringList &legacy, const Environment &environment)
{
    const QStringList names = QStringList{QString::fromLatin1(forcedVariable)} + legacy;
    for (const QString &name : names)
        if (environment(name) == QStringLiteral("1"))
            return true;
    return false;
}

std::optional<qint64> pinnedPage(const QStringList &legacy, const Environment &environment)
{
    QStringList names{QString::fromLatin1(pageVariable)};
    for (const QString &name : legacy)
        names.append(name + QStringLiteral("_PAGE"));
    for (const QString &name : names)
        if (const std::optional<QString> value = environment(name))
            if (const std::optional<qint64> page = parsePage(*value))
                return page;
    return std::nullopt;
}

std::optional<qint64> parsePage(const QString &value)
{
    static const QRegularExpression decimal(QStringLiteral("^[+-]?[0-9]+$"));
    if (!decimal.match(value).hasMatch())
        return std::nullopt;
    bool ok = false;
    const qint64 page = value.toLongLong(&ok); // overflow does not parse
    return ok ? std::optional<qint64>(page) : std::nullopt;
}

} // namespace OnboardingKitEnv

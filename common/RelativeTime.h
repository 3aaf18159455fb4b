// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QDateTime>
#include <QString>

// The platform's relative date formatting in the abbreviated style ("5 min. ago",
// "vor 3 Std."), from ICU's CLDR data, in the given BCP 47 language ("en", "zh-Hans", ...).
namespace RelativeTime {
QString abbreviated(const QDateTime &date, const QDateTime &reference, const QString &language);
}

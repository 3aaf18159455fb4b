// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/RelativeTime.h"

#include <unicode/locid.h>
#include <unicode/reldatefmt.h>
#include <unicode/unistr.h>

namespace RelativeTime {

QString abbreviated(const QDateTime &date, const QDateTime &reference, const QString &language)
{
    const qint64 seconds = std::max<qint64>(date.secsTo(reference), 0);
    // The largest unit that fits at least once, as the platform formatter chooses it.
    struct Step {
        qint64 seconds;
        UDateRelativeUnit unit;
    };
    static constexpr Step steps[] = {
        {365 * 86400, UDAT_RELATIVE_YEARS}, {30 * 86400, UDAT_RELATIVE_MONTHS}, {7 * 86400, UDAT_RELATIVE_WEEKS},
        {86400, UDAT_RELATIVE_DAYS},        {3600, UDAT_RELATIVE_HOURS},        {60, UDAT_RELATIVE_MINUTES},
        {1, UDAT_RELATIVE_SECONDS},
    };
    Step step = steps[std::size(steps) - 1];
    for (const Step &candidate : steps) {
        if (seconds >= candidate.seconds) {
            step = candidate;
            break;
        }
    }
    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale locale = icu::Locale::forLanguageTag(language.toStdString(), status);
    icu::RelativeDateTimeFormatter formatter(locale, nullptr, UDAT_STYLE_SHORT, UDISPCTX_CAPITALIZATION_NONE,
                                             status);
    icu::UnicodeString text;
    formatter.format(double(seconds / step.seconds), UDAT_DIRECTION_LAST, step.unit, text, status);
    if (U_FAILURE(status))
        return QString();
    return QString(reinterpret_cast<const QChar *>(text.getBuffer()), text.length());
}

} // namespace RelativeTime

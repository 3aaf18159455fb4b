// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ClipboardSnapshot.h"

#include <QSet>

namespace {

const QString plainType = QStringLiteral("text/plain");
const QString latin1StringTarget = QStringLiteral("STRING");
// The targets that carry "text/plain", best first: GTK may reduce "text/plain" itself to ASCII.
const QStringList textTargets{QStringLiteral("UTF8_STRING"), plainType, latin1StringTarget};

} // namespace

QStringList ClipboardWant::candidates(const QStringList &offered) const
{
    QStringList result;
    for (const QString &format : formats) {
        if (format.endsWith(QLatin1String("/*"))) {
            const QStringView prefix = QStringView(format).chopped(1);
            for (const QString &type : offered)
                if (type.startsWith(prefix) && !result.contains(type))
                    result << type;
        } else if (offered.contains(format) && !result.contains(format)) {
            result << format;
        }
    }
    return result;
}

namespace ClipboardTargets {

bool isReadable(const QString &target)
{
    static const QSet<QString> skipped{
        // ICCCM protocol targets; DELETE and the INSERT_* ones have side effects on the owner.
        QStringLiteral("TARGETS"), QStringLiteral("MULTIPLE"), QStringLiteral("TIMESTAMP"),
        QStringLiteral("SAVE_TARGETS"), QStringLiteral("DELETE"), QStringLiteral("INSERT_SELECTION"),
        QStringLiteral("INSERT_PROPERTY"), QStringLiteral("LENGTH"),
        // Server resources, meaningless once the owner is gone.
        QStringLiteral("PIXMAP"), QStringLiteral("BITMAP"), QStringLiteral("DRAWABLE"), QStringLiteral("COLORMAP"),
        // Re-offered by Qt from "text/plain".
        QStringLiteral("TEXT"), QStringLiteral("COMPOUND_TEXT")};
    return !target.isEmpty() && !skipped.contains(target);
}

QString formatOf(const QString &target)
{
    return textTargets.contains(target) ? plainType : target;
}

QStringList targetsOf(const QString &format, const QStringList &offered)
{
    QStringList targets;
    for (const QString &target : format == plainType ? textTargets : QStringList{format})
        if (offered.contains(target))
            targets << target;
    return targets;
}

QByteArray formatData(const QString &target, const QByteArray &bytes)
{
    return target == latin1StringTarget ? QString::fromLatin1(bytes).toUtf8() : bytes;
}

ClipboardItemData toMimeFormats(const ClipboardItemData &targets)
{
    // The text goes where the first text target was, taken from the best one.
    ClipboardItemData formats;
    qsizetype textPosition = -1;
    qsizetype textRank = textTargets.size();
    QByteArray text;
    for (const auto &[target, bytes] : targets) {
        const qsizetype rank = textTargets.indexOf(target);
        if (rank < 0) {
            formats.append({target, bytes});
            continue;
        }
        if (textPosition < 0)
            textPosition = formats.size();
        if (rank < textRank) {
            textRank = rank;
            text = formatData(target, bytes);
        }
    }
    if (textPosition >= 0)
        formats.insert(textPosition, {plainType, text});
    return formats;
}

} // namespace ClipboardTargets

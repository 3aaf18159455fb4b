#include "platform/ClipboardSnapshot.h"

#include <QSet>

namespace ClipboardTargets {

namespace {

const QString plainType = QStringLiteral("text/plain");
const QString utf8StringTarget = QStringLiteral("UTF8_STRING");
const QString latin1StringTarget = QStringLiteral("STRING");

} // namespace

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

ClipboardItemData toMimeFormats(const ClipboardItemData &targets)
{
    // The text for "text/plain": UTF8_STRING first (GTK may reduce "text/plain" to ASCII),
    // then "text/plain" itself, then Latin-1 STRING converted to UTF-8.
    std::optional<QByteArray> text;
    qsizetype textPosition = -1;
    int textRank = 4;
    ClipboardItemData formats;
    for (const auto &[target, bytes] : targets) {
        int rank = 4;
        if (target == utf8StringTarget)
            rank = 1;
        else if (target == plainType)
            rank = 2;
        else if (target == latin1StringTarget)
            rank = 3;
        if (rank == 4) {
            formats.append({target, bytes});
            continue;
        }
        if (textPosition < 0)
            textPosition = formats.size();
        if (rank < textRank) {
            textRank = rank;
            text = rank == 3 ? QString::fromLatin1(bytes).toUtf8() : bytes;
        }
    }
    if (text)
        formats.insert(textPosition, {plainType, *text});
    return formats;
}

} // namespace ClipboardTargets

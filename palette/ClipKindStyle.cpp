// SPDX-License-Identifier: GPL-3.0-or-later
#include "palette/ClipKindStyle.h"

namespace ClipKindStyle {

QColor tint(ClipKind kind)
{
    switch (kind) {
    case ClipKind::text: return QColor(142, 142, 147);
    case ClipKind::image: return QColor(255, 149, 0);
    case ClipKind::link: return QColor(10, 132, 255);
    case ClipKind::file: return QColor(48, 176, 199);
    case ClipKind::color: return QColor(255, 45, 85);
    }
    Q_UNREACHABLE();
}

QString symbol(ClipKind kind)
{
    switch (kind) {
    case ClipKind::text: return QStringLiteral("doc.text");
    case ClipKind::image: return QStringLiteral("photo");
    case ClipKind::link: return QStringLiteral("link");
    case ClipKind::file: return QStringLiteral("doc");
    case ClipKind::color: return QStringLiteral("paintpalette");
    }
    Q_UNREACHABLE();
}

QString filterKey(ClipKind kind)
{
    return QStringLiteral("filter.") + ClipKinds::rawValue(kind);
}

QColor color(const QString &hex)
{
    const QString digits = hex.startsWith(QLatin1Char('#')) ? hex.mid(1) : hex;
    bool ok = false;
    const uint rgb = digits.toUInt(&ok, 16);
    return ok && digits.size() == 6 ? QColor::fromRgb(QRgb(rgb)) : QColor();
}

} // namespace ClipKindStyle

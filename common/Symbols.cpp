// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/Symbols.h"

#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>

namespace Symbols {

QPixmap pixmap(const QString &name, const QColor &tint, int size, qreal devicePixelRatio)
{
    const QString key = QStringLiteral("symbol:%1:%2:%3:%4").arg(name, tint.name(QColor::HexArgb)).arg(size).arg(devicePixelRatio);
    QPixmap cached;
    if (QPixmapCache::find(key, &cached))
        return cached;
    const int pixels = qRound(size * devicePixelRatio);
    QPixmap result(pixels, pixels);
    result.fill(Qt::transparent);
    QPainter painter(&result);
    QSvgRenderer(QStringLiteral(":/icons/%1.svg").arg(name)).render(&painter);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn); // recolour, keep the shape
    painter.fillRect(result.rect(), tint);
    painter.end();
    result.setDevicePixelRatio(devicePixelRatio);
    QPixmapCache::insert(key, result);
    return result;
}

QIcon icon(const QString &name, const QColor &tint, int size)
{
    QIcon icon;
    icon.addPixmap(pixmap(name, tint, size, 1.0));
    icon.addPixmap(pixmap(name, tint, size, 2.0));
    return icon;
}

} // namespace Symbols

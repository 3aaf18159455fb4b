// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/Symbols.h"

#include "common/SquareIconEngine.h"

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

namespace {

class SymbolEngine : public SquareIconEngine {
public:
    SymbolEngine(const QString &name, const QColor &tint, int size, const QColor &selectedTint)
        : m_name(name)
        , m_tint(tint)
        , m_selectedTint(selectedTint.isValid() ? selectedTint : tint)
        , m_size(size)
    {
    }

    QSize actualSize(const QSize &size, QIcon::Mode, QIcon::State) override
    {
        const int side = qMin(m_size, qMin(size.width(), size.height()));
        return {side, side};
    }
    QIconEngine *clone() const override { return new SymbolEngine(*this); }

private:
    QPixmap render(int side, QIcon::Mode mode, qreal scale) const override
    {
        if (side <= 0)
            return {};
        QColor tint = mode == QIcon::Selected ? m_selectedTint : m_tint;
        if (mode == QIcon::Disabled)
            tint.setAlphaF(tint.alphaF() * 0.4f);
        return Symbols::pixmap(m_name, tint, side, scale);
    }

    QString m_name;
    QColor m_tint;
    QColor m_selectedTint;
    int m_size;
};

} // namespace

QIcon icon(const QString &name, const QColor &tint, int size, const QColor &selectedTint)
{
    return QIcon(new SymbolEngine(name, tint, size, selectedTint));
}

} // namespace Symbols

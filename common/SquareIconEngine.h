// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QIconEngine>
#include <QPainter>
#include <QPaintDevice>

// An icon drawn square, fresh at the size and pixel ratio it is shown at, so it stays sharp at
// any scale. Subclasses draw it (`render`) and may cap its size (`actualSize`).
class SquareIconEngine : public QIconEngine {
public:
    QSize actualSize(const QSize &size, QIcon::Mode, QIcon::State) override
    {
        const int side = qMin(size.width(), size.height());
        return {side, side};
    }
    // `size` is in device pixels: the shown size times `scale`.
    QPixmap scaledPixmap(const QSize &size, QIcon::Mode mode, QIcon::State state, qreal scale) override
    {
        return render(actualSize(size / scale, mode, state).width(), mode, scale);
    }
    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override
    {
        return scaledPixmap(size, mode, state, 1.0);
    }
    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state) override
    {
        const int side = actualSize(rect.size(), mode, state).width();
        QRect box(0, 0, side, side);
        box.moveCenter(rect.center());
        painter->drawPixmap(box.topLeft(), render(side, mode, painter->device()->devicePixelRatioF()));
    }

protected:
    virtual QPixmap render(int side, QIcon::Mode mode, qreal scale) const = 0;
};

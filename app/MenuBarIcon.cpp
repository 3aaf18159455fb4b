// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/MenuBarIcon.h"

#include "common/Symbols.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPalette>

namespace MenuBarIcon {

namespace {

QPixmap image(State state, int size, qreal devicePixelRatio, const QPalette &palette)
{
    const int pixels = qRound(size * devicePixelRatio);
    QPixmap result(pixels, pixels);
    result.fill(Qt::transparent);
    result.setDevicePixelRatio(devicePixelRatio);
    QColor rimColor = palette.color(QPalette::Window);
    rimColor.setAlphaF(0.4f);
    const QPixmap glyph =
        Symbols::pixmap(QStringLiteral("clipboard"), palette.color(QPalette::WindowText), size, devicePixelRatio);
    const QPixmap rim = Symbols::pixmap(QStringLiteral("clipboard"), rimColor, size, devicePixelRatio);
    QPixmap layer = result; // rim and glyph at full strength, then dimmed as one
    QPainter painter(&layer);
    const qreal step = qMax(1, qRound(devicePixelRatio * size / 22.0)) / devicePixelRatio; // whole pixels
    for (const QPointF offset : {QPointF(step, 0), QPointF(-step, 0), QPointF(0, step), QPointF(0, -step)})
        painter.drawPixmap(offset, rim);
    painter.drawPixmap(0, 0, glyph);
    painter.end();
    QPainter dimmed(&result);
    dimmed.setOpacity(state == State::paused ? pausedAlpha : activeAlpha);
    dimmed.drawPixmap(0, 0, layer);
    dimmed.end();
    return result;
}

class TrayEngine : public QIconEngine {
public:
    explicit TrayEngine(State state)
        : m_state(state)
    {
    }

    QPixmap scaledPixmap(const QSize &size, QIcon::Mode, QIcon::State, qreal scale) override
    {
        return image(m_state, qRound(qMin(size.width(), size.height()) / scale), scale, QGuiApplication::palette());
    }
    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override
    {
        return scaledPixmap(size, mode, state, 1.0);
    }
    void paint(QPainter *painter, const QRect &rect, QIcon::Mode, QIcon::State) override
    {
        const int side = qMin(rect.width(), rect.height());
        QRect box(0, 0, side, side);
        box.moveCenter(rect.center());
        painter->drawPixmap(box.topLeft(),
                            image(m_state, side, painter->device()->devicePixelRatioF(), QGuiApplication::palette()));
    }
    // What a tray that takes pixmaps rather than painting the icon is offered.
    QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override
    {
        return {{16, 16}, {22, 22}, {24, 24}, {32, 32}, {48, 48}};
    }
    QIconEngine *clone() const override { return new TrayEngine(m_state); }

private:
    State m_state;
};

} // namespace

QIcon icon(State state)
{
    return QIcon(new TrayEngine(state));
}

} // namespace MenuBarIcon

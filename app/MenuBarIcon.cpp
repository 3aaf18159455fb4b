// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/MenuBarIcon.h"

#include "common/SquareIconEngine.h"
#include "common/Symbols.h"

#include <QGuiApplication>
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

class TrayEngine : public SquareIconEngine {
public:
    explicit TrayEngine(State state)
        : m_state(state)
    {
    }

    // What a tray that takes pixmaps rather than painting the icon is offered.
    QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override
    {
        return {{16, 16}, {22, 22}, {24, 24}, {32, 32}, {48, 48}};
    }
    QIconEngine *clone() const override { return new TrayEngine(m_state); }

private:
    QPixmap render(int side, QIcon::Mode, qreal scale) const override
    {
        return image(m_state, side, scale, QGuiApplication::palette());
    }

    State m_state;
};

} // namespace

QIcon icon(State state)
{
    return QIcon(new TrayEngine(state));
}

} // namespace MenuBarIcon

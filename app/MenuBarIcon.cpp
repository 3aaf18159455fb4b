// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/MenuBarIcon.h"

#include "common/Symbols.h"

#include <QPainter>

namespace MenuBarIcon {

namespace {
const QColor glyphColor(0xf2, 0xf4, 0xf7);
const QColor rimColor(0, 0, 0, 90);
} // namespace

QPixmap image(State state, int size, qreal devicePixelRatio)
{
    const int pixels = qRound(size * devicePixelRatio);
    QPixmap result(pixels, pixels);
    result.fill(Qt::transparent);
    result.setDevicePixelRatio(devicePixelRatio);
    const QPixmap glyph = Symbols::pixmap(QStringLiteral("clipboard"), glyphColor, size, devicePixelRatio);
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

QIcon icon(State state)
{
    QIcon icon;
    for (int size : {16, 22, 24, 32, 48})
        icon.addPixmap(image(state, size));
    return icon;
}

} // namespace MenuBarIcon

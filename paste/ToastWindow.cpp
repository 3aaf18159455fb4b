// SPDX-License-Identifier: GPL-3.0-or-later
#include "paste/ToastWindow.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>

ToastWindow::ToastWindow(const QString &text, QWidget *parent)
    : QWidget(parent,
              // A tool-tip type window is override-redirect: neither Qt nor the window manager
              // activates it, so focus stays with the paste target. Input-transparent: clicks
              // go through to the window below.
              Qt::ToolTip | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::X11BypassWindowManagerHint |
                  Qt::WindowDoesNotAcceptFocus | Qt::WindowTransparentForInput)
    , m_text(text)
{
    setObjectName(QStringLiteral("HUDToast"));
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_X11DoNotAcceptFocus);
    setAttribute(Qt::WA_X11NetWmWindowTypeNotification); // for compositors' shadow and fade rules
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_TranslucentBackground);
    setFocusPolicy(Qt::NoFocus);
    QFont font = this->font();
    font.setPointSizeF(9); // 12 px text: 9 pt at 96 dpi
    font.setWeight(QFont::Medium);
    setFont(font);
    resize(sizeHint());
    // Without a compositor the translucent corners would show black: cut them off.
    const qreal radius = height() / 2.0;
    QPainterPath capsule;
    capsule.addRoundedRect(QRectF(rect()), radius, radius);
    setMask(QRegion(capsule.toFillPolygon().toPolygon()));
}

QSize ToastWindow::sizeHint() const
{
    const QFontMetrics metrics(font());
    int width = metrics.horizontalAdvance(m_text) + 2 * paddingX;
    // Only a text wider than the screen is cut (with an ellipsis); otherwise it widens the notice.
    if (const QScreen *screen = QGuiApplication::primaryScreen())
        width = std::min(width, screen->availableGeometry().width() - 2 * paddingX);
    return {width, metrics.height() + 2 * paddingY};
}

void ToastWindow::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal radius = height() / 2.0;
    QColor material = palette().color(QPalette::Window);
    material.setAlpha(235);
    painter.setPen(QPen(palette().color(QPalette::Mid), 1));
    painter.setBrush(material);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
    painter.setPen(palette().color(QPalette::WindowText));
    const QRect textRect = rect().adjusted(paddingX, 0, -paddingX, 0);
    painter.drawText(textRect, Qt::AlignCenter, fontMetrics().elidedText(m_text, Qt::ElideRight, textRect.width()));
}

// SPDX-License-Identifier: GPL-3.0-or-later
#include "palette/PalettePanel.h"

#include <QVBoxLayout>

PalettePanel::PalettePanel(QWidget *content)
    : QWidget(nullptr, Qt::Popup | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint)
{
    setAttribute(Qt::WA_TranslucentBackground);
    setWindowTitle(QStringLiteral("Stashwell"));
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(content);
    // A fixed size also tells tiling Wayland compositors (sway) to float the window, not tile it.
    setFixedSize(panelSize);
}

QRect PalettePanel::frame(const QRect &available)
{
    const int x = available.left() + (available.width() - panelSize.width()) / 2;
    // 0.62 of the height from the bottom is 0.38 from the top in Qt's top-down coordinates.
    const int y = available.top() + qRound(0.38 * available.height()) - panelSize.height() / 2;
    return QRect(QPoint(x, y), panelSize);
}

void PalettePanel::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    emit dismissed();
}

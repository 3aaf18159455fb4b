// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The panel that hosts the palette. A Qt::Popup, so override-redirect: it takes the keyboard
// and pointer without ever changing the active window, so the application the user was in
// keeps focus and receives the paste; a click outside closes it.
#include <QWidget>

class PalettePanel : public QWidget {
    Q_OBJECT
public:
    static constexpr QSize panelSize{680, 440};

    explicit PalettePanel(QWidget *content);

    // Where the panel goes in a screen's usable area: centred horizontally, the vertical
    // centre at 62 % of the height measured from the bottom.
    static QRect frame(const QRect &availableGeometry);

signals:
    // The panel went away without the controller asking (a click outside).
    void dismissed();

protected:
    void hideEvent(QHideEvent *event) override;
};

// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// A thin vertical scroll bar in the manner of GTK and Breeze applications: a rounded knob with
// no track and no arrow buttons, fuller under the pointer. It brings its own style, so that its
// geometry and hit testing know nothing of arrow buttons whatever the application's style.
#include <QScrollBar>

class QAbstractScrollArea;

class ThinScrollBar : public QScrollBar {
    Q_OBJECT
public:
    static constexpr int thickness = 10; // the strip the scroll area gives it
    static constexpr int knobWidth = 4;  // as drawn; 6 under the pointer or while dragged
    static constexpr int edgeGap = 2;    // between the knob and the outer edge

    explicit ThinScrollBar(QWidget *parent = nullptr);
    // Gives `area` this bar as its vertical one (a list, a text view, a scroll area).
    static void install(QAbstractScrollArea *area);

protected:
    void paintEvent(QPaintEvent *) override;
    void enterEvent(QEnterEvent *) override { update(); }
    void leaveEvent(QEvent *) override { update(); }
};

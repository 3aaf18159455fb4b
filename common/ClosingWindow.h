// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// A top-level window that reports its closing, so that its controller can drop it at once
// (the settings window and the first-run guide).
#include <QWidget>

class ClosingWindow : public QWidget {
    Q_OBJECT
public:
    using QWidget::QWidget;

signals:
    void closing();

protected:
    void closeEvent(QCloseEvent *event) override;
};

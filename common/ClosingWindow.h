#pragma once
// A top-level window that reports its closing, so that its controller can drop it at once
// (the settings window, Part 8.1, and the guide, Part 9.1).
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

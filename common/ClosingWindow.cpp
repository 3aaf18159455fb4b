#include "common/ClosingWindow.h"

void ClosingWindow::closeEvent(QCloseEvent *event)
{
    emit closing();
    QWidget::closeEvent(event);
}

// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/ClosingWindow.h"

void ClosingWindow::closeEvent(QCloseEvent *event)
{
    emit closing();
    QWidget::closeEvent(event);
}

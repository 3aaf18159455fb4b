// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/QuitShortcut.h"

#include <QApplication>
#include <QKeyEvent>
#include <QWindow>

QuitShortcut::QuitShortcut(QObject &app, std::function<void()> quit)
    : QObject(&app)
    , m_quit(std::move(quit))
{
    app.installEventFilter(this);
}

bool QuitShortcut::eventFilter(QObject *watched, QEvent *event)
{
    // A key press reaches the window first, then travels from the focus widget up its
    // parents: looking at the window alone sees it once.
    if (event->type() != QEvent::KeyPress || !qobject_cast<QWindow *>(watched))
        return false;
    const auto *key = static_cast<QKeyEvent *>(event);
    if (key->key() != Qt::Key_Q || key->modifiers() != Qt::ControlModifier || QApplication::activePopupWidget())
        return false;
    m_quit();
    return true;
}

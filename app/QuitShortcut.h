// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The application's keyboard commands besides the palette's. Qt's text widgets bind the
// editing keys (undo, redo, cut, copy, paste, select all) by themselves, so what is left is
// quitting: Ctrl+Q in any window of the application quits it. Not while a popup such as the
// palette is open: the popup gets its keys for its own handling.
#include <QObject>
#include <functional>

class QuitShortcut : public QObject {
public:
    // Watches the key presses of the whole application (an event filter on `app`).
    QuitShortcut(QObject &app, std::function<void()> quit);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    std::function<void()> m_quit;
};

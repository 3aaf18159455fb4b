#pragma once
// Part 2.1's main menu (`installEditMenu`) on Linux. Qt's text widgets bind the editing keys
// of its "Edit" submenu (undo, redo, cut, copy, paste, select all) by themselves, so what is
// left is the quit item: Ctrl+Q (Command-Q, PLATFORM.md key map) in any window of the
// application quits it. Not in the palette: a popup passes its keys to Part 3.2's handler.
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

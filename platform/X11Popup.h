// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Shows a popup window that takes the keyboard (a Qt::Popup). A window can be given the keyboard
// only once it is mapped, so a key pressed the moment it appears (by a quick hand right after the
// hot key, or a script) could still reach the application below. On X11 the window is therefore
// mapped and given the keyboard while the server holds back every other client's requests.
// Off X11 it is a plain show.
class QWidget;

namespace X11Popup {
void show(QWidget *popup);
}

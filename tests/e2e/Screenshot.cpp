// SPDX-License-Identifier: GPL-3.0-or-later
// Saves the whole X11 screen as a PNG: `stashwell-test-screenshot out.png [x y w h]`.
// Used by the end-to-end tests and the docs screenshots.
#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 2 && args.size() != 6)
        return 2;
    QPixmap shot = QGuiApplication::primaryScreen()->grabWindow(0);
    if (args.size() == 6)
        shot = shot.copy(args[2].toInt(), args[3].toInt(), args[4].toInt(), args[5].toInt());
    return shot.save(args[1], "PNG") ? 0 : 1;
}

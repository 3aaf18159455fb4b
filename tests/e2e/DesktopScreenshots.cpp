// `stashwell-desktop-screenshots <dir>`: drives the real binary under Xvfb + openbox + trayer
// and saves the palette (with entries, empty, no results, in German), the "Copied" notice and
// the tray menu (in English and German) as PNGs.
#include "e2e/XSession.h"

#include <QBuffer>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <cstdio>

namespace {

QRect paletteArea() { return QRect(300 - 24, 84 - 24, 680 + 48, 440 + 48); } // PalettePanel::frame on 1280 × 800

void key(XSession &x, const QString &keys) { x.run(QStringLiteral("xdotool"), {"key", "--delay", "40", keys}); }

void shoot(XSession &x, const QString &path, const QRect &area)
{
    x.run(QStringLiteral(STASHWELL_SCREENSHOT),
          {path, QString::number(area.x()), QString::number(area.y()), QString::number(area.width()),
           QString::number(area.height())});
    std::printf("%s\n", qPrintable(path));
}

QByteArray png(int w, int h)
{
    QImage image(w, h, QImage::Format_RGB32);
    QPainter p(&image);
    QLinearGradient sky(0, 0, 0, h);
    sky.setColorAt(0, QColor(70, 130, 200));
    sky.setColorAt(1, QColor(250, 200, 120));
    p.fillRect(image.rect(), sky);
    p.setBrush(QColor(40, 90, 60));
    p.setPen(Qt::NoPen);
    p.drawEllipse(QPoint(w / 3, h), w / 2, h / 3);
    p.end();
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

void openPalette(XSession &x)
{
    key(x, QStringLiteral("super+shift+v"));
    QTest::qWait(700);
}

void closePalette(XSession &x)
{
    key(x, QStringLiteral("Escape"));
    key(x, QStringLiteral("Escape"));
    QTest::qWait(400);
}

// A right click on the tray icon opens the status menu (Part 2.4): the shot holds both.
bool shootTrayMenu(XSession &x, const QString &path)
{
    const QPoint icon = x.stashwellTrayIconCentre();
    x.run(QStringLiteral("xdotool"), {"mousemove", QString::number(icon.x()), QString::number(icon.y()), "click", "3"});
    QTest::qWait(700);
    const QRect menu = x.stashwellPopup();
    if (menu.isNull())
        return false;
    shoot(x, path, menu.united(QRect(icon - QPoint(20, 20), QSize(40, 40))).adjusted(-12, -4, 12, 12));
    key(x, QStringLiteral("Escape"));
    QTest::qWait(300);
    return true;
}

// Starts stashwell and waits for its icon to dock in the tray.
bool start(XSession &x)
{
    if (!x.startStashwell())
        return false;
    for (int waited = 0; waited < 5000 && x.stashwellTrayIcon().isEmpty(); waited += 100)
        QTest::qWait(100);
    return !x.stashwellTrayIcon().isEmpty();
}

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QString dir = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("docs/screenshots");
    XSession x;
    if (!x.isUp() || !x.startTray() || !start(x))
        return 1;
    x.startZenityEntry();
    QTest::qWait(1000);

    openPalette(x);
    shoot(x, dir + QStringLiteral("/palette-empty.png"), paletteArea());
    closePalette(x);

    x.xclipCopy(png(1600, 900), QStringLiteral("image/png"));
    QTest::qWait(500);
    for (const char *text : {"Meeting notes: ship the palette on Friday, review the German strings",
                             "https://kde.org/applications/", "#3DAEE9",
                             "SELECT title, created_at FROM clips WHERE pinned = 1 ORDER BY created_at DESC;",
                             "git commit -m \"Keep secrets out of the history\"", "Thanks for the quick review!"}) {
        x.xclipCopy(QByteArray(text));
        QTest::qWait(500);
    }
    x.xclipCopy("file:///home/user/Documents/Quarterly%20report.pdf\r\nfile:///home/user/Pictures/team.png\r\n",
                QStringLiteral("text/uri-list"));
    QTest::qWait(600);

    openPalette(x);
    key(x, QStringLiteral("Down"));
    key(x, QStringLiteral("Down"));
    key(x, QStringLiteral("ctrl+p")); // pin one
    key(x, QStringLiteral("Up"));
    QTest::qWait(300);
    shoot(x, dir + QStringLiteral("/palette.png"), paletteArea());
    x.run(QStringLiteral("xdotool"), {"type", "--delay", "30", "nothing like this"});
    QTest::qWait(300);
    shoot(x, dir + QStringLiteral("/palette-no-results.png"), paletteArea());
    key(x, QStringLiteral("Escape"));
    key(x, QStringLiteral("Tab")); // Text
    key(x, QStringLiteral("Tab")); // Image
    QTest::qWait(300);
    shoot(x, dir + QStringLiteral("/palette-image.png"), paletteArea());
    key(x, QStringLiteral("ctrl+Return")); // copy only: the "Copied" notice
    QTest::qWait(400);
    shoot(x, dir + QStringLiteral("/notice.png"), QRect(440, 560, 400, 200));
    QTest::qWait(2000);
    if (!shootTrayMenu(x, dir + QStringLiteral("/tray-menu.png")))
        return 1;

    x.stopStashwell();
    x.setDefaults({{"languageCode", "de"}});
    if (!start(x))
        return 1;
    QTest::qWait(500);
    openPalette(x);
    QTest::qWait(300);
    shoot(x, dir + QStringLiteral("/palette-de.png"), paletteArea());
    closePalette(x);
    return shootTrayMenu(x, dir + QStringLiteral("/tray-menu-de.png")) ? 0 : 1;
}

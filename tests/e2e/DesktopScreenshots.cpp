// SPDX-License-Identifier: GPL-3.0-or-later
// `stashwell-desktop-screenshots <dir>`: drives the real binary under Xvfb + openbox + trayer
// and saves the palette (with entries, empty, no results, in German), the "Copied" notice and
// the tray menu (in English and German) as PNGs.
#include "e2e/XSession.h"
#include "fakes/TestFiles.h"

#include <QBuffer>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <cstdio>

namespace {

const QRect paletteArea(300 - 24, 84 - 24, 680 + 48, 440 + 48); // PalettePanel::frame on 1280 × 800
const QRect noticeArea(440, 560, 400, 200);

// Saves `area` of the screen once the picture settled: two grabs in a row are the same.
void shoot(XSession &x, const QString &path, const QRect &area)
{
    QByteArray previous;
    XSession::waitFor([&] {
        x.run(QStringLiteral(STASHWELL_SCREENSHOT), {path, QString::number(area.x()), QString::number(area.y()),
                                                      QString::number(area.width()), QString::number(area.height())});
        const QByteArray shot = readFile(path);
        return std::exchange(previous, shot) == shot;
    }, 5000);
    std::printf("%s\n", qPrintable(path));
}

// A sky over a hill.
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
    return buffer.open(QIODevice::WriteOnly) && image.save(&buffer, "PNG") ? bytes : QByteArray();
}

// Another application copies; returns once stashwell recorded it.
void copy(XSession &x, const QByteArray &data, const QString &type = QStringLiteral("UTF8_STRING"))
{
    const qsizetype before = x.history().size();
    x.xclipCopy(data, type);
    x.waitFor([&] { return x.history().size() > before; });
}

// A right click on the tray icon opens its menu: the shot holds both.
bool shootTrayMenu(XSession &x, const QString &path)
{
    const QPoint icon = x.stashwellTrayIconCentre();
    x.click(icon, 3);
    if (!x.waitForPopup(true))
        return false;
    shoot(x, path, x.stashwellPopup().united(QRect(icon - QPoint(20, 20), QSize(40, 40))).adjusted(-12, -4, 12, 12));
    x.key(QStringLiteral("Escape"));
    return x.waitForPopup(false);
}

// Opens the palette with the hot key, or closes it with Escape (the first one clears a query).
bool palette(XSession &x, bool open)
{
    x.key(QLatin1String(open ? "super+shift+v" : "Escape Escape"));
    return x.waitForPopup(open);
}

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QString dir = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("docs/screenshots");
    XSession x;
    const auto start = [&] { return x.startStashwell() && x.waitFor([&] { return !x.stashwellTrayIcon().isEmpty(); }); };
    if (!x.isUp() || !start() || !x.startZenityEntry() || !palette(x, true))
        return 1;
    shoot(x, dir + QStringLiteral("/palette-empty.png"), paletteArea);
    palette(x, false);

    copy(x, png(1600, 900), QStringLiteral("image/png"));
    for (const char *text : {"Meeting notes: ship the palette on Friday, review the German strings",
                             "https://kde.org/applications/", "#3DAEE9",
                             "SELECT title, created_at FROM clips WHERE pinned = 1 ORDER BY created_at DESC;",
                             "git commit -m \"Keep secrets out of the history\"", "Thanks for the quick review!"})
        copy(x, QByteArray(text));
    copy(x, "file:///home/user/Documents/Quarterly%20report.pdf\r\nfile:///home/user/Pictures/team.png\r\n",
         QStringLiteral("text/uri-list"));

    if (!palette(x, true))
        return 1;
    x.key(QStringLiteral("Down Down ctrl+p Up")); // pin one
    shoot(x, dir + QStringLiteral("/palette.png"), paletteArea);
    x.type(QStringLiteral("nothing like this"));
    shoot(x, dir + QStringLiteral("/palette-no-results.png"), paletteArea);
    x.key(QStringLiteral("Escape Tab Tab")); // the query cleared, the Text then the Image filter
    shoot(x, dir + QStringLiteral("/palette-image.png"), paletteArea);
    x.key(QStringLiteral("ctrl+Return")); // copy only: the "Copied" notice
    if (!x.waitFor([&] { return noticeArea.contains(x.stashwellPopup()); }))
        return 1;
    shoot(x, dir + QStringLiteral("/notice.png"), noticeArea);
    if (!x.waitForPopup(false) || !shootTrayMenu(x, dir + QStringLiteral("/tray-menu.png")))
        return 1;

    x.stopStashwell();
    x.setDefaults({{"languageCode", "de"}});
    if (!start() || !palette(x, true))
        return 1;
    shoot(x, dir + QStringLiteral("/palette-de.png"), paletteArea);
    palette(x, false);
    return shootTrayMenu(x, dir + QStringLiteral("/tray-menu-de.png")) ? 0 : 1;
}

// SPDX-License-Identifier: GPL-3.0-or-later
// `stashwell-ui-screenshots <dir> [dark|2x]`: renders every settings tab and every page of the
// first-run guide to PNG files, in English and German, over in-memory settings and a few
// installed applications (scripts/screenshots runs it; the PNGs live in docs/screenshots/).
// With `dark` (run under a dark desktop theme) or `2x` (run at QT_SCALE_FACTOR=2) it renders the
// palette and the General tab at the window's size instead, and when dark the Privacy tab too,
// named palette-dark.png and so on, to check both by eye.
#include "fakes/PaletteFixture.h"
#include "fakes/SettingsFakes.h"
#include "onboarding/OKRootView.h"
#include "onboarding/OnboardingWindowController.h"
#include "palette/PalettePanel.h"
#include "settings/SettingsRouter.h"
#include "settings/SettingsView.h"
#include "settings/SettingsWindowController.h"

#include <QApplication>
#include <QIcon>
#include <QPainter>
#include <QTest>
#include <cstdio>

static void save(QWidget *window, const QString &path)
{
    QTest::qWait(50); // layouts settle, deferred deletions run
    window->grab().save(path, "PNG");
    std::printf("%s\n", qPrintable(path));
}

// A photo-like image: a sky gradient.
static ClipCapture skyImage()
{
    QImage sky(1600, 900, QImage::Format_RGB32);
    QLinearGradient gradient(0, 0, 0, sky.height());
    gradient.setColorAt(0, QColor(70, 130, 200));
    gradient.setColorAt(1, QColor(250, 200, 120));
    QPainter(&sky).fillRect(sky.rect(), gradient);
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    sky.save(&buffer, "PNG");
    ClipCapture capture;
    capture.kind = ClipKind::image;
    capture.imageData = png;
    return capture;
}

// The palette over entries of every kind, some from installed applications, one pinned; false
// if they do not all show.
static bool shootPalette(const QString &path)
{
    PaletteFixture f;
    const QString editor = QStringLiteral("org.gnome.TextEditor"), terminal = QStringLiteral("org.gnome.Terminal");
    QList<ClipCapture> captures{skyImage(), StoreFixture::text("Meeting notes: ship the palette on Friday", editor),
                                StoreFixture::text("https://kde.org/applications/"), StoreFixture::text("#3DAEE9"),
                                StoreFixture::text("SELECT title FROM clips WHERE pinned = 1;", terminal),
                                StoreFixture::text("git commit -m \"Keep secrets out of the history\"", terminal),
                                StoreFixture::text("Thanks for the quick review!", editor)};
    captures[2].kind = ClipKind::link;
    captures[3].kind = ClipKind::color;
    captures[3].colorHex = QStringLiteral("#3DAEE9");
    ClipCapture files;
    files.kind = ClipKind::file;
    files.fileURLs = QStringList{"/home/user/Documents/Quarterly report.pdf", "/home/user/Pictures/team.png"};
    captures << files;
    for (const ClipCapture &capture : captures) {
        f.store->ingest(capture);
        f.clock.advance(40);
    }
    f.store->togglePin(f.store->items()[2].id); // the commit message
    f.controller.show(QStringLiteral("menu"));
    if (!QTest::qWaitFor([&] { return f.controller.model().visible().size() == captures.size(); }))
        return false;
    save(f.controller.panel(), path);
    f.controller.close();
    return true;
}

// The palette, the General tab at the window's size and, dark, the Privacy tab.
static bool shootVariant(SettingsWindowController &settings, const QString &dir, const QString &variant)
{
    if (!shootPalette(QStringLiteral("%1/palette-%2.png").arg(dir, variant)))
        return false;
    settings.show(SettingsTab::general);
    settings.window()->setFixedSize(SettingsWindowController::contentSize); // however small the screen
    save(settings.window(), QStringLiteral("%1/settings-general-%2.png").arg(dir, variant));
    if (variant == QLatin1String("dark")) { // the tab with the most kinds of controls
        settings.show(SettingsTab::privacy);
        settings.window()->setFixedSize(760, 720);
        save(settings.window(), QStringLiteral("%1/settings-privacy-%2.png").arg(dir, variant));
    }
    return true;
}

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QTemporaryDir xdg;
    qputenv("XDG_DATA_HOME", (xdg.path() + "/home").toUtf8());
    qputenv("XDG_DATA_DIRS", (xdg.path() + "/share").toUtf8());
    QDir().mkpath(xdg.path() + "/share/applications");
    for (const char *app : {"org.keepassxc.KeePassXC=KeePassXC=keepassxc", "org.gnome.Terminal=Terminal=utilities-terminal",
                            "org.gnome.TextEditor=Text Editor=accessories-text-editor"}) { // KeePassXC's icon is not installed
        const QStringList id = QString::fromLatin1(app).split('=');
        QFile entry(xdg.path() + "/share/applications/" + id[0] + ".desktop");
        if (entry.open(QIODevice::WriteOnly))
            entry.write(QStringLiteral("[Desktop Entry]\nType=Application\nName=%1\nIcon=%2\nExec=true\n").arg(id[1], id[2]).toUtf8());
    }

    QApplication app(argc, argv);
    QIcon::setThemeSearchPaths({QStringLiteral("/usr/share/icons")}); // XDG_DATA_DIRS is the fake one
    QIcon::setThemeName(QStringLiteral("Adwaita"));
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPointSizeF(9.5);
    QApplication::setFont(font);
    const QString dir = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("docs/screenshots");
    QDir().mkpath(dir);
    const QString variant = argc > 2 ? QString::fromLocal8Bit(argv[2]) : QString();
    if (variant == QLatin1String("dark") && QApplication::palette().color(QPalette::Window).lightness() > 128) {
        std::fprintf(stderr, "no dark palette: run under a display with QT_QPA_PLATFORMTHEME=gtk3 GTK_THEME=Adwaita:dark\n");
        return 1;
    }

    SettingsFixture f;
    f.settings.setExcludedBundleIDs({"org.keepassxc.KeePassXC", "org.gnome.Terminal", "org.gnome.TextEditor",
                                    "com.example.Retired"});
    f.settings.setCopyInsteadOfPaste(true); // shows the disabled restore row
    SettingsRouter router;
    SettingsWindowController settings(f.services(), router);
    QString page;
    OnboardingKitOptions options;
    options.environment = [&page](const QString &name) {
        return name == QLatin1String(OnboardingKitEnv::pageVariable) ? std::optional(page) : std::nullopt;
    };
    options.timers = f.timers.factory();

    if (!variant.isEmpty())
        return shootVariant(settings, dir, variant) ? 0 : 1;
    for (const char *language : {"en", "de"}) {
        f.l10n.apply(QString::fromLatin1(language));
        for (SettingsTab tab : SettingsTabs::allCases()) {
            settings.show(tab);
            settings.window()->setFixedSize(760, 720); // tall enough for every row of the longest tabs
            save(settings.window(), QStringLiteral("%1/settings-%2-%3.png").arg(dir, SettingsTabs::rawValue(tab), language));
        }
        settings.window()->close();
        OnboardingWindowController guide(f.settings, f.l10n, f.permission, f.serviceHost, options);
        for (int i = 0; i < 4; ++i) {
            page = QString::number(i);
            guide.show(false);
            save(guide.kit()->window(), QStringLiteral("%1/onboarding-%2-%3.png").arg(dir).arg(i).arg(language));
            guide.kit()->window()->close();
            QTest::qWait(0);
        }
    }
    return 0;
}

// SPDX-License-Identifier: GPL-3.0-or-later
// `stashwell-ui-screenshots <dir>`: renders every settings tab and every page of the first-run
// guide to PNG files, in English and German, over in-memory settings and a few installed
// applications (scripts/screenshots runs it; the PNGs live in docs/screenshots/).
#include "fakes/SettingsFakes.h"
#include "onboarding/OKRootView.h"
#include "onboarding/OnboardingWindowController.h"
#include "settings/SettingsRouter.h"
#include "settings/SettingsView.h"
#include "settings/SettingsWindowController.h"

#include <QApplication>
#include <QIcon>
#include <QTest>
#include <cstdio>

static void save(QWidget *window, const QString &path)
{
    QTest::qWait(50); // layouts settle, deferred deletions run
    window->grab().save(path, "PNG");
    std::printf("%s\n", qPrintable(path));
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

    for (const char *language : {"en", "de"}) {
        f.l10n.apply(QString::fromLatin1(language));
        for (SettingsTab tab : SettingsTabs::allCases()) {
            settings.show(tab);
            settings.window()->resize(760, 720); // tall enough for every row of the longest tabs
            save(settings.window(), QStringLiteral("%1/settings-%2-%3.png").arg(dir, SettingsTabs::rawValue(tab), language));
        }
        settings.window()->close();
        OnboardingWindowController guide(f.settings, f.l10n, f.accessibility, f.serviceHost, options);
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

// Process entry (Part 2.1): a tray agent with no window and no task-bar entry.
#include "app/AppDelegate.h"
#include "app/AppSettings.h"
#include "l10n/FrameworkLanguage.h"
#include "platform/DefaultsStore.h"
#include "platform/UnixSignals.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    AppDelegate::applyLanguageOverride(DefaultsStore::shared());

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Stashwell"));
    QApplication::setOrganizationDomain(QStringLiteral("norvane.com"));
    QApplication::setDesktopFileName(QStringLiteral("com.norvane.Stashwell"));
    QApplication::setQuitOnLastWindowClosed(false);
    UnixSignals::quitOnTermination();
    FrameworkLanguage::shared().installAtLaunch(DefaultsStore::shared()); // needs the application object

    AppDelegate delegate(AppSettings::shared());
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &delegate, &AppDelegate::applicationWillTerminate);
    delegate.applicationDidFinishLaunching();
    return app.exec();
}

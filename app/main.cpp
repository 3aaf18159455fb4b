// SPDX-License-Identifier: GPL-3.0-or-later
// Process entry: a tray agent with no window and no task-bar entry.
#include "app/AppDelegate.h"
#include "app/AppSettings.h"
#include "app/CommandLine.h"
#include "app/ShellCommands.h"
#include "app/SingleInstance.h"
#include "capture/HistoryStore.h"
#include "diagnostics/AppMessageLog.h"
#include "cloud/CloudAccount.h"
#include "common/Paths.h"
#include "l10n/FrameworkLanguage.h"
#include "palette/PaletteController.h"
#include "platform/DefaultsStore.h"
#include "platform/UnixSignals.h"

#include <QApplication>
#include <QTextStream>
#include <cstdio>

int main(int argc, char *argv[])
{
    // Single instance, before the display is touched: a second process hands its command
    // to the running one, prints the answer and ends here.
    QTextStream out(stdout), err(stderr);
    const CommandLine::Parsed parsed = CommandLine::parse(CommandLine::arguments(argc, argv));
    if (!parsed.command) {
        err << CommandLine::errorText(parsed.error);
        return 2;
    }
    QString noSocket;
    const QString socketPath = SingleInstance::defaultSocketPath(&noSocket);
    if (socketPath.isEmpty() && !parsed.command->isLocal()) {
        err << "stashwell: " << noSocket << "\n";
        return 1;
    }
    SingleInstance instance(socketPath);
    // `stashwell config` while none runs: the same settings code and checks on the saved files.
    const auto configWithoutInstance = [](const ShellCommand &command) {
        return ShellCommands::configure(AppSettings::shared(), ShellCommands::savedItems(Paths::historyDir() +
                                                                                        QStringLiteral("/history.json")),
                                        command);
    };
    if (const auto exitCode = instance.claim(*parsed.command, out, err, configWithoutInstance))
        return *exitCode;

    AppMessageLog::install(); // keeps our own messages for the tester mode's log export
    AppDelegate::applyLanguageOverride(DefaultsStore::shared());

    // GNOME offers no Wayland client the other applications' copies: through XWayland, Stashwell
    // records at least what GNOME hands on to X11. An explicit QT_QPA_PLATFORM still wins.
    if (AppDelegate::isGnomeOnWayland() && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Stashwell"));
    QApplication::setOrganizationDomain(QStringLiteral("norvane.com"));
    QApplication::setDesktopFileName(QStringLiteral("com.norvane.Stashwell"));
    QApplication::setQuitOnLastWindowClosed(false);
    if (!instance.listen()) {
        err << "stashwell: another Stashwell took over the socket " << instance.socketPath() << "\n";
        return 1;
    }
    UnixSignals::quitOnTermination();
    FrameworkLanguage::shared().installAtLaunch(DefaultsStore::shared()); // needs the application object

    AppDelegate delegate(AppSettings::shared());
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &delegate, &AppDelegate::applicationWillTerminate);
    delegate.applicationDidFinishLaunching();

    ShellCommands commands(HistoryStore::shared(), AppSettings::shared(), PaletteController::shared(),
                           CloudAccount::shared(),
                           {[&delegate](const QUrl &url) { delegate.handleURL(url); },
                            [] { QCoreApplication::quit(); }});
    instance.setHandler([&commands](const ShellCommand &command) { return commands.run(command); });
    if (parsed.command->kind != ShellCommand::Kind::launch) {
        // `stashwell toggle` (or a URL, or sign-in) that started this instance: its answer is ours to print.
        commands.run(*parsed.command).print(out, err);
        out.flush();
        err.flush();
    }
    return app.exec();
}

// SPDX-License-Identifier: GPL-3.0-or-later
// The composition root: every service's process-wide instance, created on first use with its
// real collaborators and never destroyed (so none is gone while another still uses it, and no
// widget is torn down after the application object). Tests build the same classes with fakes instead.
#include "app/AppDelegate.h"
#include "app/AppSettings.h"
#include "bridge/SkyletBridge.h"
#include "capture/ClipboardMonitor.h"
#include "capture/HistoryStore.h"
#include "common/Clock.h"
#include "common/Paths.h"
#include "diagnostics/AppMessageLog.h"
#include "diagnostics/CrashReporter.h"
#include "diagnostics/DebugLog.h"
#include "diagnostics/DiagnosticsConfig.h"
#include "diagnostics/ImproveReporter.h"
#include "diagnostics/OwnProcessLog.h"
#include "diagnostics/TesterMode.h"
#include "l10n/FrameworkLanguage.h"
#include "l10n/L10n.h"
#include "palette/AppIconCache.h"
#include "palette/PaletteController.h"
#include "paste/HUDToast.h"
#include "paste/PasteService.h"
#include "platform/DefaultsStore.h"
#include "platform/GlobalHotKey.h"
#include "platform/LoginItem.h"
#include "platform/PlatformBackend.h"
#include "platform/PortalHotKeyBackend.h"
#include "platform/X11Popup.h"

#include <QLibraryInfo>
#include <QLocale>
#include <QLoggingCategory>

namespace {

Q_LOGGING_CATEGORY(usageLog, "stashwell.usage", QtWarningMsg)

// Usage events go to the improvement reporter; QT_LOGGING_RULES=stashwell.usage.info=true
// also shows them on standard error.
void recordUsage(const QString &name, const QVariantMap &properties)
{
    qCInfo(usageLog).noquote() << name << properties;
    ImproveReporter::shared().record(name, properties);
}

// The session's platform objects (X11 or Wayland), one of each: the counters the paste service
// registers must be the monitor's clipboard's.
PlatformBackend &platform()
{
    return PlatformBackend::shared();
}

QStringList systemPreferredLanguages()
{
    return QLocale::system().uiLanguages();
}

// The web service's host name, as the privacy texts name it; empty when none is configured
// (nothing is sent then). The same test of the root as the account's and the reporters'.
QString serviceHost() { return DiagnosticsConfig::endpoint(DiagnosticsConfig::serviceRoot(), QString()).host(); }

} // namespace

AppSettings &AppSettings::shared()
{
    static auto *settings = new AppSettings(DefaultsStore::shared(), XdgAutostart::shared());
    return *settings;
}

// Write failures, dropped copies and files set aside go to the tester log.
HistoryStore &HistoryStore::shared()
{
    static auto *store = new HistoryStore(Paths::historyDir(), AppSettings::shared(), Clock::system(), recordUsage,
                                          [](const QString &line) { DebugLog::log(line); });
    return *store;
}

// Where a copy becomes a capture, then an entry.
ClipboardMonitor &ClipboardMonitor::shared()
{
    static auto *monitor =
        new ClipboardMonitor(platform().clipboard(), platform().activeWindow(), AppSettings::shared(),
                             HistoryStore::shared(), recordUsage);
    return *monitor;
}

// Qt's own texts come from the "qtbase" catalogue (qt6-translations-l10n).
FrameworkLanguage &FrameworkLanguage::shared()
{
    static auto *framework = new FrameworkLanguage(
        {TranslationCatalog{QLibraryInfo::path(QLibraryInfo::TranslationsPath), QStringLiteral("qtbase")}},
        systemPreferredLanguages);
    return *framework;
}

L10n &L10n::shared()
{
    static auto *l10n = new L10n(DefaultsStore::shared(), FrameworkLanguage::shared(), systemPreferredLanguages);
    return *l10n;
}

GlobalHotKey &GlobalHotKey::shared()
{
    static auto *hotKey = [] {
        auto *created = new GlobalHotKey(platform().hotKeyBackend());
        // The desktop portal answers after the hot key was registered: when it has no shortcuts
        // after all, asking again reports the hot key unavailable.
        if (auto *portal = dynamic_cast<PortalHotKeyBackend *>(&platform().hotKeyBackend()))
            QObject::connect(portal, &PortalHotKeyBackend::availabilityKnown, created, [created](bool available) {
                if (!available)
                    created->registerAgain();
            });
        return created;
    }();
    return *hotKey;
}

// Where an entry becomes a paste.
PasteService &PasteService::shared()
{
    static auto *service = new PasteService(platform().clipboard(), platform().keyPoster(), platform().clipboardReader(),
                                            ClipboardMonitor::shared(), HistoryStore::shared(), AppSettings::shared());
    return *service;
}

HUDToast &HUDToast::shared()
{
    static auto *scheduler = new QtToastScheduler;
    static auto *toast = new HUDToast(*scheduler);
    return *toast;
}

PaletteController &PaletteController::shared()
{
    static auto *controller = [] {
        auto *palette = new PaletteController(HistoryStore::shared(), AppSettings::shared(), L10n::shared(),
                                              PasteService::shared(), HUDToast::shared(), platform().activeWindow(),
                                              AppIconCache::shared(), Clock::system(), recordUsage);
        palette->showPanel = X11Popup::show;
        return palette;
    }();
    return *controller;
}

// The companion bridge; each command it carries out is written to the tester log.
SkyletBridge &SkyletBridge::shared()
{
    static auto *bridge = [] {
        SkyletBridgeOptions options;
        options.log = [](const QString &line) { DebugLog::log(line); };
        return new SkyletBridge(
            HistoryStore::shared(), L10n::shared(), Clock::system(),
            [](const QString &trigger) { PaletteController::shared().show(trigger); },
            [](const ClipItem &item) { PaletteController::shared().confirm(item, false, false); }, options);
    }();
    return *bridge;
}

// The statistics queue is cleared when statistics are switched off; the worker thread
// re-reads the switch after each change (AppSettings emits before it writes).
ImproveReporter &ImproveReporter::shared()
{
    static auto *reporter = [] {
        auto *improve = new ImproveReporter(DefaultsStore::shared(), DiagnosticsConfig::serviceRoot(),
                                            Paths::diagnosticsDir(), Clock::system());
        AppSettings &settings = AppSettings::shared();
        settings.discardUnsentStatistics = [improve] { improve->clearQueue(); };
        QObject::connect(
            &settings, &AppSettings::changed, improve,
            [improve](const QString &key) {
                if (key == QLatin1String("improveDataSharing"))
                    improve->refreshEnabled();
            },
            Qt::QueuedConnection);
        return improve;
    }();
    return *reporter;
}

// Crash files of earlier runs are delivered by start().
CrashReporter &CrashReporter::shared()
{
    static auto *reporter =
        new CrashReporter(DefaultsStore::shared(), DiagnosticsConfig::serviceRoot(), Paths::diagnosticsDir());
    return *reporter;
}

// The tester log.
DebugLog &DebugLog::shared()
{
    static auto *log = new DebugLog(Paths::diagnosticsDir(), Clock::system());
    return *log;
}

TesterMode &TesterMode::shared()
{
    static auto *tester = [] {
        auto *systemLog = new OwnProcessLog(AppMessageLog::instance());
        TesterModeOptions options;
        options.exportUnifiedLog = [systemLog](const QDateTime &since) { return systemLog->exportSince(since); };
        return new TesterMode(DefaultsStore::shared(), DebugLog::shared(), Clock::system(),
                              DiagnosticsConfig::serviceRoot(), options);
    }();
    return *tester;
}

// The tray icon over the shared services (the application delegate builds it).
#include "app/StatusItemController.h"

StatusItemController::StatusItemController(AppSettings &settings, QObject *parent)
    : StatusItemController(HistoryStore::shared(), settings, L10n::shared(), PaletteController::shared(),
                           ClearHistoryDialog::execute, parent)
{
}

// The appcast updater with its own dialog; the feed is the build's BuildInfo::feedURL.
#include "app/UpdateDialog.h"
#include "app/UpdaterController.h"
#include "BuildInfo.h"

UpdaterController &UpdaterController::shared()
{
    static auto *dialog = new UpdateDialog(L10n::shared());
    static auto *updater = new UpdaterController(
        DefaultsStore::shared(), Clock::system(),
        {QUrl(QString::fromUtf8(BuildInfo::feedURL)), QString::fromUtf8(BuildInfo::buildNumber),
         QString::fromUtf8(BuildInfo::version)},
        *dialog);
    return *updater;
}

// The keychain is the Secret Service (QtKeychain), service "com.norvane.Stashwell".
// The account and the sync share one HTTP session; the web-service root is
// BuildInfo::serviceURL or $STASHWELL_SERVICE_URL (empty: sign-in is not available).
#include "cloud/CloudAccount.h"
#include "cloud/CloudSync.h"
#include "cloud/KeychainStore.h"
#include "cloud/TokenNoteKeychain.h"

#include <QDesktopServices>
#include <QNetworkAccessManager>

namespace {

QNetworkAccessManager &cloudNetwork()
{
    static auto *network = new QNetworkAccessManager;
    return *network;
}

} // namespace

// A signed-out user's Stashwell never connects to the Secret Service (TokenNoteKeychain).
Keychain &KeychainStore::shared()
{
    static auto *store = new KeychainStore;
    static auto *keychain =
        new TokenNoteKeychain(*store, DefaultsStore::shared(), !serviceHost().isEmpty());
    return *keychain;
}

CloudAccount &CloudAccount::shared()
{
    static auto *account = new CloudAccount(KeychainStore::shared(), cloudNetwork(), DiagnosticsConfig::serviceRoot(),
                                            [](const QUrl &url) { return QDesktopServices::openUrl(url); });
    return *account;
}

CloudSync &CloudSync::shared()
{
    static auto *sync = new CloudSync(AppSettings::shared(), CloudAccount::shared(), KeychainStore::shared(),
                                      DefaultsStore::shared(), cloudNetwork(), DiagnosticsConfig::serviceRoot());
    return *sync;
}


// The settings window and the first-run guide.
#include "app/ClearHistoryDialog.h"
#include "onboarding/OnboardingWindowController.h"
#include "platform/DesktopEntries.h"
#include "settings/AccessibilityPermission.h"
#include "settings/AppChooserDialog.h"
#include "settings/SettingsAccount.h"
#include "settings/SettingsRouter.h"
#include "settings/SettingsWindowController.h"

// One per process, read by the settings and the guide. "Trusted": the session can type keys
// (XTest on X11, a virtual keyboard on Wayland).
AccessibilityPermission &AccessibilityPermission::shared()
{
    static auto *permission = new DesktopAccessibilityPermission(platform().keyPoster());
    return *permission;
}

SettingsWindowController &SettingsWindowController::shared()
{
    static auto *controller = [] {
        auto *account = new CloudSettingsAccount(CloudAccount::shared(), CloudSync::shared());
        std::optional<SettingsUpdater> updater;
        if (UpdaterController::hasFeed())
            updater = SettingsUpdater{
                [] { UpdaterController::shared().checkForUpdates(); },
                [] { return UpdaterController::shared().automaticallyChecksForUpdates(); },
                [](bool on) { UpdaterController::shared().setAutomaticallyChecksForUpdates(on); }};
        SettingsServices services{
            AppSettings::shared(), L10n::shared(), HistoryStore::shared(), DesktopEntries::shared(),
            AppIconCache::shared(), AccessibilityPermission::shared(), *account, updater,
            [] { ClearHistoryDialog(HistoryStore::shared(), L10n::shared()).present(); },
            [](QWidget *parent) {
                return AppChooserDialog::choose(DesktopEntries::shared(), AppIconCache::shared(), L10n::shared(), parent);
            },
            [] { TesterMode::shared().registerClick(); }, PollTimers::qt(), QString::fromUtf8(BuildInfo::version),
            serviceHost()};
        services.hotKey = &GlobalHotKey::shared();
        services.captureLimited = &AppDelegate::isCaptureLimited;
        return new SettingsWindowController(services, SettingsRouter::shared());
    }();
    return *controller;
}

OnboardingWindowController &OnboardingWindowController::shared()
{
    static auto *guide =
        new OnboardingWindowController(AppSettings::shared(), L10n::shared(), AccessibilityPermission::shared(), serviceHost());
    return *guide;
}

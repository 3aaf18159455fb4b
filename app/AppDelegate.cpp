#include "app/AppDelegate.h"

#include "app/AppSettings.h"
#include "app/QuitShortcut.h"
#include "app/StatusItemController.h"
#include "app/UpdaterController.h"
#include "bridge/SkyletBridge.h"
#include "capture/ClipboardMonitor.h"
#include "capture/HistoryStore.h"
#include "cloud/CloudAccount.h"
#include "cloud/CloudSync.h"
#include "cloud/KeychainStore.h"
#include "diagnostics/CrashReporter.h"
#include "diagnostics/ImproveReporter.h"
#include "diagnostics/TesterMode.h"
#include "l10n/L10n.h"
#include "onboarding/OnboardingWindowController.h"
#include "palette/PaletteController.h"
#include "settings/SettingsWindowController.h"
#include "platform/DefaultsStore.h"
#include "platform/GlobalHotKey.h"

#include <QCoreApplication>
#include <QJsonArray>

AppDelegate::AppDelegate(AppSettings &settings, QObject *parent)
    : QObject(parent)
    , m_settings(settings)
{
}

AppDelegate::~AppDelegate() = default;

void AppDelegate::applyLanguageOverride(DefaultsStore &defaults)
{
    if (const auto code = defaults.stringValue(QStringLiteral("languageCode")))
        defaults.set(QStringLiteral("AppleLanguages"), QJsonArray{*code});
    else
        defaults.remove(QStringLiteral("AppleLanguages"));
}

void AppDelegate::applicationDidFinishLaunching()
{
    L10n::shared().bootstrap();
    installEditMenu();
    m_statusItem = new StatusItemController(m_settings, this);
    m_statusItem->onShowSettings = [] { SettingsWindowController::shared().show(std::nullopt); };
    m_statusItem->onShowOnboarding = [] { OnboardingWindowController::shared().show(false); };
    if (UpdaterController::hasFeed())
        m_statusItem->onCheckForUpdates = [] { UpdaterController::shared().checkForUpdates(); };
    ClipboardMonitor::shared().start();

    GlobalHotKey &hotKey = GlobalHotKey::shared();
    hotKey.onTrigger = [] { PaletteController::shared().toggle(QStringLiteral("hotkey")); };
    hotKey.registerHotKey(GlobalHotKey::defaultKey, GlobalHotKey::defaultModifiers);

    OnboardingWindowController::shared().showAtLaunchIfDue();
    if (UpdaterController::hasFeed())
        UpdaterController::shared().start();

    SkyletBridge::shared().start();
    CloudAccount::shared().start();
    CloudSync::shared().start();

    CrashReporter::shared().start();
    ImproveReporter &improve = ImproveReporter::shared();
    improve.tokenProvider = [] { return KeychainStore::shared().get(KeychainItem::token); };
    improve.start();
    improve.record(QStringLiteral("app.env"), m_settings.environmentProps());
    TesterMode::shared().start();

    // Hourly prune; the store also prunes once when it loads.
    m_pruneTimer.setInterval(3600 * 1000);
    connect(&m_pruneTimer, &QTimer::timeout, this, [] { HistoryStore::shared().prune(); });
    m_pruneTimer.start();
}

void AppDelegate::installEditMenu()
{
    new QuitShortcut(*QCoreApplication::instance(), [] { QCoreApplication::quit(); });
}

void AppDelegate::applicationWillTerminate()
{
    HistoryStore &store = HistoryStore::shared();
    if (m_settings.clearOnQuit())
        store.clear(true);
    store.saveNow();
    ImproveReporter::shared().flushNow(true); // waits at most 2 seconds
}

void AppDelegate::handleURL(const QUrl &url)
{
    if (url.isValid() && CloudAccount::shared().handleCallback(url))
        SettingsWindowController::shared().show(SettingsTab::account);
}

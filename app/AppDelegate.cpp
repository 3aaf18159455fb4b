#include "app/AppDelegate.h"

#include "app/AppSettings.h"
#include "app/StatusItemController.h"
#include "bridge/SkyletBridge.h"
#include "capture/ClipboardMonitor.h"
#include "capture/HistoryStore.h"
#include "l10n/L10n.h"
#include "palette/PaletteController.h"
#include "platform/GlobalHotKey.h"
#include "platform/DefaultsStore.h"

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
    m_statusItem = new StatusItemController(m_settings, this);
    ClipboardMonitor::shared().start();

    GlobalHotKey &hotKey = GlobalHotKey::shared();
    hotKey.onTrigger = [] { PaletteController::shared().toggle(QStringLiteral("hotkey")); };
    hotKey.registerHotKey(GlobalHotKey::defaultKey, GlobalHotKey::defaultModifiers);

    SkyletBridge::shared().start();

    // Hourly prune; the store also prunes once when it loads.
    m_pruneTimer.setInterval(3600 * 1000);
    connect(&m_pruneTimer, &QTimer::timeout, this, [] { HistoryStore::shared().prune(); });
    m_pruneTimer.start();
}

void AppDelegate::applicationWillTerminate()
{
    HistoryStore &store = HistoryStore::shared();
    if (m_settings.clearOnQuit())
        store.clear(true);
    store.saveNow();
}

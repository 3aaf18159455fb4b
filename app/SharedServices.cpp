// The composition root: every service's process-wide instance, created on first use with its
// real collaborators and never destroyed (the spec's rule; it also keeps widgets from being
// torn down after the application object). Tests build the same classes with fakes instead.
#include "app/AppSettings.h"
#include "bridge/SkyletBridge.h"
#include "capture/ClipboardMonitor.h"
#include "capture/HistoryStore.h"
#include "common/Clock.h"
#include "common/Paths.h"
#include "l10n/FrameworkLanguage.h"
#include "l10n/L10n.h"
#include "palette/AppIconCache.h"
#include "palette/PaletteController.h"
#include "paste/HUDToast.h"
#include "paste/PasteService.h"
#include "platform/DefaultsStore.h"
#include "platform/GlobalHotKey.h"
#include "platform/LoginItem.h"
#include "platform/SystemClipboard.h"
#include "platform/X11ActiveWindow.h"
#include "platform/X11ClipboardSnapshotReader.h"
#include "platform/X11HotKeyBackend.h"
#include "platform/X11KeyPoster.h"

#include <QLibraryInfo>
#include <QLocale>
#include <QLoggingCategory>

namespace {

Q_LOGGING_CATEGORY(usageLog, "stashwell.usage", QtWarningMsg)
Q_LOGGING_CATEGORY(bridgeLog, "stashwell.bridge", QtWarningMsg)

// Usage events; the improvement reporter (Part 7.1) takes them over when it exists.
void recordUsage(const QString &name, const QVariantMap &properties)
{
    qCInfo(usageLog).noquote() << name << properties;
}

// One clipboard for all: the counters the paste service registers must be the monitor's.
SystemClipboard &clipboard()
{
    static auto *instance = new SystemClipboard;
    return *instance;
}

X11ActiveWindow &activeWindow()
{
    static X11ActiveWindow instance;
    return instance;
}

QStringList systemPreferredLanguages()
{
    return QLocale::system().uiLanguages();
}

} // namespace

AppSettings &AppSettings::shared()
{
    static auto *settings = new AppSettings(DefaultsStore::shared(), XdgAutostart::shared());
    return *settings;
}

HistoryStore &HistoryStore::shared()
{
    static auto *store = new HistoryStore(Paths::historyDir(), AppSettings::shared(), Clock::system(), recordUsage);
    return *store;
}

// Part 1.2: where a copy becomes a capture, then an entry.
ClipboardMonitor &ClipboardMonitor::shared()
{
    static auto *monitor =
        new ClipboardMonitor(clipboard(), activeWindow(), AppSettings::shared(), HistoryStore::shared(), recordUsage);
    return *monitor;
}

// Part 2.5: Qt's own texts come from the "qtbase" catalogue (qt6-translations-l10n).
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
    static auto *backend = new X11HotKeyBackend;
    static auto *hotKey = new GlobalHotKey(*backend);
    return *hotKey;
}

// Part 4.1: where an entry becomes a paste.
PasteService &PasteService::shared()
{
    static auto *keys = new X11KeyPoster;
    static auto *reader = new X11ClipboardSnapshotReader;
    static auto *service = new PasteService(clipboard(), *keys, *reader, ClipboardMonitor::shared(),
                                            HistoryStore::shared(), AppSettings::shared());
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
    static auto *controller = new PaletteController(HistoryStore::shared(), AppSettings::shared(), L10n::shared(),
                                                    PasteService::shared(), HUDToast::shared(), activeWindow(),
                                                    AppIconCache::shared(), Clock::system(), recordUsage);
    return *controller;
}

// Part 5.2: its command lines go to "stashwell.bridge" until the debug log (Part 7.3) exists.
SkyletBridge &SkyletBridge::shared()
{
    static auto *bridge = [] {
        SkyletBridgeOptions options;
        options.log = [](const QString &line) { qCInfo(bridgeLog).noquote() << line; };
        return new SkyletBridge(
            HistoryStore::shared(), L10n::shared(), Clock::system(),
            [](const QString &trigger) { PaletteController::shared().show(trigger); },
            [](const ClipItem &item) { PaletteController::shared().confirm(item, false, false); }, options);
    }();
    return *bridge;
}

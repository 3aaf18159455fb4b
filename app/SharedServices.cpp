// The composition root: every service's process-wide instance, created on first use
// with its real collaborators. Tests build the same classes with fakes instead.
#include "app/AppSettings.h"
#include "capture/ClipboardMonitor.h"
#include "capture/HistoryStore.h"
#include "common/Clock.h"
#include "common/Paths.h"
#include "platform/DefaultsStore.h"
#include "platform/LoginItem.h"
#include "platform/SystemClipboard.h"
#include "platform/X11ActiveWindow.h"

#include <QLoggingCategory>

namespace {

Q_LOGGING_CATEGORY(usageLog, "stashwell.usage", QtWarningMsg)

// Usage events; the improvement reporter (Part 7.1) takes them over when it exists.
void recordUsage(const QString &name, const QVariantMap &properties)
{
    qCInfo(usageLog).noquote() << name << properties;
}

} // namespace

AppSettings &AppSettings::shared()
{
    static AppSettings settings(DefaultsStore::shared(), XdgAutostart::shared());
    return settings;
}

HistoryStore &HistoryStore::shared()
{
    static HistoryStore store(Paths::historyDir(), AppSettings::shared(), Clock::system(), recordUsage);
    return store;
}

ClipboardMonitor &ClipboardMonitor::shared()
{
    static SystemClipboard clipboard;
    static X11ActiveWindow activeWindow;
    static ClipboardMonitor monitor(clipboard, activeWindow, AppSettings::shared(), HistoryStore::shared(),
                                    recordUsage);
    return monitor;
}

// Parts 2.3, 4.1 and 4.2: the global hot key, the paste service and the notice.
#include "paste/HUDToast.h"
#include "paste/PasteService.h"
#include "platform/GlobalHotKey.h"
#include "platform/X11ClipboardSnapshotReader.h"
#include "platform/X11HotKeyBackend.h"
#include "platform/X11KeyPoster.h"

GlobalHotKey &GlobalHotKey::shared()
{
    static X11HotKeyBackend backend;
    static GlobalHotKey hotKey(backend);
    return hotKey;
}

PasteService &PasteService::shared()
{
    // FIXME(lead): this must be the very SystemClipboard that ClipboardMonitor::shared() polls
    // (a second one counts changes from its own creation, so the counters registered with the
    // monitor would be off by the copies made in between); share one instance between both.
    static SystemClipboard clipboard;
    static X11KeyPoster keys;
    static X11ClipboardSnapshotReader reader;
    static PasteService service(clipboard, keys, reader, ClipboardMonitor::shared(), HistoryStore::shared(),
                                AppSettings::shared());
    return service;
}

HUDToast &HUDToast::shared()
{
    static QtToastScheduler scheduler;
    static HUDToast toast(scheduler);
    return toast;
}

// Part 2.5: the interface language. Qt's own texts come from the "qtbase" catalogue
// (Debian package qt6-translations-l10n); the preferred languages are the system's.
#include "l10n/FrameworkLanguage.h"
#include "l10n/L10n.h"

#include <QLibraryInfo>
#include <QLocale>

namespace {
QStringList systemPreferredLanguages()
{
    return QLocale::system().uiLanguages();
}
} // namespace

FrameworkLanguage &FrameworkLanguage::shared()
{
    static FrameworkLanguage framework(
        {TranslationCatalog{QLibraryInfo::path(QLibraryInfo::TranslationsPath), QStringLiteral("qtbase")}},
        systemPreferredLanguages);
    return framework;
}

L10n &L10n::shared()
{
    static L10n l10n(DefaultsStore::shared(), FrameworkLanguage::shared(), systemPreferredLanguages);
    return l10n;
}

// Part 3.2: the palette, the single way to paste an entry.
#include "palette/AppIconCache.h"
#include "palette/PaletteController.h"

PaletteController &PaletteController::shared()
{
    static X11ActiveWindow activeWindow;
    static PaletteController controller(HistoryStore::shared(), AppSettings::shared(), L10n::shared(),
                                        PasteService::shared(), HUDToast::shared(), activeWindow,
                                        AppIconCache::shared(), Clock::system(), recordUsage);
    return controller;
}

// Part 5.2: the companion bridge. The palette seams are wired to PaletteController (the lead
// wires them; confirm is the picker's own confirmation, without overrides). Its command lines
// go to the "stashwell.bridge" category until DebugLog (Part 7.3) takes them over.
#include "bridge/SkyletBridge.h"

namespace {
Q_LOGGING_CATEGORY(bridgeLog, "stashwell.bridge", QtWarningMsg)
} // namespace

SkyletBridge &SkyletBridge::shared()
{
    static SkyletBridge bridge(
        HistoryStore::shared(), L10n::shared(), Clock::system(),
        [](const QString &trigger) { PaletteController::shared().show(trigger); },
        [](const ClipItem &item) { PaletteController::shared().confirm(item, false, false); },
        SkyletBridgeOptions{.log = [](const QString &line) { qCInfo(bridgeLog).noquote() << line; }});
    return bridge;
}

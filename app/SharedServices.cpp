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

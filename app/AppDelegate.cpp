// SPDX-License-Identifier: GPL-3.0-or-later
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
#include "settings/HotKeyRecorder.h"
#include "settings/SettingsWindowController.h"
#include "platform/DefaultsStore.h"
#include "platform/GlobalHotKey.h"
#include "platform/PlatformBackend.h"

#include <QApplication>
#include <QJsonArray>
#include <QPushButton>
#include <QSystemTrayIcon>

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

bool AppDelegate::isGnomeOnWayland()
{
    return qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(QLatin1Char(':')).contains(QLatin1String("GNOME"))
        && !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
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
    // The notice that only says there is no tray goes when one comes (a taken hot key adds a button).
    m_statusItem->onTrayAppeared = [this] {
        if (m_notice && m_notice->buttons().size() == 1)
            m_notice->close();
    };
    ClipboardMonitor::shared().start();
    reportMissingCapture();
    // Without a tray nothing shows that Stashwell runs: say how to open it.
    if (!QSystemTrayIcon::isSystemTrayAvailable())
        showNotice(L10n::shared().format(QStringLiteral("notice.noTray"),
                                         GlobalHotKey::displayText(m_settings.hotKeyCombination())),
                   false);
    startHotKey();

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

void AppDelegate::startHotKey()
{
    GlobalHotKey &hotKey = GlobalHotKey::shared();
    hotKey.onTrigger = [] { PaletteController::shared().toggle(QStringLiteral("hotkey")); };
    connect(&hotKey, &GlobalHotKey::statusChanged, this, &AppDelegate::hotKeyStatusChanged);
    connect(&m_settings, &AppSettings::changed, this, [this](const QString &key) {
        if (key == QLatin1String("hotKey"))
            GlobalHotKey::shared().registerHotKey(m_settings.hotKeyCombination());
    });
    hotKey.registerHotKey(m_settings.hotKeyCombination());
}

void AppDelegate::hotKeyStatusChanged()
{
    const GlobalHotKey &hotKey = GlobalHotKey::shared();
    // On Wayland, where no portal binds it, the desktop's own shortcut has to run `stashwell toggle`.
    if (hotKey.status() == GlobalHotKey::Status::unavailable && !m_hotKeyAdviceShown
        && PlatformBackend::shared().kind() == PlatformBackend::Kind::wayland) {
        m_hotKeyAdviceShown = true;
        showNotice(L10n::shared().string(QStringLiteral("gen.hotkeyWayland")), false);
        return;
    }
    if (hotKey.status() != GlobalHotKey::Status::taken)
        return;
    // The General tab's row already says so to someone choosing a key there.
    if (const QWidget *front = QApplication::activeWindow(); front && front->findChild<HotKeyRecorder *>())
        return;
    showNotice(L10n::shared().format(QStringLiteral("gen.hotkeyTaken"), GlobalHotKey::displayText(hotKey.combination())),
               true);
}

void AppDelegate::reportMissingCapture()
{
    PlatformBackend &platform = PlatformBackend::shared();
    const auto report = [this](bool available) {
        if (!available)
            showNotice(L10n::shared().string(QStringLiteral("perm.captureMissing")), false);
    };
    if (isCaptureLimited())
        report(false);
    else if (!platform.canCapture())
        connect(&platform, &PlatformBackend::captureAvailabilityKnown, this, report, Qt::SingleShotConnection);
}

bool AppDelegate::isCaptureLimited()
{
    const PlatformBackend &platform = PlatformBackend::shared();
    return platform.canCapture() == false || (isGnomeOnWayland() && platform.kind() == PlatformBackend::Kind::x11);
}

void AppDelegate::chooseAnotherHotKey()
{
    SettingsWindowController &settings = SettingsWindowController::shared();
    settings.show(SettingsTab::general);
    if (auto *recorder = settings.window()->findChild<HotKeyRecorder *>())
        recorder->startRecordingWhenActive();
}

void AppDelegate::showNotice(const QString &text, bool offerChoice)
{
    if (m_notice && m_notice->isVisible()) {
        m_notice->setText(m_notice->text() + QStringLiteral("\n\n") + text);
    } else {
        m_notice = new QMessageBox(QMessageBox::Information, QStringLiteral("Stashwell"), text);
        connect(m_notice, &QMessageBox::finished, m_notice, &QObject::deleteLater);
        m_notice->setAttribute(Qt::WA_ShowWithoutActivating);
        m_notice->setWindowModality(Qt::NonModal);
        m_notice->setObjectName(QStringLiteral("notice"));
        m_notice->setWindowRole(QStringLiteral("notice")); // how the desktop tests tell it from the palette
        m_notice->addButton(L10n::shared().string(QStringLiteral("common.ok")), QMessageBox::AcceptRole);
    }
    if (offerChoice && m_notice->buttons().size() == 1) {
        QPushButton *choose =
            m_notice->addButton(L10n::shared().string(QStringLiteral("gen.hotkeyChoose")), QMessageBox::ActionRole);
        connect(choose, &QPushButton::clicked, this, &AppDelegate::chooseAnotherHotKey, Qt::QueuedConnection);
        m_notice->setDefaultButton(choose);
    }
    m_notice->show();
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

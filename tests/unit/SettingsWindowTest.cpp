// Part 8.1: the settings window and its tabs, driven offscreen over a real store and settings.
#include "fakes/CloudFakes.h"
#include "fakes/SettingsFakes.h"
#include "cloud/CloudAccount.h"
#include "cloud/CloudSync.h"
#include "capture/SecurityPolicy.h"
#include "settings/PillControls.h"
#include "settings/SettingsRouter.h"
#include "settings/SettingsTabs.h"
#include "settings/SettingsView.h"
#include "settings/SettingsWindowController.h"

#include <QFile>
#include <QNetworkAccessManager>
#include <QLabel>
#include <QTest>
#include <QToolButton>

namespace {

void writeDesktopEntry(const QString &dir, const QString &id, const QString &name)
{
    QDir().mkpath(dir);
    QFile file(dir + QLatin1Char('/') + id + QStringLiteral(".desktop"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QStringLiteral("[Desktop Entry]\nType=Application\nName=%1\nExec=true\n").arg(name).toUtf8());
}

} // namespace

class SettingsWindowTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_xdg;
    std::unique_ptr<SettingsFixture> f;
    std::unique_ptr<SettingsRouter> router;
    std::unique_ptr<SettingsWindowController> controller;

    void open(std::optional<SettingsTab> tab, std::optional<SettingsUpdater> updater = std::nullopt)
    {
        controller = std::make_unique<SettingsWindowController>(f->services(std::move(updater)), *router);
        controller->show(tab);
        QVERIFY(controller->window());
        QVERIFY(QTest::qWaitForWindowExposed(controller->window()));
    }
    SettingsTabPage *page() const { return controller->view()->page(); }
    template <typename T> T *find(const QString &name) const { return page()->findChild<T *>(name); }

private slots:
    void initTestCase()
    {
        // Installed applications for the excluded-apps rows.
        qputenv("XDG_DATA_HOME", (m_xdg.path() + "/home").toUtf8());
        qputenv("XDG_DATA_DIRS", (m_xdg.path() + "/share").toUtf8());
        writeDesktopEntry(m_xdg.path() + "/share/applications", "org.keepassxc.KeePassXC", "KeePassXC");
        writeDesktopEntry(m_xdg.path() + "/share/applications", "org.gnome.Zenity", "Zenity");
    }

    void init()
    {
        f = std::make_unique<SettingsFixture>();
        router = std::make_unique<SettingsRouter>();
    }

    void cleanup()
    {
        controller.reset();
        if (QWidget *w = QApplication::activeWindow())
            w->close();
        QTest::qWait(0);
        router.reset();
        f.reset();
    }

    void tabsHaveTheSpecOrderKeysAndGradients()
    {
        QStringList raws;
        for (SettingsTab tab : SettingsTabs::allCases())
            raws << SettingsTabs::rawValue(tab);
        QCOMPARE(raws, QStringList({"general", "history", "privacy", "permissions", "account", "about"}));
        QCOMPARE(SettingsTabs::titleKey(SettingsTab::privacy), QStringLiteral("tab.privacy"));
        QCOMPARE(SettingsTabs::subtitleKey(SettingsTab::about), QStringLiteral("sub.about"));
        QCOMPARE(SettingsTabs::symbol(SettingsTab::account), QStringLiteral("person.crop.circle.fill"));
        QCOMPARE(SettingsTabs::gradient(SettingsTab::privacy).first, QColor(0xFF6961));
        QCOMPARE(SettingsTabs::gradient(SettingsTab::about).second, QColor(0x5E5CE6));
        QCOMPARE(SettingsTabs::fromRawValue("account"), std::optional<SettingsTab>(SettingsTab::account));
        QCOMPARE(SettingsTabs::fromRawValue("Account"), std::nullopt);
    }

    void windowHasTheSpecSizesAndSidebar()
    {
        open(std::nullopt);
        QCOMPARE(controller->window()->size(), QSize(760, 520));
        QCOMPARE(controller->window()->minimumSize(), QSize(720, 480));
        QCOMPARE(controller->view()->sidebarRows().size(), 6);
        QCOMPARE(controller->view()->findChild<QWidget *>("sidebar")->width(), 220);
        QCOMPARE(controller->view()->shownTab(), SettingsTab::general);
        QCOMPARE(controller->view()->findChild<QLabel *>("tabTitle")->text(), QStringLiteral("General"));
    }

    // Edge case: show(permissions) while open on another tab switches without a second window.
    void showWithTabWhileOpenSwitchesTabInTheSameWindow()
    {
        open(SettingsTab::history);
        QWidget *first = controller->window();
        QCOMPARE(controller->view()->shownTab(), SettingsTab::history);
        controller->show(SettingsTab::permissions);
        QCOMPARE(controller->window(), first);
        QCOMPARE(controller->view()->shownTab(), SettingsTab::permissions);
        QCOMPARE(router->selectedTab(), SettingsTab::permissions);
        QCOMPARE(controller->view()->findChild<QLabel *>("tabTitle")->text(), QStringLiteral("Permissions"));
        int settingsWindows = 0;
        for (QWidget *w : QApplication::topLevelWidgets())
            settingsWindows += w->objectName() == "settingsWindow" && w->isVisible() ? 1 : 0;
        QCOMPARE(settingsWindows, 1);
    }

    void sidebarClickSelectsTabAndSelectionSurvivesReopening()
    {
        open(std::nullopt);
        SidebarRow *privacy = controller->view()->sidebarRows()[2];
        QTest::mouseClick(privacy, Qt::LeftButton);
        QCOMPARE(router->selectedTab(), SettingsTab::privacy);
        QVERIFY(privacy->isSelected());
        QPointer<QWidget> closed = controller->window();
        controller->window()->close();
        QVERIFY(!controller->window()); // dropped at once
        QTRY_VERIFY(!closed);           // and released
        controller->show();
        QVERIFY(controller->window());
        QCOMPARE(controller->view()->shownTab(), SettingsTab::privacy);
    }

    void iconClicksReachTheTesterSeam()
    {
        open(std::nullopt);
        for (int i = 0; i < 8; ++i)
            QTest::mouseClick(controller->view()->icon(), Qt::LeftButton);
        QCOMPARE(f->iconClicks, 8);
    }

    // Edge case: choosing 100 items while the history holds 300 unpinned entries prunes at once.
    void choosingHundredItemsPrunesAtOnce()
    {
        for (int i = 0; i < 300; ++i) {
            f->store->ingest(StoreFixture::text(QStringLiteral("entry %1").arg(i)));
            f->clock.advance(10);
        }
        QCOMPARE(f->store->items().size(), 300);
        open(SettingsTab::history);
        auto *limit = find<MSDropdown>("historyLimit");
        QVERIFY(limit);
        QCOMPARE(limit->text(), QStringLiteral("500 items"));
        QCOMPARE(limit->options().size(), 4);
        limit->choose(qint64(100));
        QCOMPARE(f->settings.historyLimit(), 100);
        QCOMPARE(f->store->items().size(), 100);
        QCOMPARE(f->store->items().first().text, QStringLiteral("entry 299")); // the newest stay
    }

    void choosingRetentionPrunesAtOnce()
    {
        f->store->ingest(StoreFixture::text(QStringLiteral("old")));
        f->clock.advance(3 * 86400);
        f->store->ingest(StoreFixture::text(QStringLiteral("new")));
        open(SettingsTab::history);
        auto *retention = find<MSDropdown>("historyRetentionDays");
        QStringList labels;
        for (const auto &option : retention->options())
            labels << option.second;
        QCOMPARE(labels, QStringList({"Forever", "1 day", "7 days", "30 days", "90 days"}));
        retention->choose(qint64(1));
        QCOMPARE(f->settings.historyRetentionDays(), 1);
        QCOMPARE(f->store->items().size(), 1);
        QCOMPARE(f->store->items().first().text, QStringLiteral("new"));
    }

    // Edge case: with copyInsteadOfPaste on, the restore row cannot be toggled and says why.
    void copyOnlyDisablesTheRestoreRow()
    {
        open(SettingsTab::history);
        auto *row = find<SettingsRow>("restoreRow");
        QVERIFY(row->isEnabled());
        QCOMPARE(row->subtitleLabel()->text(), f->l10n.string("hist.restoreSub"));
        QTest::mouseClick(find<PillSwitch>("copyInsteadOfPaste"), Qt::LeftButton);
        QVERIFY(f->settings.copyInsteadOfPaste());
        QVERIFY(!row->isEnabled());
        QCOMPARE(row->subtitleLabel()->text(), f->l10n.string("hist.restoreDisabledSub"));
        auto *restore = find<PillSwitch>("restoreClipboardAfterPaste");
        QTest::mouseClick(restore, Qt::LeftButton);
        QVERIFY(!f->settings.restoreClipboardAfterPaste());
        QVERIFY(!restore->isChecked());

        f->settings.setCopyInsteadOfPaste(false); // e.g. from sync: the row follows
        QVERIFY(row->isEnabled());
        QTest::mouseClick(restore, Qt::LeftButton);
        QVERIFY(f->settings.restoreClipboardAfterPaste());
    }

    void historySwitchesAndClearButton()
    {
        open(SettingsTab::history);
        QTest::mouseClick(find<PillSwitch>("moveToTopOnPaste"), Qt::LeftButton);
        QVERIFY(!f->settings.moveToTopOnPaste());
        QTest::mouseClick(find<PillSwitch>("alwaysPlainText"), Qt::LeftButton);
        QVERIFY(f->settings.alwaysPlainText());
        QTest::mouseClick(find<PillSwitch>("clearOnQuit"), Qt::LeftButton);
        QVERIFY(f->settings.clearOnQuit());
        QTest::mouseClick(find<QAbstractButton>("clearHistory"), Qt::LeftButton);
        QCOMPARE(f->clearRequests, 1);
    }

    void generalTabLanguageAndLogin()
    {
        open(SettingsTab::general);
        QCOMPARE(page()->findChild<KeyComboChips *>()->parts(), QStringList({"Super", "Shift", "V"}));
        QTest::mouseClick(find<PillSwitch>("launchAtLogin"), Qt::LeftButton);
        QVERIFY(!f->settings.launchAtLogin());
        QCOMPARE(f->login.unregistered, 1);

        auto *language = find<MSDropdown>("languageCode");
        QCOMPARE(language->options().size(), 15);
        QCOMPARE(language->options().first(), std::make_pair(QVariant(QString()), QStringLiteral("System")));
        QCOMPARE(language->options()[6].second, QStringLiteral("Deutsch"));
        language->choose(QStringLiteral("de"));
        QCOMPARE(f->settings.languageCode(), std::optional<QString>("de"));
        QCOMPARE(f->l10n.language(), AppLanguage::de);
        QTRY_COMPARE(controller->view()->findChild<QLabel *>("tabTitle")->text(), QStringLiteral("Allgemein"));
        QCOMPARE(controller->window()->windowTitle(), f->l10n.string("settings.title"));

        find<MSDropdown>("languageCode")->choose(QString()); // "System": no stored value
        QCOMPARE(f->settings.languageCode(), std::nullopt);
        QVERIFY(!f->defaults.contains("languageCode"));
        QCOMPARE(f->l10n.language(), AppLanguage::en);
    }

    void privacyBuiltInListAndWarning()
    {
        open(SettingsTab::privacy);
        auto *list = find<QLabel>("builtInList");
        QVERIFY(!list->isVisible());
        QTest::mouseClick(find<QToolButton>("builtInShow"), Qt::LeftButton);
        QVERIFY(list->isVisible());
        QCOMPARE(list->text(), SecurityPolicy::builtInExclusions().join("  ·  "));
        QTest::mouseClick(find<QToolButton>("builtInShow"), Qt::LeftButton);
        QVERIFY(!list->isVisible());

        auto *warning = find<QLabel>("builtInWarning");
        QVERIFY(!warning->isVisible());
        QTest::mouseClick(find<PillSwitch>("builtInExclusionsEnabled"), Qt::LeftButton);
        QVERIFY(!f->settings.builtInExclusionsEnabled());
        QVERIFY(warning->isVisible());
        QCOMPARE(warning->text(), f->l10n.string("priv.builtInWarn"));

        QTest::mouseClick(find<PillSwitch>("monitoringPaused"), Qt::LeftButton);
        QVERIFY(f->settings.monitoringPaused());
    }

    // Edge case: adding the same application twice lists it once.
    void addingTheSameAppTwiceListsItOnce()
    {
        open(SettingsTab::privacy);
        QVERIFY(find<QLabel>("excludedEmpty"));
        QCOMPARE(find<QLabel>("excludedEmpty")->text(), f->l10n.string("priv.empty"));
        f->chooserAnswers = {{"org.keepassxc.KeePassXC"}, {"org.keepassxc.KeePassXC", "com.example.Gone", ""}};
        QTest::mouseClick(find<QAbstractButton>("addApp"), Qt::LeftButton);
        QTest::mouseClick(find<QAbstractButton>("addApp"), Qt::LeftButton);
        QCOMPARE(f->settings.excludedBundleIDs(), QStringList({"org.keepassxc.KeePassXC", "com.example.Gone"}));
        QTest::qWait(0); // the old rows go on the next turn
        const QList<SettingsRow *> rows = page()->findChildren<SettingsRow *>("excludedApp");
        QCOMPARE(rows.size(), 2);
        QCOMPARE(rows[0]->titleLabel()->text(), QStringLiteral("KeePassXC")); // the desktop entry's name
        QCOMPARE(rows[0]->property("bundleID").toString(), QStringLiteral("org.keepassxc.KeePassXC"));
        QCOMPARE(rows[1]->titleLabel()->text(), QStringLiteral("com.example.Gone")); // not installed
        QVERIFY(!find<QLabel>("excludedEmpty") || !find<QLabel>("excludedEmpty")->isVisible());

        QTest::mouseClick(rows[0]->control(), Qt::LeftButton); // remove
        QCOMPARE(f->settings.excludedBundleIDs(), QStringList({"com.example.Gone"}));
    }

    void cancellingTheChooserChangesNothing()
    {
        f->settings.setExcludedBundleIDs({"org.gnome.Zenity"});
        open(SettingsTab::privacy);
        f->chooserAnswers = {{}};
        QTest::mouseClick(find<QAbstractButton>("addApp"), Qt::LeftButton);
        QCOMPARE(f->settings.excludedBundleIDs(), QStringList({"org.gnome.Zenity"}));
    }

    // Edge case: the first grant press prompts, the second opens the system settings.
    void pressingGrantTwicePromptsThenOpensSettings()
    {
        open(SettingsTab::permissions);
        auto *grant = find<QAbstractButton>("grantButton");
        QVERIFY(grant->isVisible());
        QVERIFY(!find<QWidget>("grantedBadge")->isVisible());
        QTest::mouseClick(grant, Qt::LeftButton);
        QCOMPARE(f->permission.calls, QStringList({"prompt"}));
        QTest::mouseClick(grant, Qt::LeftButton);
        QCOMPARE(f->permission.calls, QStringList({"prompt", "settings"}));
    }

    void permissionsTabPollsOncePerSecondWhileShown()
    {
        open(SettingsTab::permissions);
        auto *tab = qobject_cast<PermissionsTab *>(page());
        QVERIFY(tab && tab->polling());
        QCOMPARE(f->timers.last()->interval, 1000);
        f->permission.trusted = true;
        QVERIFY(find<QWidget>("grantButton")->isVisible());
        f->timers.fireAll();
        QVERIFY(find<QWidget>("grantedBadge")->isVisible());
        QVERIFY(!find<QWidget>("grantButton")->isVisible());
        QCOMPARE(qobject_cast<PermissionStatusBadge *>(find<QWidget>("grantedBadge"))->text(),
                 f->l10n.string("perm.granted"));

        controller->show(SettingsTab::about); // the tab goes: its timer stops with it
        QTRY_COMPARE(f->timers.live(), 0);
    }

    // Edge case: without SUFeedURL the about tab's second card has only two rows.
    void aboutWithoutFeedShowsCrashAndStatisticsOnly()
    {
        open(SettingsTab::about);
        auto *card = find<SettingsCard>("diagnosticsCard");
        QCOMPARE(card->rowCount(), 2);
        const QList<SettingsRow *> rows = card->findChildren<SettingsRow *>();
        QCOMPARE(rows.size(), 2);
        QCOMPARE(rows[0]->titleLabel()->text(), f->l10n.string("gen.crashReports"));
        QCOMPARE(rows[1]->titleLabel()->text(), f->l10n.string("priv.improve"));
        QVERIFY(!find<QWidget>("checkNow"));
        QCOMPARE(find<QLabel>("version")->text(), QStringLiteral("Version 0.1.0"));
        QTest::mouseClick(find<PillSwitch>("improveDataSharing"), Qt::LeftButton);
        QVERIFY(!f->settings.improveDataSharing());
        QTest::mouseClick(find<PillSwitch>("crashReportingEnabled"), Qt::LeftButton);
        QVERIFY(!f->settings.crashReportingEnabled());
    }

    void aboutWithFeedShowsTheUpdaterRow()
    {
        bool automatic = false;
        int checks = 0;
        open(SettingsTab::about, SettingsUpdater{[&] { ++checks; }, [&] { return automatic; },
                                                 [&](bool on) { automatic = on; }});
        QCOMPARE(find<SettingsCard>("diagnosticsCard")->rowCount(), 3);
        QTest::mouseClick(find<QAbstractButton>("checkNow"), Qt::LeftButton);
        QCOMPARE(checks, 1);
        auto *toggle = find<PillSwitch>("automaticChecks");
        QVERIFY(!toggle->isChecked());
        QTest::mouseClick(toggle, Qt::LeftButton);
        QVERIFY(automatic);
        automatic = false; // changed elsewhere: read again each time the tab is shown
        controller->show(SettingsTab::general);
        controller->show(SettingsTab::about);
        QVERIFY(!find<PillSwitch>("automaticChecks")->isChecked());
        QCOMPARE(AboutTab::displayVersion(QString()), QStringLiteral("0.1.0 (dev)"));
    }

    void accountTabSignedOutAndSignedIn()
    {
        open(SettingsTab::account);
        auto *signIn = find<QAbstractButton>("signIn");
        QVERIFY(signIn->isEnabled());
        QTest::mouseClick(signIn, Qt::LeftButton);
        QCOMPARE(f->account.signIns, 1);

        f->account.setSignedIn(QStringLiteral("ada@example.org"));
        QTRY_VERIFY(find<QAbstractButton>("signOut"));
        const QList<SettingsRow *> rows = find<SettingsCard>(QString())->findChildren<SettingsRow *>();
        QVERIFY(!rows.isEmpty());
        QCOMPARE(rows[0]->subtitleLabel()->text(), QStringLiteral("ada@example.org"));
        QTest::mouseClick(find<PillSwitch>("syncEnabled"), Qt::LeftButton);
        QVERIFY(f->account.sync);
        QTest::mouseClick(find<QAbstractButton>("signOut"), Qt::LeftButton);
        QCOMPARE(f->account.signOuts, 1);
        QTRY_VERIFY(find<QAbstractButton>("signIn") && find<QAbstractButton>("signIn")->isVisible());
    }

    void accountTabSaysSignInIsUnavailableWithoutService()
    {
        f->account.available = false;
        open(SettingsTab::account);
        QVERIFY(!find<QAbstractButton>("signIn")->isEnabled());
        QVERIFY(find<SettingsRow>("signedOutRow")->subtitleLabel()->text().contains("not available"));
    }

    // The adapter over the real cloud account and sync: no service root, no sign-in; a stored
    // token shows the account; signing out from the tab removes the keychain items at once.
    void cloudAccountAdapterDrivesTheTab()
    {
        MemoryKeychain keychain;
        keychain.items = {{"cloudToken", "t0k"}, {"cloudEmail", "ada@example.org"}, {"cloudTier", "pro"}};
        QNetworkAccessManager network;
        FakeBrowser browser;
        CloudAccount cloud(keychain, network, QString(), browser.opener());
        CloudSync sync(f->settings, cloud, keychain, f->defaults, network, QString());
        CloudSettingsAccount account(cloud, sync);
        QVERIFY(!account.isAvailable());
        QCOMPARE(account.status(), SettingsAccount::Status::signedIn);
        QCOMPARE(account.tier(), QStringLiteral("pro"));

        SettingsServices services = f->services();
        SettingsServices withCloud{services.settings, services.l10n, services.store, services.apps, services.icons,
                                   services.accessibility, account, std::nullopt, {}, {}, {}, f->timers.factory(),
                                   QString()};
        controller = std::make_unique<SettingsWindowController>(withCloud, *router);
        controller->show(SettingsTab::account);
        QCOMPARE(find<SettingsRow>(QString())->subtitleLabel()->text(), QStringLiteral("ada@example.org"));
        QTest::mouseClick(find<QAbstractButton>("signOut"), Qt::LeftButton);
        QVERIFY(!keychain.items.contains("cloudToken"));
        QVERIFY(!keychain.items.contains("cloudEmail"));
        QTRY_VERIFY(find<QAbstractButton>("signIn"));
        QVERIFY(!find<QAbstractButton>("signIn")->isEnabled()); // no service configured
        QVERIFY(find<SettingsRow>("signedOutRow")->subtitleLabel()->text().contains("not available"));
    }
};

QTEST_MAIN(SettingsWindowTest)
#include "SettingsWindowTest.moc"

// SPDX-License-Identifier: GPL-3.0-or-later
// The settings window over a real store, settings and cloud account.
#include "fakes/SettingsFakes.h"
#include "settings/SettingsRouter.h"
#include "settings/SettingsTabs.h"
#include "settings/SettingsView.h"
#include "settings/SettingsWindowController.h"

#include <QTest>

class SettingsWindowTest : public QObject {
    Q_OBJECT
    QTemporaryDir m_xdg;
    std::unique_ptr<SettingsFixture> f;
    std::unique_ptr<SettingsRouter> router; // per test: windows of earlier tests may still listen to it
    std::unique_ptr<SettingsWindowController> controller;

    void closeWindow()
    {
        controller.reset(); // its window goes on the next turn
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    void open(SettingsTab tab)
    {
        closeWindow();
        controller = std::make_unique<SettingsWindowController>(f->services(), *router);
        controller->show(tab);
        QVERIFY(QTest::qWaitForWindowExposed(controller->window()));
    }
    template <typename T = QWidget> T *find(const QString &name) const { return controller->view()->page()->findChild<T *>(name); }
    void click(const QString &name) { QTest::mouseClick(find(name), Qt::LeftButton); }
    static SettingsRow *rowOf(QWidget *control)
    {
        while (control && !qobject_cast<SettingsRow *>(control))
            control = control->parentWidget();
        return qobject_cast<SettingsRow *>(control);
    }
    void openAccount(const QString &root, const QMap<QString, QString> &stored = {})
    {
        closeWindow(); // before the account it shows
        f->cloud = std::make_unique<CloudStack>(*f, root, stored);
        open(SettingsTab::account);
    }

private slots:
    void initTestCase()
    {
        qputenv("XDG_DATA_HOME", (m_xdg.path() + "/home").toUtf8());
        qputenv("XDG_DATA_DIRS", (m_xdg.path() + "/share").toUtf8());
        QDir().mkpath(m_xdg.path() + "/share/applications");
        QFile entry(m_xdg.path() + "/share/applications/org.keepassxc.KeePassXC.desktop");
        QVERIFY(entry.open(QIODevice::WriteOnly));
        entry.write("[Desktop Entry]\nType=Application\nName=KeePassXC\nExec=true\n");
    }
    void init()
    {
        f = std::make_unique<SettingsFixture>();
        router = std::make_unique<SettingsRouter>();
        f->serviceHost = QStringLiteral("stats.example.org");
    }
    void cleanup()
    {
        closeWindow();
        router.reset();
        f.reset();
    }

    void switchesChangeTheirOwnSetting_data()
    {
        QTest::addColumn<SettingsTab>("tab");
        QTest::addColumn<QString>("key"); // the switch's name
        for (const char *key : {"copyInsteadOfPaste", "moveToTopOnPaste", "alwaysPlainText", "clearOnQuit"})
            QTest::newRow(key) << SettingsTab::history << key;
        for (const char *key : {"monitoringPaused", "builtInExclusionsEnabled"})
            QTest::newRow(key) << SettingsTab::privacy << key;
        QTest::newRow("launchAtLogin") << SettingsTab::general << "launchAtLogin";
        for (const char *key : {"improveDataSharing", "crashReportingEnabled"})
            QTest::newRow(key) << SettingsTab::about << key;
    }
    void switchesChangeTheirOwnSetting()
    {
        QFETCH(SettingsTab, tab);
        QFETCH(QString, key);
        open(tab);
        const bool on = f->settings.value(key).toBool();
        QCOMPARE(find<PillSwitch>(key)->isChecked(), on);
        click(key);
        QCOMPARE(f->settings.value(key).toBool(), !on);
    }

    void theDiagnosticsSayWhetherAndWhereTheySend_data()
    {
        QTest::addColumn<QString>("host");
        QTest::newRow("no web service") << QString();
        QTest::newRow("a web service") << QStringLiteral("stats.example.org");
    }
    void theDiagnosticsSayWhetherAndWhereTheySend()
    {
        QFETCH(QString, host);
        f->serviceHost = host;
        open(SettingsTab::about);
        for (const char *key : {"improveDataSharing", "crashReportingEnabled"}) {
            auto *toggle = find<PillSwitch>(key);
            QCOMPARE(toggle->isEnabled() && toggle->isChecked(), !host.isEmpty());
            const QString subtitle = rowOf(toggle)->subtitleLabel()->text();
            QVERIFY2(subtitle.contains(host.isEmpty() ? "nothing is sent" : host), qPrintable(subtitle));
        }
        QVERIFY(f->settings.improveDataSharing() && f->settings.crashReportingEnabled()); // the choice is kept
        open(SettingsTab::general);
        const QString footer = controller->view()->page()->findChildren<FooterNote *>().last()->text();
        QVERIFY2(footer.contains(host.isEmpty() ? "sends nothing" : host + ": crash reports"), qPrintable(footer));
    }

    void thePermissionRowSaysWhetherXTestIsThere()
    {
        open(SettingsTab::permissions);
        QVERIFY(find("recheckButton")->isVisible() && !find("grantedBadge")->isVisible());
        QVERIFY(rowOf(find("recheckButton"))->subtitleLabel()->text().contains("no XTest extension"));
        f->permission.trusted = true;
        click("recheckButton"); // asks again at once
        QVERIFY(find("grantedBadge")->isVisible() && !find("missingBadge")->isVisible());
        // Copies from other applications are a row only where the desktop withholds them.
        QVERIFY(!find("captureRow"));
        f->captureLimited = true;
        open(SettingsTab::permissions);
        QVERIFY(find<SettingsRow>("captureRow")->subtitleLabel()->text().contains("data-control"));
    }

    void aLowerLimitOrRetentionPrunesAtOnce()
    {
        for (int i = 0; i < 150; ++i) {
            f->store->ingest(StoreFixture::text(QStringLiteral("entry %1").arg(i)));
            f->clock.advance(10);
        }
        open(SettingsTab::history);
        find<MSDropdown>("historyLimit")->choose(qint64(100));
        QCOMPARE(f->settings.historyLimit(), 100);
        QCOMPARE(f->store->items().size(), 100);
        QCOMPARE(f->store->items().first().text, QStringLiteral("entry 149")); // the newest stay
        f->clock.advance(3 * 86400);
        f->store->ingest(StoreFixture::text(QStringLiteral("new")));
        auto *retention = find<MSDropdown>("historyRetentionDays");
        retention->choose(qint64(1));
        QCOMPARE(f->store->items().size(), 1);
    }

    void excludedAppsAreListedOnceByNameAndRemovable()
    {
        open(SettingsTab::privacy);
        QVERIFY(find("excludedEmpty")->isVisible());
        f->chooserAnswers = {{}, {"org.keepassxc.KeePassXC"}, {"org.keepassxc.KeePassXC", "com.example.Gone", ""}};
        for (int i = 0; i < 3; ++i) // cancelled, then the same application twice
            click("addApp");
        QCOMPARE(f->settings.excludedBundleIDs(), QStringList({"org.keepassxc.KeePassXC", "com.example.Gone"}));
        QTRY_COMPARE(controller->view()->page()->findChildren<SettingsRow *>("excludedApp").size(), 2);
        const QList<SettingsRow *> rows = controller->view()->page()->findChildren<SettingsRow *>("excludedApp");
        QCOMPARE(rows[0]->titleLabel()->text(), QStringLiteral("KeePassXC")); // the desktop entry's name
        QCOMPARE(rows[1]->titleLabel()->text(), QStringLiteral("com.example.Gone")); // not installed
        QTest::mouseClick(rows[0]->control(), Qt::LeftButton); // remove
        QCOMPARE(f->settings.excludedBundleIDs(), QStringList({"com.example.Gone"}));
    }

    void theAccountTabFollowsTheCloudAccount()
    {
        open(SettingsTab::account);
        click("signIn");
        QCOMPARE(f->cloud->browser.opened.size(), 1);
        QVERIFY(f->cloud->account.pendingState());
        openAccount(QString()); // no web service
        QVERIFY(!find("signIn")->isEnabled());
        QVERIFY(find<SettingsRow>("signedOutRow")->subtitleLabel()->text().contains("not available"));
        openAccount(QString(), {{KeychainItem::token, "t0k"}, {KeychainItem::email, "ada@example.org"}});
        QCOMPARE(find<SettingsRow>(QString())->subtitleLabel()->text(), QStringLiteral("ada@example.org"));
        const bool sync = f->cloud->sync.enabled();
        click("syncEnabled");
        QCOMPARE(f->cloud->sync.enabled(), !sync);
        click("signOut");
        QVERIFY(!f->cloud->keychain.items.contains(KeychainItem::token));
        QTRY_VERIFY(find("signIn"));
    }
};

QTEST_MAIN(SettingsWindowTest)
#include "SettingsWindowTest.moc"

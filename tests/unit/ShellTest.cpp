// SPDX-License-Identifier: GPL-3.0-or-later
// What the running instance does with a command, from the command line and from the tray.
#include "app/ShellCommands.h"
#include "app/StatusItemController.h"
#include "cloud/CloudAccount.h"
#include "fakes/CloudFakes.h"
#include "fakes/PaletteFixture.h"
#include "platform/DefaultsStore.h"

#include <QMessageBox>
#include <QNetworkAccessManager>
#include <QtTest>

using Answer = ClearHistoryDialog::Answer;
using Kind = ShellCommand::Kind;

class ShellTest : public QObject {
    Q_OBJECT
    std::unique_ptr<PaletteFixture> f;
    QNetworkAccessManager network;
    MemoryKeychain keychain;
    FakeBrowser browser;
    std::unique_ptr<CloudAccount> account;
    std::unique_ptr<ShellCommands> commands;
    std::unique_ptr<StatusItemController> status;
    std::unique_ptr<QMenu> menu;
    Answer answer = Answer::cancel;
    QStringList called; // the tray's and the command line's actions
    QList<QUrl> opened;

    ShellReply run(Kind kind, int index = 0, const QUrl &url = {}) { return commands->run(ShellCommand{kind, index, url}); }
    ShellReply config(const QString &key = {}, const QJsonValue &value = QJsonValue::Undefined)
    {
        return commands->run(ShellCommand{Kind::config, 0, {}, key, value});
    }
    QString clipboardText() const { return f->clipboard.contents() ? f->clipboard.contents()->text() : QString(); }
    // The account of a machine whose web service is `root` (empty: none); sign-in only opens the browser.
    void useAccount(const QString &root)
    {
        commands.reset();
        account = std::make_unique<CloudAccount>(keychain, network, root, browser.opener());
        commands = std::make_unique<ShellCommands>(
            *f->store, f->settings, f->controller, *account,
            ShellCommands::Actions{[this](const QUrl &url) { opened << url; }, [this] { called << "quit"; }});
    }
    // A fresh menu as rows: "---" for a separator, a command's catalogue key, else an entry's title.
    QStringList rows()
    {
        menu.reset(status->buildMenu());
        QStringList rows;
        for (QAction *action : menu->actions())
            rows << (action->isSeparator() ? QStringLiteral("---") : action->objectName().isEmpty() ? action->text() : action->objectName());
        return rows;
    }
    QAction *action(const QString &row) const
    {
        for (QAction *action : menu->actions())
            if (action->objectName() == row || (action->objectName().isEmpty() && action->text() == row))
                return action;
        return nullptr;
    }
    void choose(const QString &row) // from the menu last built; actions run queued, after it closed
    {
        QVERIFY2(action(row), qPrintable(row));
        action(row)->trigger();
        QCoreApplication::processEvents();
    }

private slots:
    void init()
    {
        f = std::make_unique<PaletteFixture>();
        answer = Answer::cancel;
        called.clear();
        opened.clear();
        keychain.items.clear();
        browser.opened.clear();
        useAccount(QStringLiteral("http://127.0.0.1:9/"));
        status = std::make_unique<StatusItemController>(*f->store, f->settings, f->l10n, f->controller,
                                                        [this](QMessageBox &) { return answer; });
        status->onShowSettings = [this] { called << "settings"; };
        status->onShowOnboarding = [this] { called << "guide"; };
        status->onShowAbout = [this] { called << "about"; };
        status->onQuit = [this] { called << "quit"; };
    }
    void cleanup()
    {
        f->controller.close();
        menu.reset();
        status.reset();
        commands.reset();
        account.reset();
        f.reset();
    }

    void listNumbersOneLineTitlesNewestFirstAndPasteUsesThatNumbering()
    {
        QCOMPARE(run(Kind::list), (ShellReply{true, QString()}));
        f->add(QStringLiteral("first"));
        f->add(QStringLiteral("two\nlines\there"));
        f->add(QStringLiteral("newest"), true);
        QCOMPARE(run(Kind::list), (ShellReply{true, QStringLiteral("1\tnewest\n2\ttwo lines here\n3\tfirst\n")}));
        QCOMPARE(run(Kind::paste, 4), (ShellReply{false, QStringLiteral("No entry 4: the history holds 3.\n")}));
        QVERIFY(run(Kind::paste, 3).ok);
        QTRY_COMPARE(f->keys.posts.size(), 1); // then Ctrl+V, once: the refused one pasted nothing
        QCOMPARE(f->keys.posts[0].second, Qt::Key_V);
        QCOMPARE(clipboardText(), QStringLiteral("first"));
    }

    void launchShowPauseResumeAndQuitCommands()
    {
        QVERIFY(run(Kind::launch).ok); // a second start opens the palette
        QVERIFY(run(Kind::show).ok);
        QVERIFY(f->controller.isVisible());
        QVERIFY(run(Kind::pause).ok);
        QCOMPARE(f->defaults.boolValue("monitoringPaused"), std::optional(true));
        QVERIFY(run(Kind::resume).ok);
        QVERIFY(!f->settings.monitoringPaused());
        QVERIFY(run(Kind::quit).ok);
        QVERIFY(called.isEmpty()); // quits after the reply has gone out
        QTRY_COMPARE(called, QStringList{"quit"});
    }

    void configPrintsAndSetsThroughTheSettingsAndAShorterRetentionPrunesAtOnce()
    {
        f->settings.setExcludedBundleIDs({QStringLiteral("org.keepassxc.KeePassXC")});
        const QString all = config().output;
        QCOMPARE(all.count('\n'), AppSettings::keys().size());
        QVERIFY(all.contains(QStringLiteral("\nhistoryLimit\t500\n")));
        QVERIFY(all.contains(QStringLiteral("\nexcludedBundleIDs\t[\"org.keepassxc.KeePassXC\"]\n")));
        QCOMPARE(config(QStringLiteral("languageCode")).output, QStringLiteral("null\n"));
        f->add(QStringLiteral("old"));
        f->clock.advance(3 * 86400);
        f->add(QStringLiteral("new"));
        QVERIFY(config(QStringLiteral("historyRetentionDays"), 1).ok);
        QCOMPARE(f->defaults.intValue(QStringLiteral("historyRetentionDays")), std::optional<qint64>(1));
        QCOMPARE(f->store->items().size(), 1);
        QCOMPARE(f->store->items()[0].displayTitle(), QStringLiteral("new"));
        QVERIFY(config(QStringLiteral("excludedBundleIDs"), QJsonArray{"org.a", "org.b"}).ok);
        QCOMPARE(f->settings.excludedBundleIDs(), (QStringList{"org.a", "org.b"}));
        QVERIFY(config(QStringLiteral("languageCode"), QStringLiteral("fr")).ok);
        QVERIFY(config(QStringLiteral("languageCode"), QJsonValue::Null).ok); // null: no override
        QVERIFY(!f->defaults.contains(QStringLiteral("languageCode")));
    }

    void configRefusesUnknownKeysAndWrongValues_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<QString>("message"); // the reply's start, then the refused value
        QTest::newRow("unknown key") << "HistoryLimit" << QJsonValue(QJsonValue::Undefined) << "Unknown setting: HistoryLimit";
        QTest::newRow("word for an integer") << "historyLimit" << QJsonValue("many") << "historyLimit takes|\"many\"";
        QTest::newRow("null for a bool") << "clearOnQuit" << QJsonValue(QJsonValue::Null) << "clearOnQuit takes|null";
        QTest::newRow("list of numbers") << "excludedBundleIDs" << QJsonValue(QJsonArray{1}) << "excludedBundleIDs takes|[1]";
        QTest::newRow("number for a language") << "languageCode" << QJsonValue(7) << "languageCode takes|7";
        QTest::newRow("no history") << "historyLimit" << QJsonValue(0) << "historyLimit takes an integer from 100 to 50000|0";
        QTest::newRow("limit not offered") << "historyLimit" << QJsonValue(50001) << "historyLimit takes|50001";
        QTest::newRow("negative days") << "historyRetentionDays" << QJsonValue(-1) << "historyRetentionDays takes|-1";
        QTest::newRow("unknown language") << "languageCode" << QJsonValue("xx") << "languageCode takes a language code (en,|\"xx\"";
    }
    void configRefusesUnknownKeysAndWrongValues()
    {
        QFETCH(QString, key);
        QFETCH(QJsonValue, value);
        QFETCH(QString, message);
        const QString before = config().output;
        const ShellReply reply = config(key, value);
        QVERIFY(!reply.ok);
        QVERIFY(reply.usageError); // exit status 2
        QVERIFY2(reply.output.startsWith(message.section('|', 0, 0)), qPrintable(reply.output));
        QVERIFY2(reply.output.contains(message.section('|', 1)), qPrintable(reply.output));
        QCOMPARE(config().output, before);
        QVERIFY(!f->defaults.contains(key));
    }

    void aLimitThatDeletesEntriesNeedsYes()
    {
        for (int i = 0; i < 102; ++i)
            f->add(QString::number(i));
        f->add(QStringLiteral("pinned"), true);
        ShellCommand lower{.kind = Kind::config, .key = QStringLiteral("historyLimit"), .value = 100};
        QCOMPARE(commands->run(lower), (ShellReply{false, QStringLiteral("historyLimit 100 deletes the 2 oldest entries "
                                                                         "(pinned ones stay). Nothing was changed; add "
                                                                         "--yes to go ahead.\n")})); // exit status 1
        QCOMPARE(f->store->items().size(), 103);
        QVERIFY(!f->defaults.contains(QStringLiteral("historyLimit")));
        QVERIFY(config(QStringLiteral("historyLimit"), 5000).ok); // raising it deletes nothing
        lower.confirmed = true;
        QVERIFY(commands->run(lower).ok);
        QCOMPARE(f->store->items().size(), 101);
        QCOMPARE(f->store->items().last().displayTitle(), QStringLiteral("2"));
    }

    void withoutAnInstanceConfigWritesTheFileAndCountsTheSavedHistory()
    {
        for (int i = 0; i < 102; ++i)
            f->add(QString::number(i));
        f->add(QStringLiteral("pinned"), true);
        f->store->saveNow();
        const QList<ClipItem> saved = ShellCommands::savedItems(f->store->fileURL());
        QCOMPARE(saved.size(), 103);
        const QString file = f->tmp.filePath(QStringLiteral("defaults.json"));
        {
            DefaultsStore defaults(file);
            AppSettings settings(defaults, f->login);
            ShellCommand lower{.kind = Kind::config, .key = QStringLiteral("historyLimit"), .value = 100};
            QVERIFY(ShellCommands::configure(settings, saved, lower).output.contains("deletes the 2 oldest"));
            lower.confirmed = true;
            QVERIFY(ShellCommands::configure(settings, saved, lower).ok);
        }
        QCOMPARE(DefaultsStore(file).intValue(QStringLiteral("historyLimit")), std::optional<qint64>(100));
        // A missing or unreadable history holds nothing to delete.
        QVERIFY(ShellCommands::savedItems(f->tmp.filePath(QStringLiteral("none.json"))).isEmpty());
        QFile broken(f->store->fileURL());
        QVERIFY(broken.open(QIODevice::WriteOnly) && broken.write("{not json") > 0);
        broken.close();
        QVERIFY(ShellCommands::savedItems(f->store->fileURL()).isEmpty());
    }

    void signInOpensTheBrowserOnlyWithAServiceAndSignedOutAndSignOutIsLocal()
    {
        const ShellReply reply = run(Kind::signIn);
        QCOMPARE(browser.opened.size(), 1); // the address is printed too, for a machine without a browser
        QVERIFY(reply.ok && reply.output.endsWith(browser.opened.first().toString(QUrl::FullyEncoded) + '\n'));
        QCOMPARE(QUrlQuery(browser.opened.first()).queryItemValue(QStringLiteral("state")), *account->pendingState());
        useAccount(QString()); // no web service
        QVERIFY(!run(Kind::signIn).ok);
        QCOMPARE(browser.opened.size(), 1);
        keychain.items = {{KeychainItem::token, "tok"}, {KeychainItem::email, "ada@example.org"}, {KeychainItem::deviceID, "D"}};
        useAccount(QStringLiteral("http://127.0.0.1:9/"));
        QCOMPARE(run(Kind::signIn).output, QStringLiteral("Already signed in (ada@example.org); `stashwell sign-out` first.\n"));
        QCOMPARE(browser.opened.size(), 1); // nothing more opened
        useAccount(QString()); // signing out is local only
        QVERIFY(run(Kind::signOut).ok);
        QCOMPARE(account->state(), CloudAccount::State::signedOut());
        QCOMPARE(keychain.items.keys(), QList<QString>{KeychainItem::deviceID});
    }

    void trayMenuListsTheFiveNewestEntriesAsOneLineTitlesThenTheCommands()
    {
        const QStringList commands{"---", "menu.pause", "menu.clearAll", "---", "menu.settings", "menu.guide",
                                   "menu.about", "---", "menu.quit"};
        QCOMPARE(rows(), QStringList{"menu.open"} + commands);
        const QString long50 = QStringLiteral("0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMN");
        const QString emoji = QStringLiteral("👍🏽👍🏽👍🏽") + QString(40, 'x'); // cut in characters, not code units
        for (const QString &text : {QStringLiteral("oldest"), long50, QStringLiteral("fish & chips\nand more"), emoji,
                                    QStringLiteral("e5"), QStringLiteral("e6")})
            f->add(text, text == QStringLiteral("oldest")); // pinned, yet not lifted
        QCOMPARE(rows(), QStringList({"menu.open", "---", "e6", "e5", emoji.chopped(3), "fish && chips and more",
                                      long50.left(40)}) + commands);
    }

    void trayEntryPastesUnlessItIsGone()
    {
        for (const char *text : {"older", "newer", "doomed"})
            f->add(QLatin1String(text));
        rows();
        f->store->remove(f->store->items()[0].id);
        choose(QStringLiteral("doomed"));
        choose(QStringLiteral("older"));
        QTRY_COMPARE(f->keys.posts.size(), 1);
        QCOMPARE(clipboardText(), QStringLiteral("older"));
    }

    void trayCommandsCallTheirActionsAndPauseSwitchesItemAndIcon()
    {
        status->onCheckForUpdates = [this] { called << "updates"; }; // a feed is configured
        QCOMPARE(rows().mid(5, 4), (QStringList{"menu.settings", "menu.guide", "menu.check_updates", "menu.about"}));
        for (const char *key : {"menu.settings", "menu.guide", "menu.check_updates", "menu.about", "menu.quit", "menu.open"})
            choose(QLatin1String(key));
        QCOMPARE(called, (QStringList{"settings", "guide", "updates", "about", "quit"}));
        QVERIFY(f->controller.isVisible());
        choose(QStringLiteral("menu.pause"));
        QVERIFY(f->settings.monitoringPaused());
        QCOMPARE(status->iconState(), MenuBarIcon::State::paused);
        QVERIFY(rows().contains(QStringLiteral("menu.resume")) && action("menu.resume")->isChecked());
        choose(QStringLiteral("menu.resume"));
        QCOMPARE(status->iconState(), MenuBarIcon::State::active);
        f->settings.setMonitoringPaused(true); // elsewhere: the icon follows
        QTRY_COMPARE(status->iconState(), MenuBarIcon::State::paused);
    }

    void trayClearsTheHistoryAsAnswered()
    {
        f->add(QStringLiteral("a"));
        f->add(QStringLiteral("pinned"), true);
        f->add(QStringLiteral("b"));
        const std::pair<Answer, QStringList> answers[] = {
            {Answer::cancel, {"b", "pinned", "a"}}, {Answer::keepPins, {"pinned"}}, {Answer::everything, {}}};
        for (const auto &[choice, left] : answers) {
            answer = choice;
            rows();
            choose(QStringLiteral("menu.clearAll"));
            QStringList titles;
            for (const ClipItem &item : f->store->items())
                titles << item.displayTitle();
            QCOMPARE(titles, left);
        }
    }

    void trayContextAndControlClicksOpenTheMenu()
    {
        status->clicked(QSystemTrayIcon::Context, Qt::NoModifier);
        QTRY_VERIFY(status->menu() && status->menu()->isVisible());
        status->menu()->hide(); // closing detaches it
        QVERIFY(!status->menu());
        status->clicked(QSystemTrayIcon::Trigger, Qt::MetaModifier); // Control = Super + click
        QVERIFY(status->menu());
        status->menu()->hide();
        status->clicked(QSystemTrayIcon::MiddleClick, Qt::NoModifier);
        QVERIFY(!status->menu() && !f->controller.isVisible());
    }
};

QTEST_MAIN(ShellTest)
#include "ShellTest.moc"

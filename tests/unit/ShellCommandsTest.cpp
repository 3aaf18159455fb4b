// What the running instance does with each command of the command line.
#include "app/ShellCommands.h"
#include "cloud/CloudAccount.h"
#include "fakes/CloudFakes.h"
#include "fakes/PaletteFixture.h"

#include <QNetworkAccessManager>
#include <QtTest>

using Kind = ShellCommand::Kind;

class ShellCommandsTest : public QObject {
    Q_OBJECT
    std::unique_ptr<PaletteFixture> f;
    QNetworkAccessManager network;
    MemoryKeychain keychain;
    FakeBrowser browser;
    std::unique_ptr<CloudAccount> account;
    std::unique_ptr<ShellCommands> commands;
    QList<QUrl> opened;
    int quits = 0;

    ShellReply run(Kind kind, int index = 0, const QUrl &url = {}) { return commands->run(ShellCommand{kind, index, url}); }
    ShellReply config(const QString &key = {}, const QJsonValue &value = QJsonValue::Undefined)
    {
        ShellCommand command;
        command.kind = Kind::config;
        command.key = key;
        command.value = value;
        return commands->run(command);
    }
    QString clipboardText() const { return f->clipboard.contents() ? f->clipboard.contents()->text() : QString(); }

    // The account of a machine whose web service is `root` (empty: none); nothing listens there,
    // and nothing is sent: sign-in only opens the browser.
    void useAccount(const QString &root)
    {
        commands.reset();
        account = std::make_unique<CloudAccount>(keychain, network, root, browser.opener());
        commands = std::make_unique<ShellCommands>(
            *f->store, f->settings, f->controller, *account,
            ShellCommands::Actions{[this](const QUrl &url) { opened << url; }, [this] { ++quits; }});
    }

private slots:
    void init()
    {
        f = std::make_unique<PaletteFixture>();
        opened.clear();
        quits = 0;
        keychain.items.clear();
        browser.opened.clear();
        useAccount(QStringLiteral("http://127.0.0.1:9/"));
    }
    void cleanup()
    {
        f->controller.close();
        commands.reset();
        account.reset();
        f.reset();
    }

    void listPrintsNumberedTitlesNewestFirst()
    {
        f->add(QStringLiteral("first"));
        f->add(QStringLiteral("two\nlines\there"));
        f->add(QStringLiteral("newest"), true);
        const ShellReply reply = run(Kind::list);
        QVERIFY(reply.ok);
        QCOMPARE(reply.output, QStringLiteral("1\tnewest\n2\ttwo lines here\n3\tfirst\n"));
    }

    void listOfAnEmptyHistoryIsEmpty()
    {
        const ShellReply reply = run(Kind::list);
        QVERIFY(reply.ok);
        QVERIFY(reply.output.isEmpty());
    }

    void pasteGoesThroughTheController()
    {
        f->add(QStringLiteral("older"));
        f->add(QStringLiteral("newer"));
        QVERIFY(run(Kind::paste, 2).ok);
        QTRY_COMPARE(clipboardText(), QStringLiteral("older"));
        QTRY_COMPARE(f->keys.posts.size(), 1); // then Ctrl+V
        QCOMPARE(f->keys.posts[0].second, Qt::Key_V);
    }

    void pasteOutOfRangeIsAnError()
    {
        f->add(QStringLiteral("only"));
        const ShellReply reply = run(Kind::paste, 2);
        QVERIFY(!reply.ok);
        QCOMPARE(reply.output, QStringLiteral("No entry 2: the history holds 1.\n"));
        QTest::qWait(200);
        QVERIFY(f->keys.posts.isEmpty());
        QCOMPARE(f->clipboard.writes, 0);
    }

    void toggleAndShowOpenThePalette()
    {
        QVERIFY(run(Kind::toggle).ok);
        QVERIFY(f->controller.isVisible());
        QVERIFY(run(Kind::toggle).ok);
        QVERIFY(!f->controller.isVisible());
        QVERIFY(run(Kind::show).ok);
        QVERIFY(f->controller.isVisible());
        QVERIFY(run(Kind::show).ok);
        QVERIFY(f->controller.isVisible());
    }

    void aSecondLaunchOpensThePalette()
    {
        QVERIFY(run(Kind::launch).ok);
        QVERIFY(f->controller.isVisible());
    }

    void pauseAndResumeSetTheSetting()
    {
        QVERIFY(run(Kind::pause).ok);
        QVERIFY(f->settings.monitoringPaused());
        QCOMPARE(f->defaults.boolValue("monitoringPaused"), std::optional(true));
        QVERIFY(run(Kind::pause).ok);
        QVERIFY(f->settings.monitoringPaused());
        QVERIFY(run(Kind::resume).ok);
        QVERIFY(!f->settings.monitoringPaused());
    }

    void quitHappensAfterTheReply()
    {
        QVERIFY(run(Kind::quit).ok);
        QCOMPARE(quits, 0);
        QTRY_COMPARE(quits, 1);
    }

    void urlGoesToTheCallbackRoute()
    {
        const QUrl url(QStringLiteral("stashwell://auth?code=x&state=y"));
        QVERIFY(run(Kind::openURL, 0, url).ok);
        QCOMPARE(opened, QList{url});
    }

    // --- config -------------------------------------------------------------------------------

    void configListsEveryKeyOfTheDefaultsFileWithItsValue()
    {
        f->settings.setExcludedBundleIDs({QStringLiteral("org.keepassxc.KeePassXC")});
        f->settings.setLanguageCode(QStringLiteral("de"));
        const ShellReply reply = config();
        QVERIFY(reply.ok);
        QCOMPARE(reply.output, QStringLiteral("onboardingCompleted\tfalse\n"
                                              "launchAtLogin\ttrue\n"
                                              "languageCode\t\"de\"\n"
                                              "historyLimit\t500\n"
                                              "historyRetentionDays\t0\n"
                                              "moveToTopOnPaste\ttrue\n"
                                              "copyInsteadOfPaste\tfalse\n"
                                              "alwaysPlainText\tfalse\n"
                                              "restoreClipboardAfterPaste\tfalse\n"
                                              "clearOnQuit\tfalse\n"
                                              "monitoringPaused\tfalse\n"
                                              "builtInExclusionsEnabled\ttrue\n"
                                              "excludedBundleIDs\t[\"org.keepassxc.KeePassXC\"]\n"
                                              "crashReportingEnabled\ttrue\n"
                                              "improveDataSharing\ttrue\n"));
        // The keys are the defaults file's; a stored value is printed as it is stored.
        int stored = 0;
        for (const QString &line : reply.output.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            const QString key = line.section(QLatin1Char('\t'), 0, 0);
            if (f->defaults.contains(key)) {
                QCOMPARE(CommandLine::configValue(line.section(QLatin1Char('\t'), 1)), f->defaults.object(key));
                ++stored;
            }
        }
        QCOMPARE(stored, 3); // launchAtLogin (the first start), languageCode, excludedBundleIDs
    }

    void configPrintsOneValue()
    {
        f->settings.setHistoryLimit(321);
        QCOMPARE(config(QStringLiteral("historyLimit")).output, QStringLiteral("321\n"));
        QCOMPARE(config(QStringLiteral("languageCode")).output, QStringLiteral("null\n"));
        QCOMPARE(config(QStringLiteral("excludedBundleIDs")).output, QStringLiteral("[]\n"));
    }

    void configSetsThroughTheTypedSetters()
    {
        QSignalSpy changed(&f->settings, &AppSettings::changed);
        int discarded = 0;
        f->settings.discardUnsentStatistics = [&discarded] { ++discarded; };

        QVERIFY(config(QStringLiteral("historyLimit"), 321).ok);
        QCOMPARE(f->settings.historyLimit(), 321);
        QCOMPARE(f->defaults.intValue(QStringLiteral("historyLimit")), std::optional<qint64>(321));
        QCOMPARE(changed.takeFirst().value(0).toString(), QStringLiteral("historyLimit"));

        QVERIFY(config(QStringLiteral("improveDataSharing"), false).ok); // its effect: unsent events go
        QCOMPARE(discarded, 1);
        QVERIFY(config(QStringLiteral("launchAtLogin"), false).ok); // its effect: the login item goes
        QCOMPARE(f->login.unregistered, 1);

        QVERIFY(config(QStringLiteral("excludedBundleIDs"), QJsonArray{"org.a", "org.b"}).ok);
        QCOMPARE(f->settings.excludedBundleIDs(), (QStringList{"org.a", "org.b"}));
        QVERIFY(config(QStringLiteral("languageCode"), QStringLiteral("fr")).ok);
        QCOMPARE(f->defaults.stringValue(QStringLiteral("languageCode")), std::optional<QString>(QStringLiteral("fr")));
        QVERIFY(config(QStringLiteral("languageCode"), QJsonValue::Null).ok); // null: no override
        QCOMPARE(f->settings.languageCode(), std::nullopt);
        QVERIFY(!f->defaults.contains(QStringLiteral("languageCode")));
    }

    void aSmallerHistoryLimitAppliesAtOnce()
    {
        for (const char *text : {"one", "two", "three"})
            f->add(QLatin1String(text));
        QVERIFY(config(QStringLiteral("historyLimit"), 1).ok);
        QCOMPARE(f->store->items().size(), 1);
        QCOMPARE(f->store->items()[0].displayTitle(), QStringLiteral("three"));
    }

    void configRefusesUnknownKeysAndWrongTypes_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<QString>("message");
        QTest::newRow("unknown key") << "frobnicate" << QJsonValue(true)
                                     << "Unknown setting: frobnicate (`stashwell config` lists them).\n";
        QTest::newRow("unknown key, read") << "HistoryLimit" << QJsonValue(QJsonValue::Undefined)
                                           << "Unknown setting: HistoryLimit (`stashwell config` lists them).\n";
        QTest::newRow("word for an integer") << "historyLimit" << QJsonValue("many")
                                             << "historyLimit takes an integer, not \"many\".\n";
        QTest::newRow("fraction") << "historyLimit" << QJsonValue(1.5) << "historyLimit takes an integer, not 1.5.\n";
        QTest::newRow("number for a bool") << "clearOnQuit" << QJsonValue(1)
                                           << "clearOnQuit takes true or false, not 1.\n";
        QTest::newRow("null for a bool") << "clearOnQuit" << QJsonValue(QJsonValue::Null)
                                         << "clearOnQuit takes true or false, not null.\n";
        QTest::newRow("list of numbers") << "excludedBundleIDs" << QJsonValue(QJsonArray{1})
                                         << "excludedBundleIDs takes a list of strings, not [1].\n";
        QTest::newRow("number for a language") << "languageCode" << QJsonValue(7)
                                               << "languageCode takes a string or null, not 7.\n";
    }
    void configRefusesUnknownKeysAndWrongTypes()
    {
        QFETCH(QString, key);
        QFETCH(QJsonValue, value);
        QFETCH(QString, message);
        const QString before = config().output;
        QSignalSpy changed(&f->settings, &AppSettings::changed);
        const ShellReply reply = config(key, value);
        QVERIFY(!reply.ok);
        QVERIFY(reply.usageError); // exit status 2
        QCOMPARE(reply.output, message);
        QCOMPARE(changed.count(), 0);
        QCOMPARE(config().output, before);
        QVERIFY(!f->defaults.contains(key));
    }

    // --- sign-in, sign-out --------------------------------------------------------------------

    void signInOpensTheBrowserAndPrintsThePage()
    {
        const ShellReply reply = run(Kind::signIn);
        QVERIFY(reply.ok);
        QCOMPARE(browser.opened.size(), 1);
        QVERIFY(reply.output.endsWith(browser.opened.first().toString(QUrl::FullyEncoded) + QLatin1Char('\n')));
        QCOMPARE(QUrlQuery(browser.opened.first()).queryItemValue(QStringLiteral("state")), *account->pendingState());
    }

    void signInWithoutAServiceSaysSoAndOpensNothing()
    {
        useAccount(QString());
        const ShellReply reply = run(Kind::signIn);
        QVERIFY(!reply.ok);
        QVERIFY(!reply.usageError);
        QCOMPARE(reply.output,
                 QStringLiteral("Sign-in is not available: no web service is set (STASHWELL_SERVICE_URL).\n"));
        QVERIFY(browser.opened.isEmpty());
        QCOMPARE(account->pendingState(), std::nullopt);
    }

    void signInWhileSignedInIsRefused()
    {
        keychain.items = {{KeychainItem::token, QStringLiteral("tok")},
                          {KeychainItem::email, QStringLiteral("ada@example.org")}};
        useAccount(QStringLiteral("http://127.0.0.1:9/"));
        const ShellReply reply = run(Kind::signIn);
        QVERIFY(!reply.ok);
        QCOMPARE(reply.output, QStringLiteral("Already signed in (ada@example.org); `stashwell sign-out` first.\n"));
        QVERIFY(browser.opened.isEmpty());
    }

    void signOutSignsOut()
    {
        keychain.items = {{KeychainItem::token, QStringLiteral("tok")}, {KeychainItem::deviceID, QStringLiteral("D")}};
        useAccount(QString()); // no service: signing out is local only
        QVERIFY(account->state().signedIn);
        const ShellReply reply = run(Kind::signOut);
        QVERIFY(reply.ok);
        QCOMPARE(account->state(), CloudAccount::State::signedOut());
        QCOMPARE(keychain.items.keys(), QList<QString>{KeychainItem::deviceID});
    }
};

QTEST_MAIN(ShellCommandsTest)
#include "ShellCommandsTest.moc"

// The `stashwell` command line and its one-line request form.
#include "app/CommandLine.h"

#include <QJsonArray>
#include <QtTest>

using Kind = ShellCommand::Kind;

class CommandLineTest : public QObject {
    Q_OBJECT

    static ShellCommand parsed(const QStringList &args)
    {
        const CommandLine::Parsed result = CommandLine::parse(args);
        if (!result.command)
            qWarning() << "parse error" << result.error;
        return result.command.value_or(ShellCommand{Kind::help, -1, {}});
    }
    static QString error(const QStringList &args)
    {
        const CommandLine::Parsed result = CommandLine::parse(args);
        return result.command ? QString() : result.error;
    }

private slots:
    void noArgumentsLaunches() { QCOMPARE(parsed({}).kind, Kind::launch); }

    void verbs_data()
    {
        QTest::addColumn<QString>("verb");
        QTest::addColumn<int>("kind");
        QTest::newRow("toggle") << "toggle" << int(Kind::toggle);
        QTest::newRow("show") << "show" << int(Kind::show);
        QTest::newRow("pause") << "pause" << int(Kind::pause);
        QTest::newRow("resume") << "resume" << int(Kind::resume);
        QTest::newRow("list") << "list" << int(Kind::list);
        QTest::newRow("quit") << "quit" << int(Kind::quit);
        QTest::newRow("sign-in") << "sign-in" << int(Kind::signIn);
        QTest::newRow("sign-out") << "sign-out" << int(Kind::signOut);
        QTest::newRow("help") << "--help" << int(Kind::help);
        QTest::newRow("-h") << "-h" << int(Kind::help);
        QTest::newRow("version") << "--version" << int(Kind::version);
    }
    void verbs()
    {
        QFETCH(QString, verb);
        QFETCH(int, kind);
        QCOMPARE(int(parsed({verb}).kind), kind);
    }

    void pasteTakesOnePositivePosition()
    {
        const ShellCommand paste = parsed({"paste", "2"});
        QCOMPARE(paste.kind, Kind::paste);
        QCOMPARE(paste.index, 2);
        QVERIFY(!error({"paste"}).isEmpty());
        QVERIFY(!error({"paste", "0"}).isEmpty());
        QVERIFY(!error({"paste", "-1"}).isEmpty());
        QVERIFY(!error({"paste", "two"}).isEmpty());
        QVERIFY(!error({"paste", "1", "2"}).isEmpty());
        QVERIFY(!error({"paste", "99999999999999"}).isEmpty());
    }

    void urlIsHandedOver()
    {
        const ShellCommand url = parsed({"stashwell://auth?code=x&state=y"});
        QCOMPARE(url.kind, Kind::openURL);
        QCOMPARE(url.url.host(), QStringLiteral("auth"));
        QCOMPARE(QUrlQuery(url.url).queryItemValue("code"), QStringLiteral("x"));
        QCOMPARE(QUrlQuery(url.url).queryItemValue("state"), QStringLiteral("y"));
        QCOMPARE(parsed({"STASHWELL://auth"}).kind, Kind::openURL);
    }

    void otherSchemesAndUnknownWordsAreErrors()
    {
        QVERIFY(error({"https://example.com/"}).contains("stashwell://"));
        QVERIFY(error({"file:///etc/passwd"}).contains("stashwell://"));
        QVERIFY(error({"frobnicate"}).contains("unknown command"));
        QVERIFY(!error({"url"}).isEmpty()); // the request word is not a command-line verb
        QVERIFY(!error({"launch"}).isEmpty());
        QVERIFY(!error({"toggle", "now"}).isEmpty());
        QVERIFY(!error({"stashwell://auth", "extra"}).isEmpty());
    }

    void configReadsAKeyAndAJsonValue()
    {
        const ShellCommand all = parsed({"config"});
        QCOMPARE(all.kind, Kind::config);
        QVERIFY(all.key.isEmpty());
        QVERIFY(all.value.isUndefined());
        const ShellCommand one = parsed({"config", "historyLimit"});
        QCOMPARE(one.key, QStringLiteral("historyLimit"));
        QVERIFY(one.value.isUndefined());
        const ShellCommand set = parsed({"config", "historyLimit", "321"});
        QCOMPARE(set.key, QStringLiteral("historyLimit"));
        QCOMPARE(set.value, QJsonValue(321));
        QVERIFY(!error({"config", "historyLimit", "321", "extra"}).isEmpty());
    }

    void configValues_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QJsonValue>("value");
        QTest::newRow("true") << "true" << QJsonValue(true);
        QTest::newRow("false") << "false" << QJsonValue(false);
        QTest::newRow("integer") << "500" << QJsonValue(500);
        QTest::newRow("negative") << "-1" << QJsonValue(-1);
        QTest::newRow("fraction") << "1.5" << QJsonValue(1.5);
        QTest::newRow("null") << "null" << QJsonValue(QJsonValue::Null);
        QTest::newRow("JSON string") << "\"de\"" << QJsonValue("de");
        QTest::newRow("JSON string of digits") << "\"12\"" << QJsonValue("12");
        QTest::newRow("list") << "[\"org.a\", \"org.b\"]" << QJsonValue(QJsonArray{"org.a", "org.b"});
        QTest::newRow("empty list") << "[]" << QJsonValue(QJsonArray());
        QTest::newRow("bare word") << "de" << QJsonValue("de");
        QTest::newRow("bare words") << "two words" << QJsonValue("two words");
        QTest::newRow("empty") << "" << QJsonValue("");
        QTest::newRow("two values") << "1,2" << QJsonValue("1,2");
        QTest::newRow("broken list") << "[1" << QJsonValue("[1");
        QTest::newRow("no way out of the wrapping") << "1],[2" << QJsonValue("1],[2");
    }
    void configValues()
    {
        QFETCH(QString, text);
        QFETCH(QJsonValue, value);
        QCOMPARE(CommandLine::configValue(text), value);
    }

    void listPasteQuitAndConfigNeedARunningInstance()
    {
        for (Kind kind : {Kind::list, Kind::paste, Kind::quit, Kind::config})
            QVERIFY((ShellCommand{kind, 1, {}}.needsRunningInstance()));
        // sign-in and sign-out start Stashwell, as toggle does.
        for (Kind kind :
             {Kind::launch, Kind::toggle, Kind::show, Kind::pause, Kind::resume, Kind::openURL, Kind::signIn, Kind::signOut})
            QVERIFY(!(ShellCommand{kind, 0, {}}.needsRunningInstance()));
    }

    void requestsRoundTrip()
    {
        const QList<QStringList> commands{{}, {"toggle"}, {"show"}, {"pause"}, {"resume"}, {"list"},
                                          {"paste", "7"}, {"quit"}, {"stashwell://auth?code=a%20b&state=%26"},
                                          {"config"}, {"config", "historyLimit"}, {"config", "historyLimit", "321"},
                                          {"config", "languageCode", "null"}, {"config", "languageCode", "de"},
                                          {"config", "excludedBundleIDs", "[\"a\",\"b\"]"}, {"sign-in"}, {"sign-out"}};
        for (const QStringList &args : commands) {
            const ShellCommand command = parsed(args);
            const QByteArray line = command.toRequest();
            QVERIFY(!line.contains('\n'));
            QCOMPARE(ShellCommand::fromRequest(line), std::optional(command));
        }
    }

    void badRequestsAreRejected()
    {
        for (const char *line : {"", "garbage", "{}", "[1,2]", "{\"command\":\"format-disk\"}", "{\"command\":\"help\"}",
                                 "{\"command\":\"paste\"}", "{\"command\":\"paste\",\"index\":0}",
                                 "{\"command\":\"paste\",\"index\":1.5}", "{\"command\":\"paste\",\"index\":\"2\"}",
                                 "{\"command\":\"url\",\"url\":\"https://evil.example/\"}",
                                 "{\"command\":\"url\"}", "{\"command\":7}",
                                 "{\"command\":\"config\",\"value\":1}", "{\"command\":\"config\",\"key\":5}",
                                 "{\"command\":\"config\",\"key\":\"\",\"value\":true}"})
            QVERIFY2(!ShellCommand::fromRequest(line), line);
    }

    void qtOptionsAreLeftOut()
    {
        QByteArrayList raw{"stashwell", "-platform", "offscreen", "paste", "--style=fusion", "-reverse", "3"};
        std::vector<char *> argv;
        for (QByteArray &a : raw)
            argv.push_back(a.data());
        QCOMPARE(CommandLine::arguments(int(argv.size()), argv.data()), (QStringList{"paste", "3"}));
        QCOMPARE(parsed(CommandLine::arguments(int(argv.size()), argv.data())).index, 3);
    }

    void usageNamesEveryCommand()
    {
        for (const char *word : {"toggle", "show", "pause", "resume", "list", "paste N", "quit", "config KEY VALUE",
                                 "sign-in", "sign-out", "stashwell://"})
            QVERIFY(CommandLine::usage().contains(QLatin1String(word)));
    }
};

QTEST_GUILESS_MAIN(CommandLineTest)
#include "CommandLineTest.moc"

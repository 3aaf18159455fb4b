// SPDX-License-Identifier: GPL-3.0-or-later
// The `stashwell` command line: parsing, forwarding to the running instance, exit statuses, the socket.
#include "app/SingleInstance.h"

#include <QJsonArray>
#include <QLocalSocket>
#include <QTemporaryDir>
#include <QtTest>
#include <future>
#include <sys/stat.h>
#include <unistd.h>

using Kind = ShellCommand::Kind;

namespace {

// Runs `f` on a thread of its own (a second process's blocking client) while this thread serves.
template <typename F> auto offThread(F f)
{
    auto result = std::async(std::launch::async, f);
    while (result.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    return result.get();
}

} // namespace

class CommandLineTest : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QList<ShellCommand> m_received;

    QString path() const { return m_dir.path() + QStringLiteral("/test.sock"); }
    ShellReply handle(const ShellCommand &c)
    {
        m_received << c;
        if (c.kind == Kind::config)
            return {false, QStringLiteral("Unknown setting: x\n"), true};
        const bool paste = c.kind == Kind::paste;
        const QString list = QStringLiteral("1\tnew\x1b[2Jest\x1b]0;forged title\x07\n"); // printed as 1<TAB>newest
        return {!paste, c.kind == Kind::list ? list : paste ? QStringLiteral("No entry\n") : QString()};
    }
    std::unique_ptr<SingleInstance> server()
    {
        auto instance = std::make_unique<SingleInstance>(path());
        if (!instance->listen())
            return nullptr;
        instance->setHandler([this](const ShellCommand &c) { return handle(c); });
        return instance;
    }
    std::optional<ShellReply> forward(Kind kind)
    {
        return offThread([&] { return SingleInstance(path()).forward({kind}); });
    }

private slots:
    void init() { m_received.clear(); }

    void parse_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("kind"); // -1: an error
        QTest::addColumn<QByteArray>("request"); // the forwarded line, when given
        const auto row = [](QStringList args, int kind, QByteArray request = {}) {
            QTest::newRow(args.isEmpty() ? "no arguments" : qPrintable(args.join(' '))) << args << kind << request;
        };
        row({}, int(Kind::launch));
        const std::pair<const char *, Kind> verbs[] = {{"toggle", Kind::toggle}, {"show", Kind::show}, {"pause", Kind::pause},
                                                       {"resume", Kind::resume}, {"list", Kind::list}, {"quit", Kind::quit},
                                                       {"sign-in", Kind::signIn}, {"sign-out", Kind::signOut}};
        for (const auto &[verb, kind] : verbs)
            row({verb}, int(kind), QByteArray("{\"command\":\"") + verb + "\"}");
        row({"--help"}, int(Kind::help));
        row({"-h"}, int(Kind::help));
        row({"--version"}, int(Kind::version));
        row({"paste", "2"}, int(Kind::paste), "{\"command\":\"paste\",\"index\":2}");
        row({"config"}, int(Kind::config), "{\"command\":\"config\"}");
        row({"config", "historyLimit", "321"}, int(Kind::config),
            "{\"command\":\"config\",\"key\":\"historyLimit\",\"value\":321}");
        row({"config", "historyLimit", "100", "--yes"}, int(Kind::config),
            "{\"command\":\"config\",\"key\":\"historyLimit\",\"value\":100,\"yes\":true}");
        row({"config", "excludedBundleIDs", "[\"a\"]"}, int(Kind::config),
            "{\"command\":\"config\",\"key\":\"excludedBundleIDs\",\"value\":[\"a\"]}");
        row({"stashwell://auth?code=a%20b&state=%26"}, int(Kind::openURL),
            "{\"command\":\"url\",\"url\":\"stashwell://auth?code=a%20b&state=%26\"}");
        row({"STASHWELL://auth"}, int(Kind::openURL));
        for (const QStringList &bad : QList<QStringList>{{"paste"}, {"paste", "0"}, {"paste", "-1"}, {"paste", "two"},
                                                         {"paste", "1", "2"}, {"paste", "99999999999999"},
                                                         {"https://example.com/"}, {"file:///etc/passwd"},
                                                         {"frobnicate"}, {"url"}, {"launch"}, {"toggle", "now"},
                                                         {"stashwell://auth", "extra"}, {"config", "a", "b", "c"},
                                                         {"config", "historyLimit", "--yes"}})
            row(bad, -1);
    }
    void parse()
    {
        QFETCH(QStringList, args);
        QFETCH(int, kind);
        QFETCH(QByteArray, request);
        const CommandLine::Parsed parsed = CommandLine::parse(args);
        QCOMPARE(parsed.command ? int(parsed.command->kind) : -1, kind);
        QCOMPARE(parsed.error.isEmpty(), kind != -1);
        if (!request.isEmpty())
            QCOMPARE(parsed.command->toRequest(), request);
        if (parsed.command && !parsed.command->isLocal()) // and the running instance reads it back
            QCOMPARE(ShellCommand::fromRequest(parsed.command->toRequest()), parsed.command);
    }

    void configValuesAreJsonOrElseText()
    {
        const std::pair<const char *, QJsonValue> cases[] = {
            {"true", true}, {"1.5", 1.5}, {"null", QJsonValue::Null}, {"\"12\"", "12"},
            {"[\"org.a\", \"org.b\"]", QJsonArray{"org.a", "org.b"}}, {"de", "de"}, {"1,2", "1,2"}, {"[1", "[1"},
            {"1],[2", "1],[2"}}; // no way out of the wrapping
        for (const auto &[text, value] : cases)
            QCOMPARE(CommandLine::configValue(text), value);
    }

    void printableDropsEscapeSequencesAndControlCharacters_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("shown");
        QTest::newRow("colour") << "\x1b[1;31mred\x1b[0m" << "red";
        QTest::newRow("title, BEL") << "a\x1b]0;owned\ab" << "ab";
        QTest::newRow("link, ST") << "a\x1b]8;;http://x\x1b\\link\x1b]8;;\x1b\\" << "alink";
        QTest::newRow("unended string") << "a\x1bPq\n2\tb\n" << "a\n2\tb\n";
        QTest::newRow("8-bit CSI") << "a\u009b2Jb\u0085" << "ab";
        QTest::newRow("reset, CR, BS, DEL") << "a\x1b" "cb\rc\bd\x7f\x1b" << "abcd";
        QTest::newRow("text") << "1\tü 日本 🙂\n" << "1\tü 日本 🙂\n";
    }
    void printableDropsEscapeSequencesAndControlCharacters()
    {
        QFETCH(QString, text);
        QTEST(CommandLine::printable(text), "shown");
    }

    void badRequestsAreRejected()
    {
        for (const char *line : {"", "garbage", "{}", "[1,2]", "{\"command\":\"format-disk\"}", "{\"command\":\"help\"}",
                                 "{\"command\":\"paste\"}", "{\"command\":\"paste\",\"index\":0}",
                                 "{\"command\":\"paste\",\"index\":1.5}", "{\"command\":\"paste\",\"index\":\"2\"}",
                                 "{\"command\":\"url\",\"url\":\"https://evil.example/\"}", "{\"command\":\"url\"}",
                                 "{\"command\":\"config\",\"value\":1}", "{\"command\":\"config\",\"key\":5}"})
            QVERIFY2(!ShellCommand::fromRequest(line), line);
    }

    void qtOptionsAreLeftOut()
    {
        QByteArrayList raw{"stashwell", "-platform", "offscreen", "paste", "--style=fusion", "-reverse", "3"};
        std::vector<char *> argv;
        for (QByteArray &a : raw)
            argv.push_back(a.data());
        QCOMPARE(CommandLine::arguments(int(argv.size()), argv.data()), (QStringList{"paste", "3"}));
    }

    void theSocketIsPrivateAndNamedAfterUserAndDisplay()
    {
        qputenv("XDG_RUNTIME_DIR", m_dir.path().toUtf8());
        qputenv("DISPLAY", "../../etc:1.0");
        QCOMPARE(SingleInstance::defaultSocketPath(), m_dir.filePath("stashwell-%1-.._.._etc_1.sock").arg(::getuid()));
        auto instance = server();
        struct stat info {};
        QCOMPARE(::stat(QFile::encodeName(path()).constData(), &info), 0);
        QCOMPARE(info.st_mode & 0777, mode_t(0600));
    }

    void onlyAPrivateDirectoryOfTheUsersHoldsTheSocket_data()
    {
        QTest::addColumn<QString>("spoiled"); // how the directories are spoiled
        QTest::addColumn<QString>("why");
        QTest::newRow("group can write") << "0770" << "has mode 0770, not 0700";
        QTest::newRow("anyone can write") << "0777" << "has mode 0777, not 0700";
        QTest::newRow("link to a private one") << "link" << "is a symbolic link";
        QTest::newRow("another user's") << "owner" << "belongs to another user (uid 4242)";
    }
    void onlyAPrivateDirectoryOfTheUsersHoldsTheSocket()
    {
        QFETCH(QString, spoiled);
        QFETCH(QString, why);
        if (spoiled == QLatin1String("owner") && ::geteuid() != 0)
            QSKIP("only root can give a directory to another user");
        QTemporaryDir tmp;
        const QByteArray oldTmp = qgetenv("TMPDIR");
        const auto restore = qScopeGuard([&] { qputenv("TMPDIR", oldTmp); });
        qputenv("TMPDIR", tmp.path().toUtf8());
        const auto spoil = [&](const QString &dir) {
            const QByteArray name = QFile::encodeName(dir), real = name + ".real";
            if (spoiled == QLatin1String("link"))
                return ::mkdir(real.constData(), 0700) == 0 && ::symlink(real.constData(), name.constData()) == 0;
            const bool owner = spoiled == QLatin1String("owner");
            return ::mkdir(name.constData(), 0700) == 0 && ::chmod(name.constData(), owner ? 0700 : spoiled.toUInt(nullptr, 8)) == 0
                && (!owner || ::chown(name.constData(), 4242, 4242) == 0);
        };
        const QString runtime = tmp.filePath("runtime"), fallback = tmp.filePath("stashwell-%1").arg(::getuid());
        QVERIFY(spoil(runtime));
        qputenv("XDG_RUNTIME_DIR", runtime.toUtf8());
        QString error;
        QCOMPARE(QFileInfo(SingleInstance::defaultSocketPath(&error)).path(), fallback); // made private here
        QVERIFY(!(QFileInfo(fallback).permissions() & 0x0077));
        QVERIFY(QDir(fallback).removeRecursively() && spoil(fallback));
        QCOMPARE(SingleInstance::defaultSocketPath(&error), QString());
        QVERIFY2(error.contains(fallback + QLatin1Char(' ') + why), qPrintable(error));
    }

    void aSecondInstanceForwardsAndExitsWithTheReplysStatus()
    {
        QString out, err;
        QTextStream outStream(&out), errStream(&err);
        SingleInstance first(path());
        QCOMPARE(first.claim({Kind::toggle}, outStream, errStream), std::nullopt); // alone: it becomes the instance
        QVERIFY(first.listen());
        first.setHandler([this](const ShellCommand &c) { return handle(c); });

        SingleInstance second(path());
        const auto claim = [&](ShellCommand c) { return offThread([&] { return second.claim(c, outStream, errStream); }); };
        const ShellCommand url{Kind::openURL, 0, QUrl(QStringLiteral("stashwell://auth?code=x&state=y"))};
        QCOMPARE(claim({Kind::list}), std::optional(0));
        QCOMPARE(claim({Kind::paste, 9}), std::optional(1));
        QCOMPARE(claim({Kind::config}), std::optional(2)); // used wrongly
        QCOMPARE(claim(url), std::optional(0));
        outStream.flush();
        errStream.flush();
        QCOMPARE(out, QStringLiteral("1\tnewest\n"));
        QCOMPARE(err, QStringLiteral("No entry\nUnknown setting: x\n"));
        QCOMPARE(m_received, (QList<ShellCommand>{{Kind::list}, {Kind::paste, 9}, {Kind::config}, url}));
        QVERIFY(!second.isListening());
    }

    void withoutARunningInstanceOnlyWhatStartsOneGoesOn()
    {
        QString out, err;
        QTextStream outStream(&out), errStream(&err);
        QCOMPARE(SingleInstance(path()).forward({Kind::toggle}, 300), std::nullopt);
        for (Kind kind : {Kind::launch, Kind::toggle, Kind::show, Kind::pause, Kind::resume, Kind::openURL, Kind::signIn,
                          Kind::signOut})
            QCOMPARE(SingleInstance(path()).claim({kind}, outStream, errStream), std::nullopt); // this one starts
        // config goes to the preferences file itself (here: handle), the others fail.
        const auto withoutInstance = [this](const ShellCommand &c) { return handle(c); };
        for (Kind kind : {Kind::list, Kind::paste, Kind::quit})
            QCOMPARE(SingleInstance(path()).claim({kind, 1}, outStream, errStream, withoutInstance), std::optional(1));
        QCOMPARE(SingleInstance(path()).claim({Kind::config}, outStream, errStream, withoutInstance), std::optional(2));
        QCOMPARE(m_received, QList<ShellCommand>{{Kind::config}});
        QCOMPARE(SingleInstance(path()).claim({Kind::help}, outStream, errStream), std::optional(0)); // answered here
        outStream.flush();
        errStream.flush();
        QCOMPARE(err, QStringLiteral("Stashwell is not running.\n").repeated(3) + QStringLiteral("Unknown setting: x\n"));
        QVERIFY(out.startsWith(QStringLiteral("Usage: stashwell")));
    }

    void aLiveInstanceKeepsItsSocketAndAStaleOneIsReplaced()
    {
        {
            auto first = server();
            QVERIFY(first);
            SingleInstance second(path());
            QVERIFY(!offThread([&] { return second.listen(); }));
            QVERIFY(forward(Kind::pause));
        }
        QFile stale(path()); // a crashed instance leaves its file behind
        QVERIFY(stale.open(QIODevice::WriteOnly));
        stale.close();
        auto next = server();
        QVERIFY(next);
        QVERIFY(forward(Kind::resume));
        QCOMPARE(m_received, (QList<ShellCommand>{{Kind::pause}, {Kind::resume}}));
    }

    void requestsBeforeTheServicesStartWaitForThem()
    {
        SingleInstance first(path());
        QVERIFY(first.listen());
        auto reply = std::async(std::launch::async, [&] { return SingleInstance(path()).forward({Kind::toggle}); });
        QTRY_VERIFY(first.findChild<QLocalSocket *>() && first.findChild<QLocalSocket *>()->canReadLine());
        QCOMPARE(reply.wait_for(std::chrono::seconds(0)), std::future_status::timeout); // here, unanswered
        first.setHandler([this](const ShellCommand &c) { return handle(c); });
        QTRY_COMPARE(reply.wait_for(std::chrono::seconds(0)), std::future_status::ready);
        QVERIFY(reply.get().value_or(ShellReply{false}).ok);
        QCOMPARE(m_received, QList<ShellCommand>{{Kind::toggle}});
    }

    void garbageGetsAnErrorReplyAndTheServerGoesOn()
    {
        auto instance = server();
        QVERIFY(instance);
        for (const char *garbage : {"not json\n", "{\"command\":\"paste\",\"index\":-3}\n"}) {
            QLocalSocket peer;
            peer.connectToServer(path());
            QVERIFY(peer.waitForConnected(1000));
            peer.write(garbage);
            QTRY_VERIFY(peer.canReadLine());
            QCOMPARE(ShellReply::fromLine(peer.readLine().trimmed())->ok, false);
        }
        QVERIFY(forward(Kind::list));
        QCOMPARE(m_received, QList<ShellCommand>{{Kind::list}});
    }
};

QTEST_GUILESS_MAIN(CommandLineTest)
#include "CommandLineTest.moc"

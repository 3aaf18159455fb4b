// Single instance: forwarding between two ends of the per-user socket, the start-up claim,
// and peers that misbehave.
#include "app/SingleInstance.h"

#include <QLocalSocket>
#include <QTemporaryDir>
#include <QtTest>
#include <atomic>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

// Runs `f` on a thread of its own (a second process's blocking client) while this thread
// keeps serving.
template <typename F> auto offThread(F f)
{
    std::optional<decltype(f())> result;
    std::atomic<bool> done = false;
    std::thread thread([&] {
        result = f();
        done = true;
    });
    while (!done)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    thread.join();
    return *result;
}

ShellCommand command(ShellCommand::Kind kind, int index = 0)
{
    return ShellCommand{kind, index, {}};
}

} // namespace

class SingleInstanceTest : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QList<ShellCommand> m_received;

    QString path() const { return m_dir.path() + QStringLiteral("/test.sock"); }
    std::unique_ptr<SingleInstance> server()
    {
        auto instance = std::make_unique<SingleInstance>(path());
        if (!instance->listen())
            return nullptr;
        instance->setHandler([this](const ShellCommand &c) {
            m_received << c;
            return c.kind == ShellCommand::Kind::list ? ShellReply{true, QStringLiteral("1\tnewest\n2\tolder\n")}
                                                      : ShellReply{};
        });
        return instance;
    }

private slots:
    void init() { m_received.clear(); }

    void socketIsPerUserAndDisplayInTheRuntimeDirectory()
    {
        qputenv("XDG_RUNTIME_DIR", m_dir.path().toUtf8());
        qputenv("DISPLAY", ":77.0");
        QCOMPARE(SingleInstance::defaultSocketPath(),
                 m_dir.path() + QStringLiteral("/stashwell-%1-77.sock").arg(::getuid()));
        qputenv("DISPLAY", "localhost:10.0");
        QCOMPARE(SingleInstance::defaultSocketPath(),
                 m_dir.path() + QStringLiteral("/stashwell-%1-localhost_10.sock").arg(::getuid()));
        qputenv("DISPLAY", "../../etc:1");
        QVERIFY(!SingleInstance::defaultSocketPath().mid(m_dir.path().size() + 1).contains(QLatin1Char('/')));
    }

    void socketFileIsPrivate()
    {
        auto instance = server();
        QVERIFY(instance);
        struct stat info {};
        QCOMPARE(::stat(QFile::encodeName(path()).constData(), &info), 0);
        QVERIFY(S_ISSOCK(info.st_mode));
        QCOMPARE(info.st_mode & 0777, mode_t(0600));
    }

    void commandIsForwardedAndTheReplyComesBack()
    {
        auto instance = server();
        QVERIFY(instance);
        SingleInstance second(path());
        const auto reply = offThread([&] { return second.forward(command(ShellCommand::Kind::list)); });
        QVERIFY(reply);
        QVERIFY(reply->ok);
        QCOMPARE(reply->output, QStringLiteral("1\tnewest\n2\tolder\n"));
        QCOMPARE(m_received, QList{command(ShellCommand::Kind::list)});

        ShellCommand url{ShellCommand::Kind::openURL, 0, QUrl(QStringLiteral("stashwell://auth?code=x&state=y"))};
        QVERIFY(offThread([&] { return second.forward(url); }));
        QCOMPARE(m_received.last().url, url.url);
    }

    void nobodyListeningMeansNoReply()
    {
        SingleInstance second(path());
        QCOMPARE(second.forward(command(ShellCommand::Kind::toggle), 300), std::nullopt);
    }

    void aLiveInstanceKeepsItsSocketAndAStaleFileIsReplaced()
    {
        {
            auto first = server();
            QVERIFY(first);
            SingleInstance second(path());
            QVERIFY(!offThread([&] { return second.listen(); }));
            QVERIFY(first->isListening());
        }
        // A crashed instance leaves its file behind.
        QFile stale(path());
        QVERIFY(stale.open(QIODevice::WriteOnly));
        stale.close();
        SingleInstance next(path());
        QVERIFY(next.listen());
    }

    void claimStartsWhenAloneAndForwardsOtherwise()
    {
        QString out, err;
        QTextStream outStream(&out), errStream(&err);
        SingleInstance first(path());
        QCOMPARE(first.claim(command(ShellCommand::Kind::toggle), outStream, errStream), std::nullopt);
        QVERIFY(!first.isListening()); // the application object comes first
        QVERIFY(first.listen());
        first.setHandler([this](const ShellCommand &c) {
            m_received << c;
            if (c.kind == ShellCommand::Kind::config)
                return ShellReply{false, QStringLiteral("Unknown setting: x\n"), true};
            return c.kind == ShellCommand::Kind::paste ? ShellReply{false, QStringLiteral("No entry 9\n")} : ShellReply{};
        });

        SingleInstance second(path());
        QCOMPARE(offThread([&] { return second.claim(command(ShellCommand::Kind::show), outStream, errStream); }),
                 std::optional(0));
        QCOMPARE(offThread([&] { return second.claim(command(ShellCommand::Kind::paste, 9), outStream, errStream); }),
                 std::optional(1));
        QCOMPARE(offThread([&] { return second.claim(command(ShellCommand::Kind::config), outStream, errStream); }),
                 std::optional(2)); // used wrongly, as for a bad command line
        errStream.flush();
        QCOMPARE(err, QStringLiteral("No entry 9\nUnknown setting: x\n"));
        QCOMPARE(m_received, (QList{command(ShellCommand::Kind::show), command(ShellCommand::Kind::paste, 9),
                                    command(ShellCommand::Kind::config)}));
        QVERIFY(!second.isListening());
    }

    void listPasteQuitAndConfigFailWhenNothingRuns()
    {
        for (ShellCommand::Kind kind : {ShellCommand::Kind::list, ShellCommand::Kind::paste, ShellCommand::Kind::quit,
                                        ShellCommand::Kind::config}) {
            QString out, err;
            QTextStream outStream(&out), errStream(&err);
            SingleInstance alone(path());
            QCOMPARE(alone.claim(command(kind, 1), outStream, errStream), std::optional(1));
            errStream.flush();
            QCOMPARE(err, QStringLiteral("Stashwell is not running.\n"));
            QVERIFY(!alone.isListening());
        }
    }

    void helpAndVersionAreAnsweredLocally()
    {
        QString out, err;
        QTextStream outStream(&out), errStream(&err);
        SingleInstance alone(path());
        QCOMPARE(alone.claim(command(ShellCommand::Kind::help), outStream, errStream), std::optional(0));
        QCOMPARE(alone.claim(command(ShellCommand::Kind::version), outStream, errStream), std::optional(0));
        outStream.flush();
        QVERIFY(out.startsWith(QStringLiteral("Usage: stashwell")));
        QVERIFY(out.contains(QStringLiteral("Stashwell 0.")));
        QVERIFY(!alone.isListening());
    }

    void requestsBeforeTheServicesStartWaitForThem()
    {
        SingleInstance first(path());
        QVERIFY(first.listen());
        SingleInstance second(path());
        std::atomic<bool> done = false;
        std::optional<ShellReply> reply;
        std::thread client([&] {
            reply = second.forward(command(ShellCommand::Kind::toggle));
            done = true;
        });
        QTest::qWait(300);
        QVERIFY(!done);
        first.setHandler([this](const ShellCommand &c) {
            m_received << c;
            return ShellReply{};
        });
        QTRY_VERIFY(done);
        client.join();
        QVERIFY(reply && reply->ok);
        QCOMPARE(m_received, QList{command(ShellCommand::Kind::toggle)});
    }

    void garbageGetsAnErrorReplyAndTheServerGoesOn()
    {
        auto instance = server();
        QVERIFY(instance);
        QStringList rejected;
        connect(instance.get(), &SingleInstance::clientRejected, this, [&](const QString &why) { rejected << why; });
        for (const QByteArray &garbage : {QByteArray("not json\n"), QByteArray("\x00\xff\xfe{\n", 5),
                                         QByteArray("{\"command\":\"paste\",\"index\":-3}\n")}) {
            QLocalSocket peer;
            peer.connectToServer(path());
            QVERIFY(peer.waitForConnected(1000));
            peer.write(garbage);
            QTRY_VERIFY(peer.canReadLine());
            QCOMPARE(ShellReply::fromLine(peer.readLine().trimmed())->ok, false);
        }
        QVERIFY(m_received.isEmpty());
        QCOMPARE(rejected.count(QStringLiteral("not a request")), 3);
        SingleInstance second(path());
        QVERIFY(offThread([&] { return second.forward(command(ShellCommand::Kind::pause)); }));
        QCOMPARE(m_received, QList{command(ShellCommand::Kind::pause)});
    }

    void anEndlessLineIsCutOff()
    {
        auto instance = server();
        QVERIFY(instance);
        QLocalSocket peer;
        peer.connectToServer(path());
        QVERIFY(peer.waitForConnected(1000));
        const QByteArray chunk(4096, 'x');
        for (int i = 0; i < 64 && peer.state() == QLocalSocket::ConnectedState; ++i) {
            peer.write(chunk);
            peer.flush();
            QCoreApplication::processEvents();
        }
        QTRY_COMPARE_WITH_TIMEOUT(peer.state(), QLocalSocket::UnconnectedState, 3000);
        QVERIFY(m_received.isEmpty());
    }

    void aSilentClientTimesOutWithoutBlockingOthers()
    {
        auto instance = server();
        QVERIFY(instance);
        QStringList rejected;
        connect(instance.get(), &SingleInstance::clientRejected, this, [&](const QString &why) { rejected << why; });
        QLocalSocket silent;
        silent.connectToServer(path());
        QVERIFY(silent.waitForConnected(1000));
        silent.write("{\"command\":\"toggle\""); // never finished
        QElapsedTimer clock;
        clock.start();
        SingleInstance second(path());
        QVERIFY(offThread([&] { return second.forward(command(ShellCommand::Kind::list)); }));
        QVERIFY(clock.elapsed() < 2000); // served while the silent one waits
        QTRY_COMPARE_WITH_TIMEOUT(silent.state(), QLocalSocket::UnconnectedState, SingleInstance::clientTimeoutMs + 2000);
        QVERIFY2(clock.elapsed() >= SingleInstance::clientTimeoutMs * 9 / 10, // coarse timers may fire 5 % early
                 qPrintable(QString::number(clock.elapsed()) + rejected.join(",")));
        QCOMPARE(m_received, QList{command(ShellCommand::Kind::list)});
    }

    void tooManyClientsAreTurnedAway()
    {
        auto instance = server();
        QVERIFY(instance);
        std::vector<std::unique_ptr<QLocalSocket>> idle;
        for (int i = 0; i < SingleInstance::maxClients + 4; ++i) {
            idle.push_back(std::make_unique<QLocalSocket>());
            idle.back()->connectToServer(path());
            idle.back()->waitForConnected(1000);
        }
        QTRY_VERIFY(std::count_if(idle.begin(), idle.end(), [](const auto &s) {
                        return s->state() == QLocalSocket::UnconnectedState;
                    }) >= 4);
        idle.clear(); // they hang up; the server has room again
        QTest::qWait(100);
        SingleInstance second(path());
        const auto reply = offThread([&] { return second.forward(command(ShellCommand::Kind::list)); });
        QVERIFY(reply && reply->ok);
    }
};

QTEST_GUILESS_MAIN(SingleInstanceTest)
#include "SingleInstanceTest.moc"

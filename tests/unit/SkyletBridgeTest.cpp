// Part 5.2 edge cases, against a real companion: a listening Unix-domain socket at
// $XDG_DATA_HOME/Skylet/bridge.sock, with XDG_DATA_HOME pointed at a temporary directory.
#include "bridge/SkyletBridge.h"
#include "common/Paths.h"
#include "fakes/StoreFixture.h"
#include "l10n/FrameworkLanguage.h"
#include "l10n/L10n.h"
#include "l10n/LocalizationTables.h"

#include <QBuffer>
#include <QDir>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalServer>
#include <QLocalSocket>
#include <QTimer>
#include <QtTest>
#include <csignal>

namespace {

// The companion's end: listens at Paths::skyletSocket() and records the lines of each
// connection it accepted, in order.
class Companion : public QObject {
public:
    ~Companion() override { stop(); }

    bool listen()
    {
        const QString path = Paths::skyletSocket();
        QDir().mkpath(QFileInfo(path).path());
        QLocalServer::removeServer(path);
        m_server = std::make_unique<QLocalServer>();
        connect(m_server.get(), &QLocalServer::newConnection, this, [this] {
            while (QLocalSocket *socket = m_server->nextPendingConnection()) {
                dropClient();
                client = socket;
                sessions.append(QList<QByteArray>());
                m_partial.clear();
                connect(socket, &QLocalSocket::readyRead, socket, [this, socket] {
                    if (socket == client)
                        receive();
                });
            }
        });
        return m_server->listen(path);
    }
    // The companion quits: no listener, no socket file, the connection closed.
    void stop()
    {
        dropClient();
        m_server.reset();
        QFile::remove(Paths::skyletSocket());
    }
    // The companion closes its end of the current connection.
    void dropClient()
    {
        if (client) {
            client->abort();
            client->deleteLater();
            client = nullptr;
        }
    }
    void write(const QByteArray &bytes)
    {
        client->write(bytes);
        client->flush();
    }
    void writeMessage(const QByteArray &json) { write(json + '\n'); }

    QList<QByteArray> &lines() { return sessions.last(); }
    qsizetype lineCount() const { return sessions.isEmpty() ? 0 : sessions.last().size(); }
    WidgetMessage message(qsizetype index)
    {
        const auto decoded = WidgetMessage::decode(lines().at(index));
        return decoded ? *decoded : WidgetMessage{};
    }
    WidgetMessage last() { return message(lines().size() - 1); }

    QLocalSocket *client = nullptr;
    QList<QList<QByteArray>> sessions;

private:
    void receive()
    {
        m_partial += client->readAll();
        qsizetype end;
        while ((end = m_partial.indexOf('\n')) >= 0) {
            sessions.last().append(m_partial.left(end));
            m_partial.remove(0, end + 1);
        }
    }

    std::unique_ptr<QLocalServer> m_server;
    QByteArray m_partial;
};

int openDescriptors()
{
    return int(QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System).size());
}

QByteArray command(const QString &actionId, const QJsonValue &itemId)
{
    QJsonObject object{{"v", 1}, {"type", "widget.command"}, {"app", "com.norvane.Skylet"}};
    if (!actionId.isEmpty())
        object.insert("actionId", actionId);
    if (!itemId.isUndefined())
        object.insert("itemId", itemId);
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QByteArray hostInfo(const std::optional<QString> &lang)
{
    QJsonObject object{{"v", 1}, {"type", "widget.hostinfo"}, {"app", "com.norvane.Skylet"}};
    if (lang)
        object.insert("lang", *lang);
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QStringList titles(const WidgetMessage &state)
{
    QStringList list;
    for (const WidgetItem &item : state.items.value_or(QList<WidgetItem>()))
        list << item.title.value_or(QStringLiteral("<none>"));
    return list;
}

constexpr int longTick = 3600 * 1000; // ticks that never come during a test
constexpr int waitMs = 5000;

} // namespace

class SkyletBridgeTest : public QObject {
    Q_OBJECT
    QTemporaryDir dataHome;
    std::unique_ptr<StoreFixture> f;
    std::unique_ptr<DefaultsStore> defaults;
    std::unique_ptr<FrameworkLanguage> framework;
    std::unique_ptr<L10n> l10n;
    std::unique_ptr<Companion> companion;
    std::unique_ptr<SkyletBridge> bridge;
    QStringList shown;
    QList<ClipItem> confirmed;
    QStringList logLines;

    SkyletBridge &makeBridge(int tickMs = longTick)
    {
        SkyletBridgeOptions options;
        options.tickMs = tickMs;
        options.relativeTimeLanguage = QStringLiteral("en");
        options.appID = QStringLiteral("com.norvane.Stashwell");
        options.log = [this](const QString &line) { logLines << line; };
        bridge = std::make_unique<SkyletBridge>(
            *f->store, *l10n, f->clock, [this](const QString &trigger) { shown << trigger; },
            [this](const ClipItem &item) { confirmed << item; }, options);
        return *bridge;
    }
    // A companion listening and a started bridge connected to it, its first state received.
    bool connectedPair(int tickMs = longTick)
    {
        if (!companion->listen())
            return false;
        makeBridge(tickMs).start();
        return QTest::qWaitFor([this] { return companion->lineCount() >= 1; }, waitMs);
    }
    void ingestText(const QString &text)
    {
        f->clock.advance(10); // never a burst of growing selections
        f->store->ingest(StoreFixture::text(text));
    }
    // Lets the bytes in flight arrive; then the number of lines must not have changed.
    void expectNothingMore(qsizetype lines)
    {
        QTest::qWait(150);
        QCOMPARE(companion->lineCount(), lines);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(dataHome.isValid());
        qputenv("XDG_DATA_HOME", dataHome.path().toUtf8());
        QCOMPARE(Paths::skyletSocket(), dataHome.path() + "/Skylet/bridge.sock");
        // Writing to a vanished peer must not kill the process through SIGPIPE.
        std::signal(SIGPIPE, SIG_DFL);
    }

    void init()
    {
        f = std::make_unique<StoreFixture>();
        defaults = std::make_unique<DefaultsStore>(QString());
        framework = std::make_unique<FrameworkLanguage>(std::vector<TranslationCatalog>{},
                                                        [] { return QStringList{"en-US"}; });
        l10n = std::make_unique<L10n>(*defaults, *framework, [] { return QStringList{"en-US"}; });
        companion = std::make_unique<Companion>();
        shown.clear();
        confirmed.clear();
        logLines.clear();
    }

    void cleanup()
    {
        bridge.reset();
        companion.reset();
        l10n.reset();
        framework.reset();
        f.reset();
    }

    void defaultTickIsSixSeconds()
    {
        QCOMPARE(SkyletBridge::defaultTickMs, 6000);
        SkyletBridge defaultBridge(*f->store, *l10n, f->clock, {}, {});
        QCOMPARE(defaultBridge.tickInterval(), 6000);
        defaultBridge.start();
        auto *timer = defaultBridge.findChild<QTimer *>();
        QVERIFY(timer);
        QCOMPARE(timer->interval(), 6000);
        QVERIFY(timer->isActive());
        QVERIFY(!defaultBridge.isConnected());
    }

    void withoutSocketFileNoSocketIsCreatedThenConnectsWithinOneTick()
    {
        constexpr int tick = 300;
        const int before = openDescriptors();
        makeBridge(tick).start();
        QTest::qWait(3 * tick + 100); // three attempts
        QVERIFY(!bridge->isConnected());
        QCOMPARE(openDescriptors(), before);

        QVERIFY(companion->listen());
        QElapsedTimer sinceAppeared;
        sinceAppeared.start();
        QTRY_VERIFY_WITH_TIMEOUT(bridge->isConnected(), waitMs);
        QVERIFY2(sinceAppeared.elapsed() < 2 * tick, qPrintable(QString::number(sinceAppeared.elapsed())));
        QTRY_VERIFY_WITH_TIMEOUT(companion->lineCount() >= 1, waitMs);
        QCOMPARE(companion->message(0).type, QStringLiteral("widget.state"));
    }

    void firstLineIsStateAndEmptyHistoryDeclaresEmptyItems()
    {
        QVERIFY(connectedPair());
        const QByteArray line = companion->lines().first();
        QVERIFY(!line.contains("null"));
        const QJsonObject object = QJsonDocument::fromJson(line).object();
        QCOMPARE(object.keys(), QStringList({"actions", "app", "items", "itemsTitle", "locked", "name", "type", "v"}));
        QVERIFY(line.contains("\"items\":[]"));
        QVERIFY(line.startsWith("{\"v\":1,\"type\":\"widget.state\",\"app\":\"com.norvane.Stashwell\","));
        const WidgetMessage state = companion->message(0);
        QCOMPARE(state.name, QStringLiteral("Stashwell"));
        QCOMPARE(state.locked, false);
        QCOMPARE(state.itemsTitle, QStringLiteral("Recent clips"));
        QCOMPARE(state.actions->size(), 1);
        const WidgetAction action = state.actions->first();
        QCOMPARE(action.id, QStringLiteral("openPalette"));
        QCOMPARE(action.title, QStringLiteral("Open Stashwell"));
        QCOMPARE(action.symbol, QStringLiteral("doc.on.clipboard"));
        QCOMPARE(action.tint, 689407);
        QCOMPARE(action.detail, QStringLiteral("Picks from the clipboard history and pastes"));
        expectNothingMore(1);
    }

    void newCopyIsDeclaredAtOnceWithItsMeta()
    {
        ingestText("first");
        QVERIFY(connectedPair());
        f->clock.advance(290);
        ingestText("second"); // first is now 300 s old
        QTRY_COMPARE_WITH_TIMEOUT(companion->lineCount(), 2, waitMs);
        const WidgetMessage state = companion->last();
        QCOMPARE(titles(state), QStringList({"second", "first"}));
        const ClipItem &newest = f->store->items().first();
        QCOMPARE(state.items->at(0).id, newest.idString());
        QCOMPARE(state.items->at(0).id.size(), 36);
        QCOMPARE(state.items->at(0).id, state.items->at(0).id.toUpper());
        QCOMPARE(state.items->at(0).meta, QStringLiteral("Text \u00B7 0 sec. ago"));
        QCOMPARE(state.items->at(1).meta, QStringLiteral("Text \u00B7 5 min. ago"));
        QVERIFY(!state.items->at(0).path && !state.items->at(0).sub && !state.items->at(0).tint);
        QCOMPARE(bridge->lastSentIDs(), QList<QUuid>({f->store->items()[0].id, f->store->items()[1].id}));
    }

    void unchangedSelectionSendsNothingButOrderChangeSendsAtOnce()
    {
        for (int i = 1; i <= 12; ++i)
            ingestText(QStringLiteral("entry %1").arg(i));
        QVERIFY(connectedPair());
        QCOMPARE(companion->last().items->size(), 10);
        QCOMPARE(titles(companion->last()).first(), QStringLiteral("entry 12"));

        // A colour entry without text, and a change below the first ten: nothing is sent.
        ClipCapture colour;
        colour.kind = ClipKind::color;
        colour.colorHex = QStringLiteral("#FF8800");
        f->clock.advance(10);
        f->store->ingest(colour);
        QCOMPARE(f->store->items().first().kind, ClipKind::color);
        f->store->remove(f->store->items().last().id); // "entry 1", eleventh with text
        expectNothingMore(1);

        // Copying "entry 5" again moves it to the top: the order changed.
        ingestText("entry 5");
        QTRY_COMPARE_WITH_TIMEOUT(companion->lineCount(), 2, waitMs);
        QCOMPARE(titles(companion->last()).mid(0, 3), QStringList({"entry 5", "entry 12", "entry 11"}));
    }

    void tickForcesDeclarationWhileConnected()
    {
        ingestText("steady");
        QVERIFY(connectedPair(200));
        QTRY_VERIFY_WITH_TIMEOUT(companion->lineCount() >= 3, waitMs);
        QCOMPARE(companion->last(), companion->message(0));
    }

    void entriesWithoutTextOrImageAreNeverListed()
    {
        ClipCapture file;
        file.kind = ClipKind::file;
        file.fileURLs = QStringList{"/home/u/report.pdf"};
        f->store->ingest(file);
        f->clock.advance(10);
        f->store->ingest(StoreFixture::image(4, 3));
        ClipCapture colour;
        colour.kind = ClipKind::color;
        colour.colorHex = QStringLiteral("#112233");
        f->clock.advance(10);
        f->store->ingest(colour);
        ingestText(" \n\t\n ");
        QCOMPARE(f->store->items().size(), 4);

        QVERIFY(connectedPair());
        const WidgetMessage state = companion->message(0);
        QCOMPARE(state.items->size(), 2);
        QCOMPARE(state.items->at(0).title, QString()); // only spaces and line breaks: listed, empty
        QCOMPARE(state.items->at(0).meta, QStringLiteral("Text \u00B7 0 sec. ago"));
        const ClipItem image = f->store->items().at(2);
        QVERIFY(image.hasImage);
        QCOMPARE(state.items->at(1).id, image.idString());
        QCOMPARE(state.items->at(1).title, image.displayTitle());
        QCOMPARE(state.items->at(1).title, QStringLiteral("4 × 3"));
        QCOMPARE(state.items->at(1).path, f->store->blobsDir() + "/" + image.idString() + ".png");
        QVERIFY(QDir::isAbsolutePath(*state.items->at(1).path));
        QVERIFY(QFile::exists(*state.items->at(1).path));
        QCOMPARE(state.items->at(1).meta, QStringLiteral("Image \u00B7 20 sec. ago"));
    }

    void titlesAreFirstLineCutToSixtyCharactersAndSurviveEscaping()
    {
        const QString special = QStringLiteral("He said \"hi\" \\ C:\\temp\\ / \u00e9\U0001F600");
        ingestText(QStringLiteral("\n\n  \r\n") + special + QStringLiteral("\r\nsecond line"));
        const QString family = QStringLiteral("\U0001F468\u200D\U0001F469\u200D\U0001F467"); // one character
        ingestText(family.repeated(70) + QStringLiteral("\nrest"));
        ingestText(QStringLiteral("line\u2028separated"));
        QVERIFY(connectedPair());

        const QByteArray line = companion->lines().first();
        QVERIFY(!line.contains('\r'));
        const WidgetMessage state = companion->message(0);
        QCOMPARE(titles(state), QStringList({"line", family.repeated(60), special}));
        QCOMPARE(SkyletBridge::textTitle(QString(80, QChar('x'))), QString(60, QChar('x')));
    }

    void framingHandlesSplitsJoinsAndBlankLines()
    {
        QVERIFY(connectedPair());
        const QByteArray open = command("openPalette", QJsonValue::Undefined);
        // Two messages in one read, with blank lines around them.
        companion->write("\n" + open + "\n\n" + open + "\n");
        QTRY_COMPARE_WITH_TIMEOUT(shown.size(), 2, waitMs);
        // A message split over reads; the read ends in the middle of it.
        companion->write(open.left(10));
        QTRY_COMPARE_WITH_TIMEOUT(bridge->bufferedBytes(), 10, waitMs);
        companion->write(open.mid(10, 15));
        QTRY_COMPARE_WITH_TIMEOUT(bridge->bufferedBytes(), 25, waitMs);
        QCOMPARE(shown.size(), 2);
        companion->write(open.mid(25) + "\n" + open.left(5));
        QTRY_COMPARE_WITH_TIMEOUT(shown.size(), 3, waitMs);
        QTRY_COMPARE_WITH_TIMEOUT(bridge->bufferedBytes(), 5, waitMs);
        // A line that is not a message is skipped; the next one still counts.
        companion->write(open.mid(5) + "\n{not json\n{\"type\":\"widget.command\"}\n" + open + "\n");
        QTRY_COMPARE_WITH_TIMEOUT(shown.size(), 5, waitMs);
        QCOMPARE(shown, QStringList(5, "notch"));
        QVERIFY(bridge->isConnected());
    }

    void commandWithExistingItemConfirmsItAndIgnoresTheAction()
    {
        ingestText("paste me");
        ingestText("newer");
        QVERIFY(connectedPair());
        const ClipItem target = f->store->items().at(1);
        companion->writeMessage(command("openPalette", target.idString()));
        QTRY_COMPARE_WITH_TIMEOUT(confirmed.size(), 1, waitMs);
        QCOMPARE(confirmed.first(), target);
        QVERIFY(shown.isEmpty());
        QCOMPARE(logLines.last(), "skylet command action=openPalette item=" + target.idString());

        // Without an action, lower case: still that entry.
        companion->writeMessage(command(QString(), target.idString().toLower()));
        QTRY_COMPARE_WITH_TIMEOUT(confirmed.size(), 2, waitMs);
        QCOMPARE(confirmed.last().id, target.id);
        QCOMPARE(logLines.last(), "skylet command action=- item=" + target.idString().toLower());
    }

    void commandWithUnknownItemFallsThroughToTheAction()
    {
        ingestText("present");
        QVERIFY(connectedPair());
        companion->writeMessage(command("openPalette", QUuid::createUuid().toString(QUuid::WithoutBraces)));
        QTRY_COMPARE_WITH_TIMEOUT(shown, QStringList{"notch"}, waitMs);
        companion->writeMessage(command("openPalette", "not-a-uuid"));
        companion->writeMessage(command("openPalette", QJsonValue::Null)); // null itemId: no item
        companion->writeMessage(command("openPalette", f->store->items()[0].id.toString())); // braces
        QTRY_COMPARE_WITH_TIMEOUT(shown.size(), 4, waitMs);
        companion->writeMessage(command("somethingElse", QJsonValue::Undefined));
        companion->writeMessage(command("openPalette", QJsonValue::Undefined));
        QTRY_COMPARE_WITH_TIMEOUT(shown.size(), 5, waitMs);
        QCOMPARE(shown, QStringList(5, "notch"));
        QVERIFY(confirmed.isEmpty());
        QVERIFY(logLines.contains("skylet command action=somethingElse item=-"));
    }

    void hostInfoSwitchesTheDeclaredLanguage()
    {
        l10n->setLanguage(AppLanguage::de); // the application's own language
        ingestText("hallo");
        f->clock.advance(300);
        QVERIFY(l10n->string("menu.open") != l10n->string("menu.open", AppLanguage::en));
        QVERIFY(connectedPair());
        QCOMPARE(companion->message(0).items->at(0).meta, l10n->string("filter.text") + " \u00B7 5 min. ago");
        QCOMPARE(companion->message(0).actions->at(0).title, l10n->string("menu.open", AppLanguage::de));

        companion->writeMessage(hostInfo(QStringLiteral("ja")));
        QTRY_COMPARE_WITH_TIMEOUT(companion->lineCount(), 2, waitMs);
        WidgetMessage state = companion->last();
        const auto ja = [](const char *key) { return LocalizationTables::table(AppLanguage::ja).value(key); };
        QVERIFY(!ja("filter.text").isEmpty() && ja("menu.open") != l10n->string("menu.open", AppLanguage::de));
        QCOMPARE(state.items->at(0).meta, ja("filter.text") + QStringLiteral(" \u00B7 5 分前"));
        QCOMPARE(state.actions->at(0).title, ja("menu.open"));
        QCOMPARE(state.actions->at(0).detail, ja("skylet.dPalette"));
        QCOMPARE(state.itemsTitle, ja("skylet.recent"));
        QCOMPARE(bridge->hostLanguage(), AppLanguage::ja);

        companion->writeMessage(hostInfo(QStringLiteral("ja"))); // the same: nothing extra
        expectNothingMore(2);

        companion->writeMessage(hostInfo(QStringLiteral("xx-unknown")));
        QTRY_COMPARE_WITH_TIMEOUT(companion->lineCount(), 3, waitMs);
        state = companion->last();
        QCOMPARE(state.actions->at(0).title, l10n->string("menu.open", AppLanguage::de));
        QCOMPARE(state.itemsTitle, l10n->string("skylet.recent"));
        QCOMPARE(bridge->hostLanguage(), std::nullopt);
        // The relative-time formatter keeps the companion's last locale.
        QCOMPARE(state.items->at(0).meta, QStringLiteral("Text \u00B7 5 分前"));
        QCOMPARE(bridge->relativeTimeLanguage(), QStringLiteral("ja"));

        companion->writeMessage(hostInfo(std::nullopt)); // already none: nothing
        expectNothingMore(3);
        companion->writeMessage(hostInfo(QStringLiteral("zh-Hans")));
        QTRY_COMPARE_WITH_TIMEOUT(companion->lineCount(), 4, waitMs);
        QCOMPARE(companion->last().itemsTitle, l10n->string("skylet.recent", AppLanguage::zhHans));
        companion->writeMessage(hostInfo(std::nullopt)); // no lang: back to German
        QTRY_COMPARE_WITH_TIMEOUT(companion->lineCount(), 5, waitMs);
        QCOMPARE(companion->last().actions->at(0).title, l10n->string("menu.open", AppLanguage::de));
    }

    void companionClosingIsNoticedAndReconnectedWithinOneTick()
    {
        constexpr int tick = 400;
        ingestText("kept");
        QVERIFY(connectedPair(tick));
        const QList<WidgetItem> declared = *companion->message(0).items;

        companion->stop();
        QTRY_VERIFY_WITH_TIMEOUT(!bridge->isConnected(), waitMs); // end of stream, not a tick
        QTest::qWait(tick + 100); // a tick without a socket file changes nothing
        QVERIFY(!bridge->isConnected());

        QVERIFY(companion->listen());
        QElapsedTimer sinceBack;
        sinceBack.start();
        QTRY_COMPARE_WITH_TIMEOUT(companion->sessions.size(), 2, waitMs);
        QVERIFY2(sinceBack.elapsed() < 2 * tick, qPrintable(QString::number(sinceBack.elapsed())));
        QTRY_VERIFY_WITH_TIMEOUT(companion->lineCount() >= 1, waitMs);
        // The history did not change, yet the new connection starts with a declaration.
        QCOMPARE(companion->message(0).type, QStringLiteral("widget.state"));
        QCOMPARE(*companion->message(0).items, declared);

        // The companion closes only the connection, keeping its socket: also reconnected.
        companion->dropClient();
        QTRY_VERIFY_WITH_TIMEOUT(!bridge->isConnected(), waitMs);
        QTRY_COMPARE_WITH_TIMEOUT(companion->sessions.size(), 3, waitMs);
    }

    void writingToAVanishedPeerDisconnectsWithoutSigpipe()
    {
        QVERIFY(connectedPair());
        companion->dropClient();
        // No event processing in between: the bridge has not read the end of stream yet, so
        // the declaration of the new copy is written to a closed peer (EPIPE, no signal).
        ingestText("into the void");
        QVERIFY(!bridge->isConnected());
        QCOMPARE(bridge->pendingBytes(), 0);
        QCOMPARE(bridge->lastSentIDs().size(), 1); // set before sending, kept after the failure
    }

    void peerSendingTwoMiBWithoutLineFeedIsCapped()
    {
        QVERIFY(connectedPair());
        const QByteArray chunk(64 * 1024, 'x');
        qsizetype maxBuffered = 0;
        for (int i = 0; i < 32; ++i) {
            companion->write(chunk);
            while (companion->client->bytesToWrite() > 0) {
                QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
                maxBuffered = std::max(maxBuffered, bridge->bufferedBytes());
            }
        }
        QTRY_COMPARE_WITH_TIMEOUT(bridge->bufferedBytes(), 0, waitMs); // dropped, not kept
        QVERIFY2(maxBuffered <= LineFramer::defaultMaxLineBytes + SkyletBridge::readChunkBytes,
                 qPrintable(QString::number(maxBuffered)));
        QVERIFY(bridge->isConnected());
        // Framing resumes after the over-long line's line feed.
        companion->write("\n" + command("openPalette", QJsonValue::Undefined) + "\n");
        QTRY_COMPARE_WITH_TIMEOUT(shown, QStringList{"notch"}, waitMs);
    }

    void peerThatStopsReadingNeverBlocksAndGetsWholeFrames()
    {
        constexpr int tick = 300;
        QVERIFY(connectedPair(tick));
        qsizetype maxPending = 0;
        // The companion reads nothing while the history changes (no event processing here):
        // the socket fills, frames wait, and those beyond the cap are lost.
        for (int i = 0; i < 1000; ++i) {
            ingestText(QStringLiteral("%1 ").arg(i) + QString(60, QChar('w')));
            maxPending = std::max(maxPending, bridge->pendingBytes());
        }
        QVERIFY2(maxPending > FrameWriter::defaultMaxPendingBytes / 2, qPrintable(QString::number(maxPending)));
        QVERIFY(maxPending <= FrameWriter::defaultMaxPendingBytes);
        QVERIFY(bridge->isConnected());

        // Once the companion reads again the rest drains, and a tick declares the newest state.
        const QString newest = f->store->items().first().idString();
        QTRY_VERIFY_WITH_TIMEOUT(companion->lineCount() > 1 && companion->last().items &&
                                     companion->last().items->first().id == newest,
                                 waitMs);
        QCOMPARE(bridge->pendingBytes(), 0);
        for (qsizetype i = 0; i < companion->lineCount(); ++i)
            QCOMPARE(companion->message(i).type, QStringLiteral("widget.state")); // no torn frame
        QVERIFY(bridge->isConnected());
    }
};

QTEST_MAIN(SkyletBridgeTest)
#include "SkyletBridgeTest.moc"

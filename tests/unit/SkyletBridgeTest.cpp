// SPDX-License-Identifier: GPL-3.0-or-later
// The bridge against a real companion listening at $XDG_DATA_HOME/Skylet/bridge.sock (a temporary dir).
#include "bridge/SkyletBridge.h"
#include "common/Paths.h"
#include "fakes/StoreFixture.h"
#include "l10n/FrameworkLanguage.h"
#include "l10n/L10n.h"

#include <QLocalServer>
#include <QLocalSocket>
#include <QtTest>
#include <csignal>

namespace {

// The companion's end: keeps the lines received, one list per accepted connection.
class Companion : public QObject {
public:
    ~Companion() override { stop(); }
    bool listen()
    {
        QDir().mkpath(QFileInfo(Paths::skyletSocket()).path());
        server = std::make_unique<QLocalServer>();
        connect(server.get(), &QLocalServer::newConnection, this, [this] {
            dropClient();
            client = server->nextPendingConnection();
            sessions.append(QList<QByteArray>());
            connect(client, &QLocalSocket::readyRead, this, [this, socket = client] {
                while (socket == client && client->canReadLine())
                    sessions.last().append(client->readLine().chopped(1));
            });
        });
        return server->listen(Paths::skyletSocket());
    }
    void stop() // the companion quits: no listener, no socket file
    {
        dropClient();
        server.reset();
        QFile::remove(Paths::skyletSocket());
    }
    void dropClient() { delete std::exchange(client, nullptr); } // only the current connection closes
    void write(const QByteArray &bytes)
    {
        client->write(bytes);
        client->flush();
    }
    qsizetype lineCount() const { return sessions.isEmpty() ? 0 : sessions.last().size(); }
    WidgetMessage message(qsizetype i) const { return WidgetMessage::decode(sessions.last().value(i)).value_or(WidgetMessage()); }
    WidgetMessage last() const { return message(lineCount() - 1); }

    std::unique_ptr<QLocalServer> server;
    QLocalSocket *client = nullptr;
    QList<QList<QByteArray>> sessions;
};

// One line from the companion: a message of `type` with `fields`.
QByteArray fromCompanion(const char *type, QJsonObject fields = {})
{
    fields.insert("v", 1);
    fields.insert("type", type);
    fields.insert("app", "com.norvane.Skylet");
    return QJsonDocument(fields).toJson(QJsonDocument::Compact) + '\n';
}
QByteArray hostInfo(const char *lang) { return fromCompanion("widget.hostinfo", lang ? QJsonObject{{"lang", lang}} : QJsonObject()); }
const QByteArray openPalette = fromCompanion("widget.command", {{"actionId", "openPalette"}});

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
    std::unique_ptr<FrameworkLanguage> framework;
    std::unique_ptr<L10n> l10n;
    std::unique_ptr<Companion> companion;
    std::unique_ptr<SkyletBridge> bridge;
    QStringList shown;
    QList<ClipItem> confirmed;
    QStringList logLines;

    void makeBridge(int tickMs = longTick)
    {
        bridge = std::make_unique<SkyletBridge>(
            *f->store, *l10n, f->clock, [this](const QString &trigger) { shown << trigger; },
            [this](const ClipItem &item) { confirmed << item; },
            SkyletBridgeOptions{tickMs, "en", "com.norvane.Stashwell", [this](const QString &line) { logLines << line; }});
        bridge->start();
    }
    // A companion listening and a started bridge connected to it, its first state received.
    bool connectedPair(int tickMs = longTick)
    {
        if (!companion->listen())
            return false;
        makeBridge(tickMs);
        return QTest::qWaitFor([this] { return companion->lineCount() >= 1; }, waitMs);
    }
    void ingest(const ClipCapture &capture)
    {
        f->clock.advance(10); // never a burst of growing selections
        f->store->ingest(capture);
    }
    void ingestText(const QString &text) { ingest(StoreFixture::text(text)); }

private slots:
    void initTestCase() { qputenv("XDG_DATA_HOME", dataHome.path().toUtf8()); }
    void init()
    {
        f = std::make_unique<StoreFixture>();
        framework = std::make_unique<FrameworkLanguage>(std::vector<TranslationCatalog>{}, [] { return QStringList{"en-US"}; });
        l10n = std::make_unique<L10n>(f->defaults, *framework, [] { return QStringList{"en-US"}; });
        companion = std::make_unique<Companion>();
        shown.clear();
        confirmed.clear();
        logLines.clear();
    }
    void cleanup() { bridge.reset(); } // before the history and the companion it uses

    void staysSilentWithoutTheCompanionThenConnectsWithinOneTick()
    {
        constexpr int tick = 300;
        makeBridge(tick);
        QVERIFY(!bridge->isConnected());
        QVERIFY(!bridge->findChild<QTimer *>()->isActive()); // asleep: no wake-ups while there is no socket
        QVERIFY(companion->listen());
        QElapsedTimer sinceListening;
        sinceListening.start();
        QTRY_COMPARE_WITH_TIMEOUT(companion->lineCount(), 1, waitMs);
        QVERIFY2(sinceListening.elapsed() < 2 * tick, qPrintable(QString::number(sinceListening.elapsed())));
        // An empty history still declares the one action and an empty list, in the app's language.
        QCOMPARE(companion->sessions.last().first(),
                 QByteArray(R"({"v":1,"type":"widget.state","app":"com.norvane.Stashwell","name":"Stashwell",)"
                            R"("actions":[{"id":"openPalette","title":"Open Stashwell","symbol":"doc.on.clipboard",)"
                            R"("tint":689407,"detail":"Picks from the clipboard history and pastes"}],"items":[],)"
                            R"("itemsTitle":"Recent clips","locked":false})"));
    }

    void declaredEntriesCarryTitlePathAndMeta()
    {
        ClipCapture file; // neither text nor image: never listed
        file.kind = ClipKind::file;
        file.fileURLs = QStringList{"/home/u/report.pdf"};
        ingest(file);
        ingest(StoreFixture::image(4, 3));
        f->clock.advance(290);
        ingestText(QStringLiteral(" \n\t\n "));
        const QString special = QStringLiteral("He said \"hi\" \\ C:\\temp\\ / \u00e9\U0001F600");
        ingestText(QStringLiteral("\n\n  \r\n") + special + QStringLiteral("\r\nsecond line"));
        const QString family = QStringLiteral("\U0001F468\u200D\U0001F469\u200D\U0001F467"); // one character
        ingestText(family.repeated(70) + QStringLiteral("\nrest"));
        ingestText(QStringLiteral("line\u2028separated"));
        QVERIFY(connectedPair());
        const WidgetMessage state = companion->message(0);
        QCOMPARE(titles(state), (QStringList{"line", family.repeated(60), special, QString(), "4 × 3"}));
        const WidgetItem newest = state.items->first();
        QCOMPARE(newest.id, f->store->items().first().idString().toUpper());
        QCOMPARE(newest.meta, QStringLiteral("Text \u00B7 0 sec. ago"));
        QVERIFY(!newest.path && !newest.sub && !newest.tint);
        const ClipItem stored = f->store->items().at(4);
        QCOMPARE(state.items->last().path, f->store->blobsDir() + "/" + stored.idString() + ".png");
        QVERIFY(QDir::isAbsolutePath(*state.items->last().path) && QFile::exists(*state.items->last().path));
        QCOMPARE(state.items->last().meta, QStringLiteral("Image \u00B7 5 min. ago"));
    }

    void onlyAChangeAmongTheTenNewestIsDeclared()
    {
        for (int i = 1; i <= 12; ++i)
            ingestText(QStringLiteral("entry %1").arg(i));
        QVERIFY(connectedPair());
        QCOMPARE(companion->last().items->size(), 10);
        f->store->remove(f->store->items().last().id); // below the first ten: nothing to declare
        ingestText("entry 5"); // to the top: declared at once, as the next line
        QTRY_VERIFY_WITH_TIMEOUT(companion->lineCount() >= 2, waitMs);
        QCOMPARE(titles(companion->message(1)).mid(0, 3), QStringList({"entry 5", "entry 12", "entry 11"}));
    }

    void commandsPasteAKnownEntryElseFollowTheAction_data()
    {
        QTest::addColumn<QString>("actionId");
        QTest::addColumn<QString>("itemId"); // "TARGET" stands for the entry's id, "NULL" for null
        QTest::addColumn<QString>("outcome");
        QTest::newRow("known entry wins over the action") << "openPalette" << "TARGET" << "paste";
        QTest::newRow("known entry in lower case") << "" << "target" << "paste";
        QTest::newRow("unknown entry") << "openPalette" << QUuid::createUuid().toString(QUuid::WithoutBraces) << "palette";
        QTest::newRow("entry id in braces") << "openPalette" << "{TARGET}" << "palette";
        QTest::newRow("not an id") << "openPalette" << "not-a-uuid" << "palette";
        QTest::newRow("null entry") << "openPalette" << "NULL" << "palette";
        QTest::newRow("other action") << "somethingElse" << "" << "nothing";
    }
    void commandsPasteAKnownEntryElseFollowTheAction()
    {
        QFETCH(QString, actionId);
        QFETCH(QString, itemId);
        QFETCH(QString, outcome);
        ingestText("paste me");
        ingestText("newer");
        QVERIFY(connectedPair());
        const ClipItem target = f->store->items().at(1);
        const QString id = itemId.replace("TARGET", target.idString()).replace("target", target.idString().toLower());
        QJsonObject fields{{"actionId", actionId}, {"itemId", id == "NULL" ? QJsonValue() : QJsonValue(id)}};
        for (const char *key : {"actionId", "itemId"})
            if (fields.value(key) == QJsonValue(QString()))
                fields.remove(key);
        // A line that is no message is skipped; every command is logged.
        companion->write("{not json\n" + fromCompanion("widget.command", fields) + openPalette);
        QTRY_COMPARE_WITH_TIMEOUT(logLines.size(), 2, waitMs);
        QCOMPARE(logLines.first(), QStringLiteral("skylet command action=%1 item=%2")
                                       .arg(fields.value("actionId").toString("-"), fields.value("itemId").toString("-")));
        QCOMPARE(confirmed, outcome == "paste" ? QList<ClipItem>{target} : QList<ClipItem>());
        QCOMPARE(shown, QStringList(outcome == "palette" ? 2 : 1, "notch"));
    }

    void hostInfoSwitchesTheDeclaredLanguage()
    {
        l10n->setLanguage(AppLanguage::de); // the application's own language
        ingestText("hallo");
        f->clock.advance(300);
        QVERIFY(connectedPair());
        const QString german = l10n->string("menu.open", AppLanguage::de);
        companion->write(hostInfo("ja"));
        QTRY_COMPARE_WITH_TIMEOUT(companion->lineCount(), 2, waitMs);
        const WidgetMessage ja = companion->last();
        QCOMPARE(ja.actions->at(0).title, l10n->string("menu.open", AppLanguage::ja));
        QCOMPARE(ja.actions->at(0).detail, l10n->string("skylet.dPalette", AppLanguage::ja));
        QCOMPARE(ja.itemsTitle, l10n->string("skylet.recent", AppLanguage::ja));
        QCOMPARE(ja.items->at(0).meta, l10n->string("filter.text", AppLanguage::ja) + QStringLiteral(" \u00B7 5 分前"));
        // The same language again declares nothing: the next line is the unknown language's.
        companion->write(hostInfo("ja") + hostInfo("xx-unknown"));
        QTRY_COMPARE_WITH_TIMEOUT(companion->lineCount(), 3, waitMs);
        QCOMPARE(companion->last().actions->at(0).title, german); // back to the application's texts
        QCOMPARE(companion->last().items->at(0).meta, QStringLiteral("Text \u00B7 5 分前")); // times keep the locale
        companion->write(hostInfo(nullptr) + hostInfo("zh-Hans")); // none again: nothing
        QTRY_COMPARE_WITH_TIMEOUT(companion->lineCount(), 4, waitMs);
        QCOMPARE(companion->last().itemsTitle, l10n->string("skylet.recent", AppLanguage::zhHans));
    }

    void aClosedOrBrokenConnectionIsReconnectedWithinOneTick()
    {
        constexpr int tick = 400;
        ingestText("kept");
        QVERIFY(connectedPair(tick));
        QTRY_COMPARE_WITH_TIMEOUT(companion->lineCount(), 2, waitMs); // the tick redeclares an unchanged state
        const WidgetMessage declared = companion->message(0);
        QCOMPARE(companion->message(1), declared);
        companion->stop();
        QTRY_VERIFY_WITH_TIMEOUT(!bridge->isConnected(), waitMs); // at the end of stream, not at a tick
        // The next tick finds no socket file and puts the bridge to sleep.
        QTRY_VERIFY_WITH_TIMEOUT(!bridge->findChild<QTimer *>()->isActive(), waitMs);
        QVERIFY(!bridge->isConnected());
        QVERIFY(companion->listen());
        QElapsedTimer sinceBack;
        sinceBack.start();
        QTRY_COMPARE_WITH_TIMEOUT(companion->sessions.size(), 2, waitMs);
        QVERIFY2(sinceBack.elapsed() < 2 * tick, qPrintable(QString::number(sinceBack.elapsed())));
        QTRY_COMPARE_WITH_TIMEOUT(companion->lineCount(), 1, waitMs);
        QCOMPARE(companion->message(0), declared); // unchanged history, declared again anyway
        // Only the connection closes. No event processing before the next declaration: it is
        // written to a closed peer (EPIPE, no SIGPIPE) and the bridge reconnects at the tick.
        // Qt ignores SIGPIPE for its own sockets; the bridge must not need that.
        companion->dropClient();
        std::signal(SIGPIPE, SIG_DFL);
        ingestText("into the void");
        std::signal(SIGPIPE, SIG_IGN);
        QVERIFY(!bridge->isConnected());
        QCOMPARE(bridge->pendingBytes(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(companion->sessions.size(), 3, waitMs);
    }

    void aPeerThatStopsReadingNeverBlocksAndGetsWholeFrames()
    {
        QVERIFY(connectedPair(300));
        qsizetype maxPending = 0;
        // The companion reads nothing while the history changes (no event processing here):
        // the socket fills, frames wait, and those beyond the cap are lost.
        for (int i = 0; i < 700; ++i) {
            ingestText(QStringLiteral("%1 ").arg(i) + QString(60, QChar('w')));
            maxPending = std::max(maxPending, bridge->pendingBytes());
        }
        QVERIFY2(maxPending > FrameWriter::defaultMaxPendingBytes / 2, qPrintable(QString::number(maxPending)));
        QVERIFY(maxPending <= FrameWriter::defaultMaxPendingBytes);
        // Once the companion reads again the rest drains, and a tick declares the newest state.
        const QString newest = f->store->items().first().idString();
        QTRY_COMPARE_WITH_TIMEOUT(companion->last().items.value_or(QList<WidgetItem>()).value(0).id, newest, waitMs);
        QCOMPARE(bridge->pendingBytes(), 0);
        for (qsizetype i = 0; i < companion->lineCount(); ++i)
            QCOMPARE(companion->message(i).type, QStringLiteral("widget.state")); // no torn frame
    }
};

QTEST_MAIN(SkyletBridgeTest)
#include "SkyletBridgeTest.moc"

// End to end: a real companion peer listening on $XDG_DATA_HOME/Skylet/bridge.sock talks
// to the running `stashwell` (Part 5.2): declarations, a paste command, reconnection.
#include "e2e/XSession.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalServer>
#include <QLocalSocket>
#include <QtTest>

class BridgeE2ETest : public QObject {
    Q_OBJECT
    std::unique_ptr<XSession> x;
    std::unique_ptr<QLocalServer> companion;
    QLocalSocket *peer = nullptr;
    QByteArray buffer;

    QString socketPath() const { return x->dataDir() + QStringLiteral("/Skylet/bridge.sock"); }
    void listen()
    {
        QDir().mkpath(x->dataDir() + QStringLiteral("/Skylet"));
        companion = std::make_unique<QLocalServer>();
        companion->setSocketOptions(QLocalServer::UserAccessOption);
        QVERIFY(companion->listen(socketPath()));
        peer = nullptr;
        buffer.clear();
    }
    bool waitForPeer(int timeoutMs)
    {
        if (!companion->waitForNewConnection(timeoutMs))
            return false;
        peer = companion->nextPendingConnection();
        return peer != nullptr;
    }
    // The next message whose type is `type`, within `timeoutMs`.
    QJsonObject next(const QString &type, int timeoutMs = 5000)
    {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < timeoutMs) {
            qsizetype end;
            while ((end = buffer.indexOf('\n')) >= 0) {
                const QJsonObject message = QJsonDocument::fromJson(buffer.left(end)).object();
                buffer.remove(0, end + 1);
                if (message["type"].toString() == type)
                    return message;
            }
            if (peer->waitForReadyRead(100))
                buffer += peer->readAll();
        }
        return {};
    }
    // The first declaration whose newest entry has `title` (the 6 s tick also declares).
    QJsonObject stateWithNewest(const QString &title)
    {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 8000) {
            const QJsonObject state = next(QStringLiteral("widget.state"), 8000 - int(timer.elapsed()));
            if (titles(state).value(0) == title)
                return state;
        }
        return {};
    }
    static QStringList titles(const QJsonObject &state)
    {
        QStringList list;
        for (const QJsonValue &item : state["items"].toArray())
            list << item.toObject()["title"].toString();
        return list;
    }

private slots:
    void initTestCase()
    {
        x = std::make_unique<XSession>();
        QVERIFY(x->isUp());
        listen();
        QVERIFY(x->startStashwell());
        QVERIFY2(waitForPeer(8000), "stashwell did not connect to the companion socket");
    }
    void cleanupTestCase()
    {
        companion.reset();
        x.reset();
    }

    void firstLineIsTheState()
    {
        const QJsonObject state = next(QStringLiteral("widget.state"));
        QCOMPARE(state["type"].toString(), QStringLiteral("widget.state"));
        QCOMPARE(state["name"].toString(), QStringLiteral("Stashwell"));
        QVERIFY(state["items"].isArray());
    }

    void aNewCopyIsDeclared()
    {
        x->xclipCopy("Quote \"this\" \\ and that");
        const QJsonObject state = stateWithNewest(QStringLiteral("Quote \"this\" \\ and that"));
        QCOMPARE(titles(state).value(0), QStringLiteral("Quote \"this\" \\ and that"));
    }

    void aCommandPastesTheEntryIntoTheApplication()
    {
        x->xclipCopy("pasted by the companion");
        const QJsonObject state = stateWithNewest(QStringLiteral("pasted by the companion"));
        QCOMPARE(titles(state).value(0), QStringLiteral("pasted by the companion"));
        const QString id = state["items"].toArray()[0].toObject()["id"].toString();
        x->xclipCopy("something else on the clipboard"); // the paste must use the entry, not the clipboard
        QVERIFY(!stateWithNewest(QStringLiteral("something else on the clipboard")).isEmpty());
        QProcess *zenity = x->startZenityEntry();
        const QJsonObject command{{"v", 1}, {"type", "widget.command"}, {"app", "com.norvane.Stashwell"},
                                  {"itemId", id}};
        peer->write(QJsonDocument(command).toJson(QJsonDocument::Compact) + '\n');
        peer->flush();
        QTest::qWait(900);
        x->run(QStringLiteral("xdotool"), {"key", "Return"});
        QVERIFY(zenity->waitForFinished(5000));
        QCOMPARE(QString::fromUtf8(zenity->readAllStandardOutput()).trimmed(), QStringLiteral("pasted by the companion"));
        // The command is in the tester log (Part 5.2 handle step 1, Part 7.3).
        QFile testerLog(x->diagnosticsDir() + QStringLiteral("/tester.log"));
        QVERIFY(testerLog.open(QIODevice::ReadOnly));
        QVERIFY(testerLog.readAll().contains(QStringLiteral("skylet command action=- item=%1\n").arg(id).toUtf8()));
    }

    void theCompanionComingBackIsReconnectedWithinOneTick()
    {
        peer->close();
        companion.reset();
        QFile::remove(socketPath());
        QTest::qWait(1000);
        listen();
        QVERIFY2(waitForPeer(6000 + 2000), "not reconnected within one 6 s tick");
        QCOMPARE(next(QStringLiteral("widget.state"))["type"].toString(), QStringLiteral("widget.state"));
    }
};

QTEST_MAIN(BridgeE2ETest)
#include "BridgeE2ETest.moc"

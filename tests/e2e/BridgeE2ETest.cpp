// SPDX-License-Identifier: GPL-3.0-or-later
// End to end: a real companion peer listening on $XDG_DATA_HOME/Skylet/bridge.sock talks
// to the running `stashwell`: declarations, a paste command, reconnection.
#include "e2e/XSession.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
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
    bool listen()
    {
        QDir().mkpath(x->dataDir() + QStringLiteral("/Skylet"));
        companion = std::make_unique<QLocalServer>();
        companion->setSocketOptions(QLocalServer::UserAccessOption);
        buffer.clear();
        return companion->listen(socketPath());
    }
    bool accept(int timeoutMs)
    {
        return companion->waitForNewConnection(timeoutMs) && (peer = companion->nextPendingConnection());
    }
    // The next declaration whose newest entry has `title` ("" for any); the 6 s tick also declares.
    QJsonObject declaration(const QString &title = {})
    {
        QJsonObject found;
        x->waitFor([&] {
            buffer += peer->readAll();
            for (qsizetype end; found.isEmpty() && (end = buffer.indexOf('\n')) >= 0; buffer.remove(0, end + 1)) {
                const QJsonObject message = QJsonDocument::fromJson(buffer.left(end)).object();
                if (message["type"] == QLatin1String("widget.state") && (title.isEmpty() || message["items"][0]["title"] == title))
                    found = message;
            }
            return !found.isEmpty();
        }, 8000);
        return found;
    }

private slots:
    void initTestCase()
    {
        x = std::make_unique<XSession>();
        QVERIFY(x->isUp());
        QVERIFY(listen());
        QVERIFY(x->startStashwell());
        QVERIFY2(accept(8000), "stashwell did not connect to the companion socket");
    }
    void cleanupTestCase()
    {
        companion.reset();
        x.reset();
    }

    void theStateAndEachNewCopyAreDeclared()
    {
        const QJsonObject state = declaration();
        QCOMPARE(state["name"].toString(), QStringLiteral("Stashwell"));
        QVERIFY(state["items"].isArray());
        x->xclipCopy("Quote \"this\" \\ and that");
        QVERIFY(!declaration(QStringLiteral("Quote \"this\" \\ and that")).isEmpty());
    }

    void aCommandPastesTheEntryIntoTheApplication()
    {
        x->xclipCopy("pasted by the companion");
        const QJsonObject state = declaration(QStringLiteral("pasted by the companion"));
        QVERIFY(!state.isEmpty());
        const QString id = state["items"][0]["id"].toString();
        x->xclipCopy("something else on the clipboard"); // the paste must use the entry, not the clipboard
        QVERIFY(!declaration(QStringLiteral("something else on the clipboard")).isEmpty());
        QProcess *zenity = x->startZenityEntry();
        QVERIFY(zenity);
        const QJsonObject command{{"v", 1}, {"type", "widget.command"}, {"app", "com.norvane.Stashwell"},
                                  {"itemId", id}};
        peer->write(QJsonDocument(command).toJson(QJsonDocument::Compact) + '\n');
        QCOMPARE(x->submitPaste(zenity, QStringLiteral("pasted by the companion")),
                 QStringLiteral("pasted by the companion"));
        // The command is in the tester log.
        QFile testerLog(x->diagnosticsDir() + QStringLiteral("/tester.log"));
        QVERIFY(testerLog.open(QIODevice::ReadOnly));
        QVERIFY(testerLog.readAll().contains(QStringLiteral("skylet command action=- item=%1\n").arg(id).toUtf8()));
    }

    void theCompanionComingBackIsReconnectedWithinOneTick()
    {
        peer->close();
        companion.reset();
        QFile::remove(socketPath());
        QVERIFY(listen());
        QVERIFY2(accept(6000 + 2000), "not reconnected within one 6 s tick");
        QVERIFY(!declaration().isEmpty());
    }
};

QTEST_MAIN(BridgeE2ETest)
#include "BridgeE2ETest.moc"

// Part 6.3 "Failure handling" with the real QtKeychain back end but no working Secret Service:
// a read looks like a missing item, writes are silent, and a keyring that never answers
// costs at most the time-out. (The round trips against a real Secret Service are in
// tests/integration/KeychainStoreIntegrationTest.cpp.)
#include "cloud/KeychainStore.h"

#include <QDir>
#include <QElapsedTimer>
#include <QLocalServer>
#include <QLocalSocket>
#include <QTemporaryDir>
#include <QtTest>

class KeychainStoreTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qunsetenv("XDG_CURRENT_DESKTOP"); // QtKeychain's libsecret back end, as on most desktops
        qunsetenv("KDE_FULL_SESSION");
    }

    void withoutASessionBusReadsAreMissingAndWritesSilent()
    {
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + m_dir.filePath(QStringLiteral("no-bus")).toUtf8());
        KeychainStore store(QStringLiteral("com.norvane.Stashwell.test"), 5000);
        QElapsedTimer timer;
        timer.start();
        store.set(QStringLiteral("tok"), QStringLiteral("cloudToken"));
        QCOMPARE(store.get(QStringLiteral("cloudToken")), std::nullopt);
        store.remove(QStringLiteral("cloudToken"));
        store.set(std::nullopt, QStringLiteral("cloudToken"));
        QVERIFY2(timer.elapsed() < 4000, "a missing bus fails fast, without the time-out");
    }

    void aKeyringThatNeverAnswersReadsAsMissingAfterTheTimeout()
    {
        // A bus socket that accepts connections and then stays silent.
        QLocalServer silentBus;
        QVERIFY(silentBus.listen(m_dir.filePath(QStringLiteral("silent-bus"))));
        QList<QLocalSocket *> peers;
        connect(&silentBus, &QLocalServer::newConnection, this, [&] { peers << silentBus.nextPendingConnection(); });
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + silentBus.fullServerName().toUtf8());

        auto *store = new KeychainStore(QStringLiteral("com.norvane.Stashwell.test"), 300);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(store->get(QStringLiteral("cloudToken")), std::nullopt);
        QVERIFY(timer.elapsed() >= 250);
        QVERIFY(timer.elapsed() < 3000);
        // Never destroyed: its thread may still wait for the bus, as the shared store would.
    }

private:
    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(KeychainStoreTest)
#include "KeychainStoreTest.moc"

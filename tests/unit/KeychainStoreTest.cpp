// SPDX-License-Identifier: GPL-3.0-or-later
// The real QtKeychain back end without a Secret Service: a read looks like a missing item,
// writes are silent, and neither waits for the time-out. The note in front of it that spares
// a signed-out user's Stashwell the connection.
#include "cloud/KeychainStore.h"
#include "cloud/TokenNoteKeychain.h"
#include "fakes/CloudFakes.h"
#include "platform/DefaultsStore.h"

#include <QtTest>

namespace {
// Counts the reads that reach the keychain.
struct CountingKeychain final : Keychain {
    MemoryKeychain memory;
    int reads = 0;
    std::optional<QString> get(const QString &account) override { return ++reads, memory.get(account); }
    void set(const std::optional<QString> &value, const QString &account) override { memory.set(value, account); }
    void remove(const QString &account) override { memory.remove(account); }
};
} // namespace

class KeychainStoreTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    void withoutASessionBusReadsAreMissingAndWritesSilent()
    {
        qunsetenv("XDG_CURRENT_DESKTOP"); // QtKeychain's libsecret back end, as on most desktops
        qunsetenv("KDE_FULL_SESSION");
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + m_dir.filePath("no-bus").toUtf8());
        KeychainStore store("com.norvane.Stashwell.test", 5000);
        QElapsedTimer timer;
        timer.start();
        store.set("tok", "cloudToken");
        QCOMPARE(store.get("cloudToken"), std::nullopt);
        QVERIFY2(timer.elapsed() < 4000, "a missing bus fails fast, without the time-out");
    }

    void theTokenIsOnlyAskedForWhenOneMayBeStored()
    {
        CountingKeychain keychain;
        keychain.memory.items = {{"cloudToken", "old"}, {"cloudEmail", "a@b.c"}};
        DefaultsStore defaults{QString()};
        QCOMPARE(TokenNoteKeychain(keychain, defaults, false).get("cloudToken"), std::nullopt); // no service
        QCOMPARE(keychain.reads, 0);
        TokenNoteKeychain noted(keychain, defaults, true);
        QCOMPARE(noted.get("cloudToken"), QStringLiteral("old")); // no note yet: asked once, noted
        QCOMPARE(defaults.boolValue(TokenNoteKeychain::noteKey), true);
        noted.remove("cloudToken");
        QCOMPARE(noted.get("cloudToken"), std::nullopt);
        QCOMPARE(noted.get("cloudEmail"), QStringLiteral("a@b.c")); // other items always pass
        QCOMPARE(keychain.reads, 2);
        noted.set(QStringLiteral("new"), "cloudToken");
        QCOMPARE(noted.get("cloudToken"), QStringLiteral("new"));
        noted.set(std::nullopt, "cloudToken");
        QCOMPARE(noted.get("cloudToken"), std::nullopt);
        QCOMPARE(keychain.reads, 3);
    }
};

QTEST_GUILESS_MAIN(KeychainStoreTest)
#include "KeychainStoreTest.moc"

// SPDX-License-Identifier: GPL-3.0-or-later
// The real QtKeychain back end without a Secret Service: a read looks like a missing item,
// writes are silent, and neither waits for the time-out.
#include "cloud/KeychainStore.h"

#include <QtTest>

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
};

QTEST_GUILESS_MAIN(KeychainStoreTest)
#include "KeychainStoreTest.moc"

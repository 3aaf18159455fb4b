// SPDX-License-Identifier: GPL-3.0-or-later
// The keychain against a real Secret Service (gnome-keyring-daemon on a private session bus,
// see with-secret-service.sh): round trips, absent versus empty, update in place.
#include "cloud/KeychainStore.h"

#include <QtTest>

namespace {

const QString service = QStringLiteral("com.norvane.Stashwell.test");

// The object paths of the items stored for `account`, as libsecret's command-line client sees
// them (QtKeychain's schema names the service "server" and the account "user").
QStringList itemPaths(const QString &account)
{
    QProcess tool;
    tool.start("secret-tool", {"search", "--all", "server", service, "user", account});
    tool.waitForFinished(10000);
    QStringList paths;
    const QRegularExpression path("^\\[(/[^\\]]*)\\]$", QRegularExpression::MultilineOption);
    for (const auto &match : path.globalMatch(QString::fromUtf8(tool.readAllStandardOutput() + tool.readAllStandardError())))
        paths << match.captured(1);
    return paths;
}

} // namespace

class KeychainStoreIntegrationTest : public QObject {
    Q_OBJECT

    KeychainStore m_store{service};

private slots:
    void setGetAndRemoveKeepAbsentAndEmptyApartFromAnyThread()
    {
        QCOMPARE(m_store.get("neverWritten"), std::nullopt);
        m_store.set(QString(), "cloudEmail");
        QCOMPARE(m_store.get("cloudEmail"), std::optional(QString()));
        m_store.set("tok-äß-✓", "cloudToken");
        QCOMPARE(m_store.get("cloudToken"), std::optional<QString>("tok-äß-✓"));
        QCOMPARE(KeychainStore("com.example.Other").get("cloudToken"), std::nullopt);
        const QStringList paths = itemPaths("cloudToken");
        QCOMPARE(paths.size(), 1);
        m_store.set("second", "cloudToken");
        QCOMPARE(itemPaths("cloudToken"), paths); // updated in place, not a second item
        std::optional<QString> seen; // read from another thread
        std::unique_ptr<QThread> thread(QThread::create([&] { seen = m_store.get("cloudToken"); }));
        thread->start();
        QVERIFY(thread->wait(15000));
        QCOMPARE(seen, std::optional<QString>("second"));
        m_store.remove("cloudToken");
        QCOMPARE(m_store.get("cloudToken"), std::nullopt);
        QVERIFY(itemPaths("cloudToken").isEmpty());
        m_store.set(std::nullopt, "cloudEmail"); // an absent value removes the item
        QCOMPARE(m_store.get("cloudEmail"), std::nullopt);
        m_store.remove("neverWritten"); // harmless
    }
};

QTEST_GUILESS_MAIN(KeychainStoreIntegrationTest)
#include "KeychainStoreIntegrationTest.moc"

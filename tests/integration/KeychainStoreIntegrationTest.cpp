// Part 6.3 against the real Secret Service (gnome-keyring-daemon on a private session bus,
// see with-secret-service.sh): set/get/remove round trips, absent vs empty, update in place.
#include "cloud/KeychainStore.h"

#include <QProcess>
#include <QRegularExpression>
#include <QtTest>

namespace {

const QString service = QStringLiteral("com.norvane.Stashwell.test");

// The Secret Service's own view, through libsecret's command-line client.
QString secretTool(const QStringList &args)
{
    QProcess tool;
    tool.start(QStringLiteral("secret-tool"), args);
    tool.waitForFinished(10000);
    return QString::fromUtf8(tool.readAllStandardOutput() + tool.readAllStandardError());
}

// The object paths of the items stored for `account` (QtKeychain's libsecret schema names the
// service "server" and the account "user").
QStringList itemPaths(const QString &account)
{
    const QString out = secretTool({QStringLiteral("search"), QStringLiteral("--all"), QStringLiteral("server"),
                                    service, QStringLiteral("user"), account});
    QStringList paths;
    for (const auto &match : QRegularExpression(QStringLiteral("^\\[(/[^\\]]*)\\]$"), QRegularExpression::MultilineOption)
                                 .globalMatch(out))
        paths << match.captured(1);
    return paths;
}

} // namespace

class KeychainStoreIntegrationTest : public QObject {
    Q_OBJECT

private slots:
    void init()
    {
        for (const QString &account : {QStringLiteral("cloudToken"), QStringLiteral("cloudDeviceID"),
                                       QStringLiteral("cloudEmail")})
            m_store.remove(account);
    }

    void theSecretServiceIsReachable()
    {
        m_store.set(QStringLiteral("probe"), QStringLiteral("cloudEmail"));
        QCOMPARE(itemPaths(QStringLiteral("cloudEmail")).size(), 1);
    }

    void roundTrip()
    {
        m_store.set(QStringLiteral("tok-äß-✓"), QStringLiteral("cloudToken"));
        QCOMPARE(m_store.get(QStringLiteral("cloudToken")), std::optional<QString>(QStringLiteral("tok-äß-✓")));
        m_store.remove(QStringLiteral("cloudToken"));
        QCOMPARE(m_store.get(QStringLiteral("cloudToken")), std::nullopt);
        QVERIFY(itemPaths(QStringLiteral("cloudToken")).isEmpty());
    }

    void settingAnAbsentValueRemovesTheItem()
    {
        m_store.set(QStringLiteral("tok"), QStringLiteral("cloudToken"));
        m_store.set(std::nullopt, QStringLiteral("cloudToken"));
        QCOMPARE(m_store.get(QStringLiteral("cloudToken")), std::nullopt);
        QVERIFY(itemPaths(QStringLiteral("cloudToken")).isEmpty());
    }

    void settingTwiceUpdatesTheOneItemInPlace()
    {
        m_store.set(QStringLiteral("first"), QStringLiteral("cloudToken"));
        const QStringList before = itemPaths(QStringLiteral("cloudToken"));
        QCOMPARE(before.size(), 1);
        m_store.set(QStringLiteral("second"), QStringLiteral("cloudToken"));
        QCOMPARE(itemPaths(QStringLiteral("cloudToken")), before); // the same item, not a new one
        QCOMPARE(m_store.get(QStringLiteral("cloudToken")), std::optional<QString>(QStringLiteral("second")));
    }

    void neverWrittenIsAbsentButAnEmptyStringIsPresent()
    {
        QCOMPARE(m_store.get(QStringLiteral("neverWritten")), std::nullopt);
        m_store.set(QString(), QStringLiteral("cloudEmail"));
        const std::optional<QString> empty = m_store.get(QStringLiteral("cloudEmail"));
        QVERIFY(empty.has_value());
        QCOMPARE(*empty, QString());
        QCOMPARE(itemPaths(QStringLiteral("cloudEmail")).size(), 1);
    }

    void accountsAreIndependent()
    {
        m_store.set(QStringLiteral("tok"), QStringLiteral("cloudToken"));
        m_store.set(QStringLiteral("DEVICE-1"), QStringLiteral("cloudDeviceID"));
        m_store.remove(QStringLiteral("cloudToken"));
        QCOMPARE(m_store.get(QStringLiteral("cloudToken")), std::nullopt);
        QCOMPARE(m_store.get(QStringLiteral("cloudDeviceID")), std::optional<QString>(QStringLiteral("DEVICE-1")));
    }

    void removingAMissingItemIsHarmless()
    {
        m_store.remove(QStringLiteral("neverWritten"));
        QCOMPARE(m_store.get(QStringLiteral("neverWritten")), std::nullopt);
    }

    void anotherServiceDoesNotSeeTheItems()
    {
        m_store.set(QStringLiteral("tok"), QStringLiteral("cloudToken"));
        KeychainStore other(QStringLiteral("com.example.Other"));
        QCOMPARE(other.get(QStringLiteral("cloudToken")), std::nullopt);
    }

    void callableFromAnyThread()
    {
        m_store.set(QStringLiteral("main"), QStringLiteral("cloudToken"));
        std::optional<QString> seen;
        QThread *thread = QThread::create([&] { seen = m_store.get(QStringLiteral("cloudToken")); });
        thread->start();
        QVERIFY(thread->wait(15000));
        delete thread;
        QCOMPARE(seen, std::optional<QString>(QStringLiteral("main")));
    }

private:
    KeychainStore m_store{service};
};

QTEST_GUILESS_MAIN(KeychainStoreIntegrationTest)
#include "KeychainStoreIntegrationTest.moc"

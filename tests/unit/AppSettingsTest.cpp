// Part 2.2 edge cases, on the real typed defaults file in a temporary directory.
#include "app/AppSettings.h"
#include "fakes/Fakes.h"
#include "platform/DefaultsStore.h"

#include <QJsonDocument>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

class AppSettingsTest : public QObject {
    Q_OBJECT
    QTemporaryDir tmp;
    QString path() const { return tmp.path() + QStringLiteral("/Stashwell/defaults.json"); }
    QJsonObject onDisk() const
    {
        QFile file(path());
        return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
    }

private slots:
    void init()
    {
        QFile::remove(path());
    }

    void freshInstallationRegistersAtLogin()
    {
        DefaultsStore defaults(path());
        FakeLoginItem login;
        AppSettings settings(defaults, login);
        QVERIFY(settings.launchAtLogin());
        QCOMPARE(login.registered, 1);
        QCOMPARE(onDisk().value("launchAtLogin"), QJsonValue(true));

        settings.setLaunchAtLogin(false);
        QCOMPARE(login.unregistered, 1);
        DefaultsStore again(path());
        FakeLoginItem login2;
        AppSettings next(again, login2);
        QVERIFY(!next.launchAtLogin());
        QCOMPARE(login2.registered + login2.unregistered, 0); // not the first start any more
    }

    void loginItemFailureKeepsTheChoice()
    {
        DefaultsStore defaults{QString()};
        FakeLoginItem login;
        login.error = QStringLiteral("no autostart directory");
        AppSettings settings(defaults, login);
        QTest::ignoreMessage(QtWarningMsg, "Stashwell: launch-at-login update failed: no autostart directory");
        settings.setLaunchAtLogin(true);
        QVERIFY(settings.launchAtLogin());
    }

    void defaults()
    {
        DefaultsStore defaults{QString()};
        FakeLoginItem login;
        AppSettings s(defaults, login);
        QVERIFY(!s.onboardingCompleted());
        QVERIFY(!s.languageCode());
        QCOMPARE(s.historyLimit(), 500);
        QCOMPARE(s.historyRetentionDays(), 0);
        QVERIFY(s.moveToTopOnPaste());
        QVERIFY(!s.copyInsteadOfPaste());
        QVERIFY(!s.alwaysPlainText());
        QVERIFY(!s.restoreClipboardAfterPaste());
        QVERIFY(!s.clearOnQuit());
        QVERIFY(!s.monitoringPaused());
        QVERIFY(s.builtInExclusionsEnabled());
        QVERIFY(s.excludedBundleIDs().isEmpty());
        QVERIFY(s.crashReportingEnabled());
        QVERIFY(s.improveDataSharing());
    }

    void clearingLanguageCodeRemovesTheKey()
    {
        DefaultsStore defaults(path());
        FakeLoginItem login;
        AppSettings s(defaults, login);
        s.setLanguageCode(QStringLiteral("de"));
        QCOMPARE(onDisk().value("languageCode"), QJsonValue("de"));
        s.setLanguageCode(std::nullopt);
        QVERIFY(!onDisk().contains("languageCode"));
    }

    void wrongTypeReadsAsDefault()
    {
        DefaultsStore defaults{QString()};
        defaults.set(QStringLiteral("historyLimit"), QStringLiteral("100"));
        defaults.set(QStringLiteral("clearOnQuit"), 1);
        defaults.set(QStringLiteral("excludedBundleIDs"), QJsonArray{"a", 2});
        defaults.set(QStringLiteral("historyRetentionDays"), 7.5);
        FakeLoginItem login;
        AppSettings s(defaults, login);
        QCOMPARE(s.historyLimit(), 500);
        QVERIFY(!s.clearOnQuit());
        QVERIFY(s.excludedBundleIDs().isEmpty());
        QCOMPARE(s.historyRetentionDays(), 0);
        QCOMPARE(defaults.object("historyLimit"), QJsonValue("100")); // not rewritten

        defaults.set(QStringLiteral("historyLimit"), 100);
        AppSettings again(defaults, login);
        QCOMPARE(again.historyLimit(), 100);
    }

    void valuesPersistWithTheirTypes()
    {
        {
            DefaultsStore defaults(path());
            FakeLoginItem login;
            AppSettings s(defaults, login);
            s.setHistoryLimit(5000);
            s.setExcludedBundleIDs({"org.a", "org.b"});
            s.setMonitoringPaused(true);
        }
        const QJsonObject disk = onDisk();
        QVERIFY(disk.value("historyLimit").isDouble());
        QVERIFY(disk.value("monitoringPaused").isBool());
        QVERIFY(disk.value("excludedBundleIDs").isArray());
        QCOMPARE(QFileInfo(path()).permissions() & 0x0077, 0);
        DefaultsStore defaults(path());
        FakeLoginItem login;
        AppSettings s(defaults, login);
        QCOMPARE(s.historyLimit(), 5000);
        QCOMPARE(s.excludedBundleIDs(), QStringList({"org.a", "org.b"}));
        QVERIFY(s.monitoringPaused());
    }

    void changeIsPublishedBeforeItIsWritten()
    {
        DefaultsStore defaults{QString()};
        FakeLoginItem login;
        AppSettings s(defaults, login);
        std::optional<QJsonValue> storedWhenPublished;
        connect(&s, &AppSettings::changed, this, [&](const QString &key) {
            QCOMPARE(key, QStringLiteral("alwaysPlainText"));
            storedWhenPublished = defaults.object(key);
        });
        s.setAlwaysPlainText(true);
        QVERIFY(storedWhenPublished);
        QVERIFY(storedWhenPublished->isUndefined());
        QCOMPARE(defaults.object("alwaysPlainText"), QJsonValue(true));
    }

    void turningStatisticsOffDiscardsUnsentEvents()
    {
        DefaultsStore defaults{QString()};
        FakeLoginItem login;
        AppSettings s(defaults, login);
        int discarded = 0;
        s.discardUnsentStatistics = [&] { ++discarded; };
        s.setImproveDataSharing(true);
        QCOMPARE(discarded, 0);
        s.setImproveDataSharing(false);
        QCOMPARE(discarded, 1);
    }

    void environmentProps()
    {
        DefaultsStore defaults{QString()};
        FakeLoginItem login;
        AppSettings s(defaults, login);
        s.setExcludedBundleIDs({"a", "b", "c"});
        s.setHistoryRetentionDays(30);
        const QVariantMap props = s.environmentProps();
        QCOMPARE(props.size(), 6);
        QCOMPARE(props.value("excludedApps").toLongLong(), 3);
        QCOMPARE(props.value("retentionDays").toLongLong(), 30);
        QCOMPARE(props.value("historyLimit").toLongLong(), 500);
        QCOMPARE(props.value("restoreAfterPaste").toBool(), false);
        QVERIFY(props.contains("copyInsteadOfPaste") && props.contains("alwaysPlainText"));
    }

    void brokenDefaultsFileIsKeptAside()
    {
        QDir().mkpath(QFileInfo(path()).absolutePath());
        QFile file(path());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("{broken");
        file.close();
        DefaultsStore defaults(path());
        QVERIFY(!defaults.contains("launchAtLogin"));
        QCOMPARE(QDir(QFileInfo(path()).absolutePath()).entryList({"defaults.json.broken-*"}).size(), 1);
    }
};

QTEST_GUILESS_MAIN(AppSettingsTest)
#include "AppSettingsTest.moc"

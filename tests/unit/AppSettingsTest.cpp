// SPDX-License-Identifier: GPL-3.0-or-later
// The preferences on the typed defaults file: login item, wrongly typed values, persistence.
#include "app/AppSettings.h"
#include "fakes/Fakes.h"
#include "fakes/TestFiles.h"
#include "platform/DefaultsStore.h"
#include "platform/LoginItem.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QtTest>

class AppSettingsTest : public QObject {
    Q_OBJECT
    QTemporaryDir tmp;
    const QString path = tmp.path() + QStringLiteral("/Stashwell/defaults.json");

private slots:
    void valuesPersistPrivatelyAndOnlyTheFirstStartRegistersAtLogin()
    {
        {
            const QString autostart = tmp.path() + "/autostart/com.norvane.Stashwell.desktop";
            DefaultsStore defaults(path);
            XdgAutostart login(autostart, QStringLiteral("/usr/bin/stashwell"));
            AppSettings s(defaults, login);
            QVERIFY(s.launchAtLogin());
            QVERIFY(readFile(autostart).contains("\nExec=\"/usr/bin/stashwell\"\n"));
            s.setLaunchAtLogin(false);
            QVERIFY(!QFile::exists(autostart));
            s.setHistoryLimit(5000);
            s.setExcludedBundleIDs({"org.a", "org.b"});
            s.setLanguageCode(QStringLiteral("de"));
            s.setLanguageCode(std::nullopt); // removes the key
        }
        QVERIFY(!QJsonDocument::fromJson(readFile(path)).object().contains("languageCode"));
        QCOMPARE(QFileInfo(path).permissions() & 0x0077, 0);
        DefaultsStore defaults(path);
        FakeLoginItem login;
        AppSettings s(defaults, login);
        QCOMPARE(s.historyLimit(), 5000);
        QCOMPARE(s.excludedBundleIDs(), QStringList({"org.a", "org.b"}));
        QVERIFY(!s.launchAtLogin());
        QCOMPARE(login.registered + login.unregistered, 0); // not the first start any more
        login.error = QStringLiteral("no autostart directory"); // a failure keeps the choice
        QTest::ignoreMessage(QtWarningMsg, "Stashwell: launch-at-login update failed: no autostart directory");
        s.setLaunchAtLogin(true);
        QVERIFY(s.launchAtLogin());
    }

    void theLoginEntryRunsTheInstalledCommandAndABuildTreeRegistersNothing_data()
    {
        QTest::addColumn<QString>("binary");     // under the temporary root
        QTest::addColumn<QString>("onPath");     // what PATH finds, "" for nothing
        QTest::addColumn<QString>("command");    // with ROOT for the temporary root; "" for none
        QTest::newRow("found on PATH") << "usr/bin/stashwell" << "usr/bin/stashwell" << "stashwell";
        QTest::newRow("PATH finds another") << "opt/sw/bin/stashwell" << "usr/bin/stashwell" << "ROOT/opt/sw/bin/stashwell";
        QTest::newRow("not on PATH") << "home/u/.local/bin/stashwell" << "" << "ROOT/home/u/.local/bin/stashwell";
        QTest::newRow("build folder") << "src/build-release/stashwell" << "" << "";
        QTest::newRow("bin inside a build tree") << "src/build/bin/stashwell" << "src/build/bin/stashwell" << "";
        QTest::newRow("not in a bin folder") << "home/u/Downloads/stashwell" << "" << "";
    }
    void theLoginEntryRunsTheInstalledCommandAndABuildTreeRegistersNothing()
    {
        QFETCH(QString, binary);
        QFETCH(QString, onPath);
        QFETCH(QString, command);
        QTemporaryDir root;
        for (const QString &file : {binary, onPath, QStringLiteral("src/build/CMakeCache.txt"),
                                    QStringLiteral("src/build-release/CMakeCache.txt")})
            if (!file.isEmpty())
                QVERIFY(QDir().mkpath(QFileInfo(root.filePath(file)).path()) && writeFile(root.filePath(file), "x"));
        const std::optional<QString> found =
            XdgAutostart::commandFor(root.filePath(binary), onPath.isEmpty() ? QString() : root.filePath(onPath));
        command.replace("ROOT", root.path());
        QCOMPARE(found.value_or(QString()), command);

        // Started from there for the first time: a build tree neither registers nor takes the first start away.
        const QString autostart = root.filePath("autostart/com.norvane.Stashwell.desktop");
        DefaultsStore defaults({});
        XdgAutostart login(autostart, found);
        AppSettings settings(defaults, login);
        QCOMPARE(settings.launchAtLoginAvailable(), found.has_value());
        QCOMPARE(defaults.contains("launchAtLogin"), found.has_value());
        QCOMPARE(readFile(autostart).contains("\nExec=\"" + command.toUtf8()), found.has_value());
    }

    void storedValuesOfAnotherTypeOrNotOfferedReadAsTheDefault()
    {
        FakeLoginItem login;
        const QList<std::tuple<QString, QJsonValue, QJsonValue>> stored{
            {"historyLimit", "100", 500}, {"historyLimit", 100, 100}, {"historyRetentionDays", 7.5, 0},
            {"clearOnQuit", 1, false}, {"excludedBundleIDs", QJsonArray{"a", 2}, QJsonArray()}, {"languageCode", 5, {}},
            {"moveToTopOnPaste", "no", true}, {"restoreClipboardAfterPaste", "yes", false},
            {"historyLimit", 0, 500}, {"historyLimit", -1, 500}, {"historyLimit", 50000, 50000}, {"historyLimit", 50001, 500},
            {"historyRetentionDays", -1, 0}, {"historyRetentionDays", 91, 0}, {"historyRetentionDays", 90, 90},
            {"languageCode", "xx", {}}, {"languageCode", "pt-BR", "pt-BR"}};
        for (const auto &[key, value, expected] : stored) {
            DefaultsStore typed{QString()};
            typed.set(key, value);
            AppSettings settings(typed, login);
            QCOMPARE(settings.value(key), expected);
            QCOMPARE(typed.object(key), value); // never rewritten
            QCOMPARE(settings.setValue(key, value), value == expected); // nor set by `stashwell config`
        }
    }

    void aBrokenDefaultsFileIsKeptAside()
    {
        QVERIFY(QDir().mkpath(tmp.path() + "/Broken") && writeFile(tmp.path() + "/Broken/defaults.json", "{broken"));
        DefaultsStore defaults(tmp.path() + "/Broken/defaults.json");
        QVERIFY(!defaults.contains("launchAtLogin"));
        const QStringList aside = QDir(tmp.path() + "/Broken").entryList({"defaults.json.broken-*"});
        QCOMPARE(aside.size(), 1);
        QCOMPARE(readFile(tmp.path() + "/Broken/" + aside[0]), QByteArray("{broken"));
    }
};

QTEST_GUILESS_MAIN(AppSettingsTest)
#include "AppSettingsTest.moc"

// SPDX-License-Identifier: GPL-3.0-or-later
// The hot-key setting: which combinations are taken and how they are stored, the grab
// following the setting, and a combination another program holds, as the General tab shows it;
// the grab let go while the recorder records.
#include "fakes/PasteFakes.h"
#include "fakes/SettingsFakes.h"
#include "platform/GlobalHotKey.h"
#include "settings/HotKeyRecorder.h"
#include "settings/SettingsTabs.h"

#include <QtTest>

using Press = std::pair<Qt::Key, Qt::KeyboardModifiers>;
using Ending = std::function<void(QWidget *window, HotKeyRecorder *recorder)>;
Q_DECLARE_METATYPE(Ending)

class HotKeyTest : public QObject {
    Q_OBJECT

    static constexpr QKeyCombination ctrlAltV{Qt::ControlModifier | Qt::AltModifier, Qt::Key_V};

private slots:
    void onlyOneKeyWithCtrlAltOrSuperIsAccepted_data()
    {
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<QString>("stored"); // empty: refused
        QTest::newRow("default") << QJsonValue("Meta+Shift+V") << "Meta+Shift+V";
        QTest::newRow("Super for Meta") << QJsonValue("Super+Shift+V") << "Meta+Shift+V";
        QTest::newRow("any case") << QJsonValue(" ctrl+alt+v ") << "Ctrl+Alt+V";
        QTest::newRow("function key") << QJsonValue("Alt+F9") << "Alt+F9";
        QTest::newRow("Shift alone") << QJsonValue("Shift+V") << "";
        QTest::newRow("bare key") << QJsonValue("V") << "";
        QTest::newRow("modifiers only") << QJsonValue("Ctrl+Alt") << "";
        QTest::newRow("two chords") << QJsonValue("Ctrl+Alt+V, Ctrl+B") << "";
        QTest::newRow("no such key") << QJsonValue("Ctrl+Alt+Nothing") << "";
        QTest::newRow("not a string") << QJsonValue(5) << "";
    }
    void onlyOneKeyWithCtrlAltOrSuperIsAccepted()
    {
        QFETCH(QJsonValue, value);
        QFETCH(QString, stored);
        DefaultsStore defaults{QString()};
        FakeLoginItem login;
        AppSettings settings(defaults, login);
        QCOMPARE(settings.setValue(QStringLiteral("hotKey"), value), !stored.isEmpty());
        QCOMPARE(AppSettings::expectedType(QStringLiteral("hotKey"), value).isEmpty(), !stored.isEmpty());
        QCOMPARE(settings.hotKey(), stored.isEmpty() ? QStringLiteral("Meta+Shift+V") : stored);
        // The defaults file is read the same way: a value the setting refuses reads as the default.
        defaults.set(QStringLiteral("hotKey"), value);
        const AppSettings reread(defaults, login);
        QCOMPARE(reread.hotKeyCombination(),
                 stored.isEmpty() ? GlobalHotKey::defaultCombination : *GlobalHotKey::parse(stored));
    }

    void theGrabFollowsTheCombinationAndReportsATakenOne()
    {
        FakeHotKeyBackend backend;
        GlobalHotKey hotKey(backend);
        QSignalSpy changed(&hotKey, &GlobalHotKey::statusChanged);
        hotKey.registerHotKey(GlobalHotKey::defaultCombination);
        hotKey.registerHotKey(ctrlAltV); // the old combination is released
        hotKey.registerHotKey(ctrlAltV); // the same again changes nothing
        QCOMPARE(backend.grabs.values(), QList{ctrlAltV});
        QCOMPARE(changed.size(), 2);

        backend.taken = {GlobalHotKey::defaultCombination};
        hotKey.registerHotKey(GlobalHotKey::defaultCombination);
        QVERIFY(backend.grabs.isEmpty());
        QCOMPARE(hotKey.status(), GlobalHotKey::Status::taken);
        QCOMPARE(hotKey.combination(), GlobalHotKey::defaultCombination);
        QCOMPARE(changed.size(), 3);

        backend.taken.clear(); // the other program let go: asking again grabs it
        hotKey.registerHotKey(GlobalHotKey::defaultCombination);
        QCOMPARE(hotKey.status(), GlobalHotKey::Status::registered);
        QCOMPARE(backend.grabs.values(), QList{GlobalHotKey::defaultCombination});

        // One handler for all registrations; a press triggers once, after the handler returned.
        QCOMPARE(backend.handlers.size(), 1);
        int triggers = 0;
        hotKey.onTrigger = [&] { ++triggers; };
        backend.handlers.first()(GlobalHotKey::identifier);
        QCOMPARE(triggers, 0);
        QTRY_COMPARE(triggers, 1);
    }

    void generalTabSaysTheKeyIsTakenAndRecordsAnother_data()
    {
        QTest::addColumn<QList<Press>>("presses"); // after a click on the recorder
        QTest::addColumn<QString>("stored");
        const Qt::KeyboardModifiers ctrlAlt = Qt::ControlModifier | Qt::AltModifier;
        QTest::newRow("another") << QList<Press>{{Qt::Key_B, ctrlAlt}} << "Ctrl+Alt+B";
        QTest::newRow("Shift alone keeps listening")
            << QList<Press>{{Qt::Key_B, Qt::ShiftModifier}, {Qt::Key_B, ctrlAlt}} << "Ctrl+Alt+B";
        QTest::newRow("Escape cancels") << QList<Press>{{Qt::Key_Escape, {}}, {Qt::Key_B, ctrlAlt}} << "Ctrl+Alt+V";
        QTest::newRow("Backspace resets") << QList<Press>{{Qt::Key_Backspace, {}}} << "Meta+Shift+V";
    }
    void generalTabSaysTheKeyIsTakenAndRecordsAnother()
    {
        QFETCH(QList<Press>, presses);
        QFETCH(QString, stored);
        SettingsFixture f;
        FakeHotKeyBackend backend;
        backend.taken = {ctrlAltV};
        GlobalHotKey hotKey(backend);
        f.settings.setHotKey(QStringLiteral("Ctrl+Alt+V"));
        hotKey.registerHotKey(f.settings.hotKeyCombination());
        // As the application does: a new setting is grabbed at once.
        connect(&f.settings, &AppSettings::changed, &hotKey, [&] { hotKey.registerHotKey(f.settings.hotKeyCombination()); });
        SettingsServices services = f.services();
        services.hotKey = &hotKey;
        GeneralTab tab(services);
        auto *recorder = tab.findChild<HotKeyRecorder *>();
        auto *row = qobject_cast<SettingsRow *>(recorder->parentWidget());
        QVERIFY(row->subtitleLabel()->text().contains(QStringLiteral("Ctrl+Alt+V")));

        QTest::mouseClick(recorder, Qt::LeftButton);
        for (const auto &[key, modifiers] : presses)
            QTest::keyClick(recorder, key, modifiers);
        QVERIFY(!recorder->isRecording());
        QCOMPARE(f.settings.hotKey(), stored);
        QCOMPARE(recorder->combination(), *GlobalHotKey::parse(stored));
        QCOMPARE(row->subtitleLabel()->text().contains(QStringLiteral("Ctrl+Alt+V")), stored == QStringLiteral("Ctrl+Alt+V"));
    }

    void theRecorderGetsTheCurrentKeyAndTheGrabReturnsWhenRecordingEnds_data()
    {
        QTest::addColumn<Ending>("ending");
        QTest::newRow("the current key") << Ending([](QWidget *, HotKeyRecorder *recorder) {
            QTest::keyClick(recorder, Qt::Key_V, Qt::MetaModifier | Qt::ShiftModifier);
        });
        QTest::newRow("focus lost") << Ending([](QWidget *tab, HotKeyRecorder *) {
            tab->findChild<QWidget *>(QStringLiteral("languageCode"))->setFocus();
        });
        QTest::newRow("window closed") << Ending([](QWidget *tab, HotKeyRecorder *) { tab->close(); });
    }
    void theRecorderGetsTheCurrentKeyAndTheGrabReturnsWhenRecordingEnds()
    {
        QFETCH(Ending, ending);
        SettingsFixture f;
        FakeHotKeyBackend backend;
        GlobalHotKey hotKey(backend);
        hotKey.registerHotKey(GlobalHotKey::defaultCombination);
        SettingsServices services = f.services();
        services.hotKey = &hotKey;
        GeneralTab tab(services);
        tab.show();
        QVERIFY(QTest::qWaitForWindowActive(&tab));
        auto *recorder = tab.findChild<HotKeyRecorder *>();
        QTest::mouseClick(recorder, Qt::LeftButton);
        QVERIFY(recorder->isRecording() && backend.grabs.isEmpty()); // its presses reach the recorder
        ending(&tab, recorder);
        QVERIFY(!recorder->isRecording());
        QCOMPARE(backend.grabs.values(), QList{GlobalHotKey::defaultCombination});
        QCOMPARE(hotKey.status(), GlobalHotKey::Status::registered);
    }
};

QTEST_MAIN(HotKeyTest)
#include "HotKeyTest.moc"

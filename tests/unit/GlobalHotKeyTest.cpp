// Part 2.3 edge cases against a fake platform: one registration, one handler, each press
// delivered once to the main thread after the handler returns.
#include "fakes/PasteFakes.h"
#include "platform/GlobalHotKey.h"

#include <QtTest>

class GlobalHotKeyTest : public QObject {
    Q_OBJECT
    std::unique_ptr<FakeHotKeyBackend> backend;
    std::unique_ptr<GlobalHotKey> hotKey;
    int triggers = 0;

private slots:
    void init()
    {
        backend = std::make_unique<FakeHotKeyBackend>();
        hotKey = std::make_unique<GlobalHotKey>(*backend);
        triggers = 0;
        hotKey->onTrigger = [this] { ++triggers; };
    }
    void cleanup()
    {
        hotKey.reset();
        QVERIFY(backend->handlers.isEmpty());
        QVERIFY(backend->registrations.isEmpty());
    }

    void registersSuperShiftVWithIdentifierOne()
    {
        hotKey->registerHotKey(GlobalHotKey::defaultKey, GlobalHotKey::defaultModifiers);
        QVERIFY(hotKey->isRegistered());
        QCOMPARE(backend->registrations.size(), 1);
        const auto registration = backend->registrations.first();
        QCOMPARE(registration.key, Qt::Key_V);
        QCOMPARE(registration.modifiers, Qt::MetaModifier | Qt::ShiftModifier);
        QCOMPARE(registration.id, GlobalHotKey::identifier);
    }

    void eachPressTriggersOnceAfterTheHandlerReturns()
    {
        hotKey->registerHotKey(GlobalHotKey::defaultKey, GlobalHotKey::defaultModifiers);
        backend->press();
        QCOMPARE(triggers, 0); // scheduled on the main thread, not run inside the handler
        QTRY_COMPARE(triggers, 1);
        backend->press();
        backend->press();
        QTRY_COMPARE(triggers, 3);
        QTest::qWait(20);
        QCOMPARE(triggers, 3);
    }

    void registeringTwiceLeavesOneRegistrationAndOneHandler()
    {
        hotKey->registerHotKey(GlobalHotKey::defaultKey, GlobalHotKey::defaultModifiers);
        hotKey->registerHotKey(Qt::Key_B, Qt::MetaModifier);
        QCOMPARE(backend->registrations.size(), 1);
        QCOMPARE(backend->handlers.size(), 1);
        QCOMPARE(backend->registrations.first().key, Qt::Key_B);
        backend->press();
        QTRY_COMPARE(triggers, 1);
        QTest::qWait(20);
        QCOMPARE(triggers, 1);
    }

    void aCombinationOwnedByAnotherProgramFailsQuietly()
    {
        backend->taken = true;
        hotKey->registerHotKey(GlobalHotKey::defaultKey, GlobalHotKey::defaultModifiers);
        QVERIFY(!hotKey->isRegistered());
        QVERIFY(backend->registrations.isEmpty());
        backend->press();
        QTest::qWait(20);
        QCOMPARE(triggers, 0);

        backend->taken = false; // registering again later works and replaces the handler
        hotKey->registerHotKey(GlobalHotKey::defaultKey, GlobalHotKey::defaultModifiers);
        QVERIFY(hotKey->isRegistered());
        QCOMPARE(backend->handlers.size(), 1);
        backend->press();
        QTRY_COMPARE(triggers, 1);
    }

    void withoutOnTriggerAPressDoesNothing()
    {
        hotKey->onTrigger = nullptr;
        hotKey->registerHotKey(GlobalHotKey::defaultKey, GlobalHotKey::defaultModifiers);
        backend->press();
        QTest::qWait(20);
        QCOMPARE(triggers, 0);
    }

    void aPressQueuedBeforeTheObjectEndsIsDropped()
    {
        hotKey->registerHotKey(GlobalHotKey::defaultKey, GlobalHotKey::defaultModifiers);
        backend->press();
        hotKey.reset(); // also removes its registration and handler (checked in cleanup)
        QTest::qWait(20);
        QCOMPARE(triggers, 0);
    }
};

QTEST_MAIN(GlobalHotKeyTest)
#include "GlobalHotKeyTest.moc"

// SPDX-License-Identifier: GPL-3.0-or-later
// The virtual keyboard's keys as the compositor reads them: evdev codes (xkb's less 8) and the
// modifier masks of the keymap that goes with them.
#include "platform/WaylandKeymap.h"

#include <QtTest>

using Codes = QList<quint32>;

class WaylandKeymapTest : public QObject {
    Q_OBJECT
private slots:
    void keystrokes_data()
    {
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<int>("key");
        QTest::addColumn<bool>("typable");
        QTest::addColumn<Codes>("modifierKeys");
        QTest::addColumn<quint32>("code");
        QTest::addColumn<quint32>("mask");
        // Control_L 29, Shift_L 42, Alt_L 56, Super_L 125; V 47, 1 2. Masks: Shift 1, Control 4, Mod1 8, Mod4 64.
        QTest::newRow("paste") << int(Qt::ControlModifier) << int(Qt::Key_V) << true << Codes{29} << 47u << 4u;
        QTest::newRow("terminal paste") << int(Qt::ControlModifier | Qt::ShiftModifier) << int(Qt::Key_V) << true
                                        << Codes{29, 42} << 47u << 5u;
        QTest::newRow("alt and super, a digit") << int(Qt::MetaModifier | Qt::AltModifier) << int(Qt::Key_1) << true
                                                << Codes{56, 125} << 2u << 72u;
        QTest::newRow("no key in the layout") << int(Qt::ControlModifier) << int(Qt::Key_Eacute) << false << Codes{}
                                              << 0u << 0u;
    }
    void keystrokes()
    {
        QFETCH(int, modifiers);
        QFETCH(int, key);
        QFETCH(bool, typable);
        const std::optional<WaylandKeymap> keymap = WaylandKeymap::create();
        QVERIFY2(keymap, "the US layout does not compile (xkb-data missing?)");
        QVERIFY(keymap->text().endsWith('\0'));
        const auto stroke = keymap->keystroke(Qt::KeyboardModifiers(modifiers), Qt::Key(key));
        QCOMPARE(bool(stroke), typable);
        if (!stroke)
            return;
        QTEST(stroke->modifierKeys, "modifierKeys");
        QTEST(stroke->key, "code");
        QTEST(stroke->modifierMask, "mask");
    }
};

QTEST_MAIN(WaylandKeymapTest)
#include "WaylandKeymapTest.moc"

// Part 2.1 step 2 on Linux: Ctrl+Q in a window of the application quits it, once per press;
// other keys, other modifiers and an open popup (the palette) leave it alone.
#include "app/QuitShortcut.h"

#include <QApplication>
#include <QLineEdit>
#include <QMenu>
#include <QTest>

class QuitShortcutTest : public QObject {
    Q_OBJECT

    int quits = 0;

private slots:
    void init() { quits = 0; }

    void ctrlQInAWindowQuitsOnce()
    {
        QuitShortcut shortcut(*qApp, [this] { ++quits; });
        QLineEdit field; // the key goes to a focused text field, up through its window
        field.show();
        QVERIFY(QTest::qWaitForWindowExposed(&field));
        QTest::keyClick(field.windowHandle(), Qt::Key_Q, Qt::ControlModifier);
        QCOMPARE(quits, 1);
    }

    void otherKeysAreTyping()
    {
        QuitShortcut shortcut(*qApp, [this] { ++quits; });
        QLineEdit field;
        field.show();
        QVERIFY(QTest::qWaitForWindowExposed(&field));
        QTest::keyClick(field.windowHandle(), Qt::Key_Q);
        QTest::keyClick(field.windowHandle(), Qt::Key_Q, Qt::ControlModifier | Qt::ShiftModifier);
        QTest::keyClick(field.windowHandle(), Qt::Key_W, Qt::ControlModifier);
        QCOMPARE(quits, 0);
        QCOMPARE(field.text(), QStringLiteral("q"));
    }

    void notWhileAPopupIsOpen()
    {
        QuitShortcut shortcut(*qApp, [this] { ++quits; });
        QMenu popup;
        popup.addAction(QStringLiteral("entry"));
        popup.popup(QPoint(10, 10));
        QVERIFY(QTest::qWaitForWindowExposed(&popup));
        QTest::keyClick(popup.windowHandle(), Qt::Key_Q, Qt::ControlModifier);
        QCOMPARE(quits, 0);
    }

    void removedWithItsOwner()
    {
        {
            QuitShortcut shortcut(*qApp, [this] { ++quits; });
        }
        QLineEdit field;
        field.show();
        QVERIFY(QTest::qWaitForWindowExposed(&field));
        QTest::keyClick(field.windowHandle(), Qt::Key_Q, Qt::ControlModifier);
        QCOMPARE(quits, 0);
    }
};

QTEST_MAIN(QuitShortcutTest)
#include "QuitShortcutTest.moc"

// SPDX-License-Identifier: GPL-3.0-or-later
// The notice: one at a time, fading in, staying, fading out; it never takes focus or clicks.
#include "fakes/PasteFakes.h"
#include "paste/HUDToast.h"
#include "paste/ToastWindow.h"

#include <QtTest>

class HUDToastTest : public QObject {
    Q_OBJECT
    FakeToastScheduler timeline;
    HUDToast toast{timeline};
    ToastWindow *current() const { return qobject_cast<ToastWindow *>(toast.currentWindow()); }

private slots:
    void oneNoticeAtATimeFadesInStaysFadesOutAndNeverTakesFocus()
    {
        toast.show(QStringLiteral("First"));
        QPointer<ToastWindow> first = current();
        QVERIFY(first->windowHandle()->flags().testFlag(Qt::WindowDoesNotAcceptFocus));
        QVERIFY(first->windowHandle()->flags().testFlag(Qt::WindowTransparentForInput));
        QVERIFY(first->testAttribute(Qt::WA_ShowWithoutActivating));
        QCOMPARE(first->windowOpacity(), 0.0);
        timeline.advance(HUDToast::fadeInMs);
        QCOMPARE(first->windowOpacity(), 1.0);

        timeline.advance(500 - HUDToast::fadeInMs);
        toast.show(QStringLiteral("Second"));
        QCOMPARE(current()->text(), QStringLiteral("Second"));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!first); // gone at once, without fading
        timeline.advance(HUDToast::visibleMs - 1); // the timeline restarted with the second
        QCOMPARE(timeline.fades.count(0.0), 0);
        timeline.advance(1);
        QCOMPARE(timeline.fades.count(0.0), 1);

        toast.show(QStringLiteral("Third")); // while the second fades out
        QWidget *third = current();
        timeline.advance(HUDToast::fadeOutMs); // the second's fade ends: the newer notice stays
        QCOMPARE(current(), third);
        QVERIFY(third->isVisible());
        timeline.advance(HUDToast::visibleMs + HUDToast::fadeOutMs);
        QCOMPARE(current(), nullptr);
    }
};

QTEST_MAIN(HUDToastTest)
#include "HUDToastTest.moc"

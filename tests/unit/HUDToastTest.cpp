// Part 4.2 edge cases: one notice at a time, its timeline, focus and click-through, placement.
#include "fakes/PasteFakes.h"
#include "paste/HUDToast.h"
#include "paste/ToastWindow.h"

#include <QApplication>
#include <QLineEdit>
#include <QScreen>
#include <QtTest>

class HUDToastTest : public QObject {
    Q_OBJECT
    std::unique_ptr<FakeToastScheduler> scheduler;
    std::unique_ptr<HUDToast> toast;

    static QList<ToastWindow *> onScreen()
    {
        QList<ToastWindow *> windows;
        for (QWidget *widget : QApplication::topLevelWidgets())
            if (auto *window = qobject_cast<ToastWindow *>(widget); window && window->isVisible())
                windows << window;
        return windows;
    }
    QList<FakeToastScheduler::Fade> fadeOuts() const
    {
        QList<FakeToastScheduler::Fade> result;
        for (const auto &fade : scheduler->fades)
            if (fade.opacity == 0)
                result << fade;
        return result;
    }
    static QRect area() { return QGuiApplication::primaryScreen()->availableGeometry(); }

private slots:
    void init()
    {
        scheduler = std::make_unique<FakeToastScheduler>();
        toast = std::make_unique<HUDToast>(*scheduler);
    }
    void cleanup()
    {
        toast.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(onScreen().isEmpty());
    }

    void oneNoticeFadesInStaysAndFadesOut()
    {
        toast->show(QStringLiteral("Copied"));
        QCOMPARE(onScreen().size(), 1);
        ToastWindow *window = onScreen().first();
        QCOMPARE(window->text(), QStringLiteral("Copied"));
        QCOMPARE(window->windowOpacity(), 0.0);
        QCOMPARE(scheduler->fades.size(), 1);
        QCOMPARE(scheduler->fades[0].opacity, 1.0);
        QCOMPARE(scheduler->fades[0].ms, HUDToast::fadeInMs);
        scheduler->advance(HUDToast::fadeInMs);
        QCOMPARE(window->windowOpacity(), 1.0);

        scheduler->advance(HUDToast::visibleMs - HUDToast::fadeInMs - 1);
        QVERIFY(fadeOuts().isEmpty());
        scheduler->advance(1);
        QCOMPARE(fadeOuts().size(), 1);
        QCOMPARE(fadeOuts()[0].startedAt, HUDToast::visibleMs);
        QCOMPARE(fadeOuts()[0].ms, HUDToast::fadeOutMs);
        QVERIFY(window->isVisible());
        QCOMPARE(toast->currentWindow(), window);

        scheduler->advance(HUDToast::fadeOutMs);
        QVERIFY(onScreen().isEmpty());
        QCOMPARE(toast->currentWindow(), nullptr);
        QCOMPARE(scheduler->pendingCount(), 0);
    }

    void aSecondNoticeHalfASecondLaterReplacesTheFirst()
    {
        toast->show(QStringLiteral("First"));
        QPointer<ToastWindow> first = onScreen().first();
        scheduler->advance(500);
        toast->show(QStringLiteral("Second"));
        QCOMPARE(onScreen().size(), 1);
        QCOMPARE(onScreen().first()->text(), QStringLiteral("Second"));
        QVERIFY(!first || !first->isVisible()); // gone at once, without fading
        QVERIFY(fadeOuts().isEmpty());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!first);

        scheduler->advance(HUDToast::visibleMs - 1); // 1.6 s after the first show: nothing happens
        QVERIFY(fadeOuts().isEmpty());
        scheduler->advance(1);
        QCOMPARE(fadeOuts().size(), 1);
        QCOMPARE(fadeOuts()[0].startedAt, 500 + HUDToast::visibleMs);
        QCOMPARE(fadeOuts()[0].window.data(), toast->currentWindow());
        scheduler->advance(HUDToast::fadeOutMs);
        QVERIFY(onScreen().isEmpty());
    }

    void anOldFadeOutDoesNotForgetANewerNotice()
    {
        toast->show(QStringLiteral("First"));
        scheduler->advance(HUDToast::visibleMs + 100); // fading out
        QCOMPARE(fadeOuts().size(), 1);
        toast->show(QStringLiteral("Second"));
        QWidget *second = toast->currentWindow();
        QCOMPARE(onScreen().size(), 1);
        scheduler->advance(HUDToast::fadeOutMs); // when the old fade would have ended
        QCOMPARE(toast->currentWindow(), second);
        QVERIFY(second->isVisible());
    }

    void theNoticeNeverTakesFocusAndLetsClicksThrough()
    {
        QLineEdit below;
        below.setWindowTitle(QStringLiteral("paste target"));
        below.setGeometry(area());
        below.show();
        below.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&below));
        below.setFocus();

        toast->show(QStringLiteral("Copied — press Ctrl+V to paste"));
        ToastWindow *window = onScreen().first();
        QVERIFY(window->windowFlags().testFlag(Qt::WindowDoesNotAcceptFocus));
        QVERIFY(window->windowFlags().testFlag(Qt::WindowTransparentForInput));
        QVERIFY(window->windowFlags().testFlag(Qt::X11BypassWindowManagerHint));
        QVERIFY(window->windowHandle()->flags().testFlag(Qt::WindowTransparentForInput));
        QVERIFY(window->windowHandle()->flags().testFlag(Qt::WindowDoesNotAcceptFocus));
        QVERIFY(window->testAttribute(Qt::WA_ShowWithoutActivating));
        QCOMPARE(window->focusPolicy(), Qt::NoFocus);
        QTest::qWait(50);
        QCOMPARE(QApplication::activeWindow(), &below);
        QCOMPARE(QApplication::focusWidget(), &below);

        QVERIFY(window->testAttribute(Qt::WA_TransparentForMouseEvents));
        // Typing still reaches the window below (the X11 input shape itself is checked end to end).
        QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("typed"));
        QCOMPARE(below.text(), QStringLiteral("typed"));
    }

    void aLongTextMakesAWiderNoticeStillCentred()
    {
        toast->show(QStringLiteral("Copied"));
        const QRect shortGeometry = toast->currentWindow()->geometry();
        toast->show(QStringLiteral("Copied — press Ctrl+V to paste, then carry on with what you were doing"));
        const QRect longGeometry = toast->currentWindow()->geometry();
        QVERIFY(longGeometry.width() > shortGeometry.width());
        QCOMPARE(longGeometry.height(), shortGeometry.height());
        for (const QRect &geometry : {shortGeometry, longGeometry}) {
            QVERIFY(qAbs(geometry.center().x() - area().center().x()) <= 1);
            QCOMPARE(geometry.bottom() + 1, area().bottom() + 1 - HUDToast::bottomOffset);
        }
    }
};

QTEST_MAIN(HUDToastTest)
#include "HUDToastTest.moc"

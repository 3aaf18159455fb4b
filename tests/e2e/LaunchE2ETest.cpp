// SPDX-License-Identifier: GPL-3.0-or-later
// End to end, the start: the language override in "AppleLanguages"; the first start shows the
// guide, closing it completes it, a later start shows nothing (Xvfb has XTest, so paste is
// granted), NORVANE_ONBOARDING=1 brings it back and Ctrl+Q in it quits. Clicked through, every
// page of the guide is shown whole, its window at the page's full size. Without a tray a notice
// says how to open the history, until a tray comes and takes the icon.
#include "e2e/XSession.h"

#include <QtTest>

class LaunchE2ETest : public QObject {
    Q_OBJECT
    std::unique_ptr<XSession> x;

    QString guide() const { return x->stashwellWindow(false).id; } // "" while it is not shown
    QJsonValue storedCompleted() const { return x->defaults()[QLatin1String("onboardingCompleted")]; }
    static constexpr auto shownWidget = &XSession::shownWidget;
    // Why the guide's page is not shown whole, "" when it is: its X window not at the guide's
    // size, no title or main button, or a label or button cut short or outside the window.
    QString pageProblem(const QJsonObject &guide) const
    {
        const QSize size(guide[QLatin1String("width")].toInt(), guide[QLatin1String("height")].toInt());
        const QSize onScreen = x->stashwellWindow(false).frame.size();
        if (onScreen != size)
            return QStringLiteral("X window %1x%2, the guide's %3x%4")
                .arg(onScreen.width()).arg(onScreen.height()).arg(size.width()).arg(size.height());
        for (const QJsonValue widget : guide[QLatin1String("widgets")].toArray()) {
            const QRect rect(widget["x"].toInt(), widget["y"].toInt(), widget["width"].toInt(), widget["height"].toInt());
            if (!QRect(QPoint(), size).contains(rect) || rect.height() < widget["neededHeight"].toInt())
                return QStringLiteral("\"%1\" at %2,%3 %4x%5 (needs %6 px) in a window of %7x%8")
                    .arg(widget["text"].toString().left(40)).arg(rect.x()).arg(rect.y()).arg(rect.width())
                    .arg(rect.height()).arg(widget["neededHeight"].toInt()).arg(size.width()).arg(size.height());
        }
        if (shownWidget(guide, QStringLiteral("title")).isEmpty() || shownWidget(guide, QStringLiteral("primary")).isEmpty())
            return QStringLiteral("no title or main button");
        return {};
    }

private slots:
    void init()
    {
        x = std::make_unique<XSession>();
        QVERIFY(x->isUp());
    }
    void cleanup() { x.reset(); }

    void anUnsetLanguageRemovesAnEarlierOverride()
    {
        x->setDefaults({{QStringLiteral("AppleLanguages"), QJsonArray{QStringLiteral("de")}}});
        QVERIFY(x->startStashwell());
        QVERIFY(!x->defaults().contains(QStringLiteral("AppleLanguages")));
    }

    void aChosenLanguageBecomesTheOverride()
    {
        x->setDefaults({{QStringLiteral("languageCode"), QStringLiteral("fr")}});
        QVERIFY(x->startStashwell());
        QCOMPARE(x->defaults()[QLatin1String("AppleLanguages")], QJsonValue(QJsonArray{QStringLiteral("fr")}));
    }

    void theFirstStartShowsTheGuideAndClosingItCompletesIt()
    {
        x->setDefaults({{QStringLiteral("onboardingCompleted"), false}});
        QVERIFY(x->startStashwell());
        // In front: the guide is up and the active window, ready for the keyboard.
        const bool inFront = x->waitFor([&] { return !guide().isEmpty() && x->activeWindow() == guide(); }, 10000);
        QVERIFY2(inFront, qPrintable(QStringLiteral("guide [%1], active window %2").arg(guide(), x->activeWindow())));

        x->run(QStringLiteral("xdotool"), {"key", "--window", guide(), "alt+F4"}); // openbox: close
        QVERIFY(x->waitFor([&] { return guide().isEmpty(); }));
        QVERIFY(x->waitFor([&] { return storedCompleted() == QJsonValue(true); })); // saved after the debounce
        QCOMPARE(x->stopStashwell(), 0);

        QVERIFY(x->startStashwell());
        // openbox maps windows in turn: had the launch shown the guide, it is up once zenity is.
        QVERIFY(x->startZenityEntry());
        QVERIFY(!x->stashwellHasVisiblePopup());
    }

    void theGuideShowsEveryPageWholeAsItsButtonIsClicked()
    {
#ifndef STASHWELL_TEST_HOOKS
        QFAIL("configure with -DSTASHWELL_TEST_HOOKS=ON: this test reads the guide's widgets");
#endif
        QVERIFY(x->startTray()); // no notice about a missing tray beside the guide
        x->setDefaults({{QStringLiteral("onboardingCompleted"), false}});
        QVERIFY(x->startStashwell());
        QStringList titles;
        for (int page = 1; page <= 4; ++page) {
            QJsonObject shown;
            QString problem;
            // A new page, whole once the window has taken its size.
            const bool whole = x->waitFor([&] {
                shown = x->shownWindow(QStringLiteral("onboardingWindow"));
                problem = shown.isEmpty() ? QStringLiteral("not shown") : pageProblem(shown);
                return problem.isEmpty() && !titles.contains(shownWidget(shown, QStringLiteral("title"))["text"].toString());
            }, 10000);
            QVERIFY2(whole, qPrintable(QStringLiteral("page %1: %2").arg(page).arg(problem)));
            titles << shownWidget(shown, QStringLiteral("title"))["text"].toString();
            QCOMPARE(shownWidget(shown, QStringLiteral("back")).isEmpty(), page == 1);
            const QJsonObject primary = shownWidget(shown, QStringLiteral("primary"));
            const QPoint centre(primary["x"].toInt() + primary["width"].toInt() / 2,
                                primary["y"].toInt() + primary["height"].toInt() / 2);
            x->run(QStringLiteral("xdotool"), {"mousemove", "--window", guide(), QString::number(centre.x()),
                                               QString::number(centre.y()), "click", "1"});
        }
        QVERIFY(x->waitFor([&] { return guide().isEmpty(); })); // the last page's button ends it
        QVERIFY(x->waitFor([&] { return storedCompleted() == QJsonValue(true); }));
    }

    void withoutATrayANoticeSaysHowToOpenTheHistoryUntilATrayComes()
    {
#ifndef STASHWELL_TEST_HOOKS
        QFAIL("configure with -DSTASHWELL_TEST_HOOKS=ON: this test reads the notice's text");
#endif
        x.reset(); // this one starts without a tray
        x = std::make_unique<XSession>(XSession::Tray::later);
        QVERIFY(x->isUp());
        QVERIFY(x->startStashwell());
        QVERIFY(x->waitFor([&] { return x->stashwellNotices().size() == 1; }, 10000));
        QString text;
        for (const QJsonValue widget : x->shownWindow(QStringLiteral("notice"))[QLatin1String("widgets")].toArray())
            text += widget[QLatin1String("text")].toString() + QLatin1Char('\n');
        QVERIFY2(text.contains(QStringLiteral("Shift+Super+V")), qPrintable(text)); // the hot key opens it
        QVERIFY(x->stashwellTrayIcon().isEmpty());

        QVERIFY(x->startTray());
        QVERIFY(x->waitFor([&] { return !x->stashwellTrayIcon().isEmpty(); }, 10000)); // docked
        QVERIFY(x->waitFor([&] { return x->stashwellNotices().isEmpty(); }, 10000));   // the notice went
        QCOMPARE(x->runStashwellCommand({QStringLiteral("list")}).exitCode, 0);      // a round trip later
        QVERIFY(x->stashwellNotices().isEmpty()); // and no other came
    }

    void norvaneOnboardingForcesTheGuide()
    {
        QVERIFY(x->startStashwell({QStringLiteral("NORVANE_ONBOARDING=1")}));
        QVERIFY(x->waitFor([&] { return !guide().isEmpty(); }, 10000));
        QCOMPARE(storedCompleted(), QJsonValue(true)); // completed before, and it stays so
    }

    void ctrlQInTheGuideQuits()
    {
        QVERIFY(x->startStashwell({QStringLiteral("NORVANE_ONBOARDING=1")}));
        QVERIFY(x->waitFor([&] { return !guide().isEmpty(); }, 10000));
        QVERIFY(x->focus(guide())); // the key goes to the guide
        x->key(QStringLiteral("ctrl+q"));
        QCOMPARE(x->waitForStashwellExit(5000), 0);
    }
};

QTEST_MAIN(LaunchE2ETest)
#include "LaunchE2ETest.moc"

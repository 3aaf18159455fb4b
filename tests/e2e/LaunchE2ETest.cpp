// End to end, Part 2.1's start: the language override written to or removed from
// "AppleLanguages" (entry step 1); the first start shows the guide, closing it marks it
// completed, a later start shows nothing (Xvfb has XTest, so paste is granted) and
// NORVANE_ONBOARDING=1 brings it back (launch step 6, Part 9.1); Ctrl+Q in the guide quits
// (launch step 2).
#include "e2e/XSession.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

class LaunchE2ETest : public QObject {
    Q_OBJECT
    std::unique_ptr<XSession> x;

    // The guide's window ("Stashwell"), "" while none is shown.
    QString guideWindow() const
    {
        return QString::fromLatin1(x->run(QStringLiteral("xdotool"),
                                          {"search", "--onlyvisible", "--pid",
                                           QString::number(x->stashwell()->processId()), "--name", "^Stashwell$"})
                                       .trimmed());
    }
    // Empty once the guide is up and the active window, ready for the keyboard; else what is seen.
    QString guideInFront() const
    {
        QString seen;
        for (int waited = 0; waited < 10000; waited += 50) {
            const QString guide = guideWindow();
            const QString active = x->activeWindow();
            if (!guide.isEmpty() && active.toULongLong(nullptr, 0) == guide.toULongLong())
                return {};
            seen = QStringLiteral("guide window(s) [%1], active window %2").arg(guide, active);
            QTest::qWait(50);
        }
        return seen;
    }
    QJsonObject storedDefaults() const
    {
        QFile file(x->defaultsFile());
        file.open(QIODevice::ReadOnly);
        return QJsonDocument::fromJson(file.readAll()).object();
    }
    QJsonValue storedCompleted() const { return storedDefaults().value(QStringLiteral("onboardingCompleted")); }

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
        QVERIFY(!storedDefaults().contains(QStringLiteral("AppleLanguages")));
    }

    void aChosenLanguageBecomesTheOverride()
    {
        x->setDefaults({{QStringLiteral("languageCode"), QStringLiteral("fr")}});
        QVERIFY(x->startStashwell());
        QCOMPARE(storedDefaults().value(QStringLiteral("AppleLanguages")), QJsonValue(QJsonArray{QStringLiteral("fr")}));
    }

    void theFirstStartShowsTheGuideAndClosingItCompletesIt()
    {
        x->setDefaults({{QStringLiteral("onboardingCompleted"), false}});
        QVERIFY(x->startStashwell());
        const QString notInFront = guideInFront();
        QVERIFY2(notInFront.isEmpty(), qPrintable(notInFront));

        x->run(QStringLiteral("xdotool"), {"key", "--window", guideWindow(), "alt+F4"}); // openbox: close
        QTRY_VERIFY_WITH_TIMEOUT(guideWindow().isEmpty(), 5000);
        QTRY_COMPARE_WITH_TIMEOUT(storedCompleted(), QJsonValue(true), 5000); // saved after the debounce
        QCOMPARE(x->stopStashwell(), 0);

        QVERIFY(x->startStashwell());
        QTest::qWait(2000); // the launch is over; nothing may appear
        QVERIFY(guideWindow().isEmpty());
        QVERIFY(!x->stashwellHasVisiblePopup());
    }

    void norvaneOnboardingForcesTheGuide()
    {
        QVERIFY(x->startStashwell({QStringLiteral("NORVANE_ONBOARDING=1")}));
        QTRY_VERIFY_WITH_TIMEOUT(!guideWindow().isEmpty(), 10000);
        QCOMPARE(storedCompleted(), QJsonValue(true)); // completed before, and it stays so
    }

    void ctrlQInTheGuideQuits() // Part 2.1's quit key (QuitShortcut)
    {
        QVERIFY(x->startStashwell({QStringLiteral("NORVANE_ONBOARDING=1")}));
        QTRY_VERIFY_WITH_TIMEOUT(!guideWindow().isEmpty(), 10000);
        x->run(QStringLiteral("xdotool"), {"windowactivate", "--sync", guideWindow()}); // the key goes to the guide
        x->run(QStringLiteral("xdotool"), {"key", "ctrl+q"});
        QCOMPARE(x->waitForStashwellExit(5000), 0);
    }
};

QTEST_MAIN(LaunchE2ETest)
#include "LaunchE2ETest.moc"

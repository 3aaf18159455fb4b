// Part 9.1: the guide's driver and this application's four pages, offscreen, with the
// environment, the accessibility permission and the one-second timer under the test's control.
#include "fakes/SettingsFakes.h"
#include "onboarding/OKRootView.h"
#include "onboarding/OKViews.h"
#include "onboarding/OnboardingWindowController.h"

#include <QMap>
#include <QTest>

class OnboardingTest : public QObject {
    Q_OBJECT

    std::unique_ptr<SettingsFixture> f;
    QMap<QString, QString> env;
    QRect screen{0, 0, 1280, 800};
    bool hasScreen = true;
    std::unique_ptr<OnboardingWindowController> guide;

    OnboardingKitOptions options()
    {
        OnboardingKitOptions o;
        o.environment = [this](const QString &name) -> std::optional<QString> {
            if (!env.contains(name))
                return std::nullopt;
            return env.value(name);
        };
        o.timers = f->timers.factory();
        o.screenArea = [this]() -> std::optional<QRect> {
            if (!hasScreen)
                return std::nullopt;
            return screen;
        };
        return o;
    }
    void makeGuide() { guide = std::make_unique<OnboardingWindowController>(f->settings, f->l10n, f->accessibility, options()); }
    OKRootView *root() const { return guide->kit() ? guide->kit()->rootView() : nullptr; }
    OKStep::Kind kind() const { return root()->step().kind; }
    void press(QAbstractButton *button)
    {
        QVERIFY(button);
        QTest::mouseClick(button, Qt::LeftButton);
    }

private slots:
    void init()
    {
        f = std::make_unique<SettingsFixture>();
        env.clear();
        hasScreen = true;
        makeGuide();
    }
    void cleanup()
    {
        guide.reset();
        QTest::qWait(0);
        f.reset();
    }

    void fourPagesInOrderWithTheirButtons()
    {
        f->permission.trusted = true;
        guide->show(false);
        QVERIFY(guide->kit()->window()->isVisible());
        QCOMPARE(guide->kit()->window()->width(), 360);
        QCOMPARE(root()->count(), 4);
        QCOMPARE(kind(), OKStep::Kind::welcome);
        QVERIFY(!root()->backButton());
        QCOMPARE(root()->primaryButton()->text(), QStringLiteral("Continue"));
        QCOMPARE(root()->pageDots()->index(), 0);
        QCOMPARE(root()->pageDots()->count(), 4);

        press(root()->primaryButton());
        QCOMPARE(kind(), OKStep::Kind::permissions);
        QVERIFY(root()->grantedOnArrival());
        QVERIFY(root()->page()->findChild<OKPermissionRow *>()->showsGranted());
        QCOMPARE(root()->backButton()->property("text").toString(), QStringLiteral("Back"));

        press(root()->primaryButton());
        QCOMPARE(kind(), OKStep::Kind::tutorial);
        QCOMPARE(root()->page()->findChildren<OKHintRow *>().size(), 4);
        QVERIFY(root()->page()->findChild<OKDemoCanvas *>());

        press(qobject_cast<QAbstractButton *>(root()->backButton()));
        QCOMPARE(kind(), OKStep::Kind::permissions);
        press(root()->primaryButton());
        press(root()->primaryButton());
        QCOMPARE(kind(), OKStep::Kind::consent);
        QCOMPARE(root()->primaryButton()->text(), QStringLiteral("Get Started"));
        QCOMPARE(root()->pageDots()->index(), 3);

        QVERIFY(!f->settings.onboardingCompleted());
        press(root()->primaryButton());
        QVERIFY(f->settings.onboardingCompleted());
        QVERIFY(!guide->kit()); // dropped; the next show builds a fresh one
        guide->show(false);
        QVERIFY(guide->kit() && guide->kit()->window());
        QCOMPARE(kind(), OKStep::Kind::welcome);
    }

    void consentSwitchesShowAndSetTheStoredValues()
    {
        f->settings.setCrashReportingEnabled(false);
        env["NORVANE_ONBOARDING_PAGE"] = "3";
        guide->show(false);
        auto *improve = root()->page()->findChild<PillSwitch *>("improveDataSharing");
        auto *crash = root()->page()->findChild<PillSwitch *>("crashReportingEnabled");
        QVERIFY(improve->isChecked());
        QVERIFY(!crash->isChecked());
        press(improve);
        QVERIFY(!f->settings.improveDataSharing()); // at once
        press(crash);
        QVERIFY(f->settings.crashReportingEnabled());
    }

    // Edge case: first launch without accessibility: welcome first; granting on the permission
    // page moves on to the tutorial within a second.
    void firstLaunchOpensWelcomeAndAdvancesOnceGranted()
    {
        QVERIFY(guide->showAtLaunchIfDue());
        QCOMPARE(kind(), OKStep::Kind::welcome);
        f->timers.fireAll(); // ticks do nothing off the permission page
        QCOMPARE(root()->tickCount(), 0);
        press(root()->primaryButton());
        QCOMPARE(kind(), OKStep::Kind::permissions);
        QVERIFY(!root()->grantedOnArrival());
        QVERIFY(root()->isWaiting());
        QVERIFY(!root()->primaryButton());
        QCOMPARE(root()->waitingDots()->text(), f->l10n.string("onb.waiting"));
        QCOMPARE(root()->laterButton()->text(), f->l10n.string("onb.skipPerm"));

        f->timers.fireAll();
        QCOMPARE(kind(), OKStep::Kind::permissions);
        QCOMPARE(root()->tickCount(), 1);
        f->permission.trusted = true; // granted in the system settings
        f->timers.fireAll();
        QCOMPARE(kind(), OKStep::Kind::tutorial);
        QCOMPARE(f->timers.last()->interval, 1000);
    }

    void grantButtonOnThePagePromptsThenOpensSettings()
    {
        env["NORVANE_ONBOARDING_PAGE"] = "1";
        guide->show(false);
        auto *grant = root()->page()->findChild<QAbstractButton *>("grantButton");
        press(grant);
        press(grant);
        QCOMPARE(f->permission.calls, QStringList({"prompt", "settings"}));
    }

    void laterSkipsThePermission()
    {
        guide->show(true);
        QCOMPARE(kind(), OKStep::Kind::permissions);
        press(root()->laterButton());
        QCOMPARE(kind(), OKStep::Kind::tutorial);
        QVERIFY(!f->settings.onboardingCompleted());
    }

    void grantedOnArrivalWaitsForTheClick()
    {
        f->permission.trusted = true;
        guide->show(true);
        QCOMPARE(kind(), OKStep::Kind::permissions);
        f->timers.fireAll();
        f->timers.fireAll();
        QCOMPARE(kind(), OKStep::Kind::permissions);
        QCOMPARE(root()->tickCount(), 2);
        QVERIFY(root()->primaryButton());
    }

    // Edge case: a later launch with onboarding completed and the permission revoked opens on
    // the permission page; with the permission the guide stays away.
    void laterLaunchWithPermissionRevokedOpensOnPermissionPage()
    {
        f->settings.setOnboardingCompleted(true);
        f->permission.trusted = false;
        QVERIFY(guide->showAtLaunchIfDue());
        QCOMPARE(root()->index(), 1);
        QCOMPARE(kind(), OKStep::Kind::permissions);

        guide.reset();
        makeGuide();
        f->permission.trusted = true;
        QVERIFY(!guide->showAtLaunchIfDue());
        QVERIFY(!guide->kit());
    }

    // Edge case: NORVANE_ONBOARDING_PAGE = 7 opens the last page (pinned); "abc" is ignored.
    void pinnedPageIsClampedAndGarbageIgnored()
    {
        env["NORVANE_ONBOARDING_PAGE"] = "7";
        guide->show(false);
        QCOMPARE(root()->index(), 3);
        QVERIFY(root()->pinned());
        guide.reset();

        makeGuide();
        env["NORVANE_ONBOARDING_PAGE"] = "abc";
        guide->show(false);
        QCOMPARE(root()->index(), 0);
        QVERIFY(!root()->pinned());
        guide.reset();

        makeGuide();
        env["NORVANE_ONBOARDING_PAGE"] = "-3";
        guide->show(true);
        QCOMPARE(root()->index(), 0); // replaces the permission start, clamped
        QVERIFY(root()->pinned());
    }

    void parsingThePageNumber()
    {
        using OnboardingKitEnv::parsePage;
        QCOMPARE(parsePage("2"), std::optional<qint64>(2));
        QCOMPARE(parsePage("+2"), std::optional<qint64>(2));
        QCOMPARE(parsePage("-1"), std::optional<qint64>(-1));
        QCOMPARE(parsePage("007"), std::optional<qint64>(7));
        for (const char *bad : {"", " 1", "1 ", "1.0", "0x1", "+", "--1", "abc", "99999999999999999999"})
            QCOMPARE(parsePage(QString::fromLatin1(bad)), std::nullopt);
        const auto environment = [](const QString &name) -> std::optional<QString> {
            if (name == "OLD_ONBOARDING_PAGE")
                return QStringLiteral("2");
            if (name == "OLD_ONBOARDING")
                return QStringLiteral("1");
            return std::nullopt;
        };
        QCOMPARE(OnboardingKitEnv::pinnedPage({}, environment), std::nullopt);
        QCOMPARE(OnboardingKitEnv::pinnedPage({"OLD_ONBOARDING"}, environment), std::optional<qint64>(2));
        QVERIFY(!OnboardingKitEnv::forced({}, environment));
        QVERIFY(OnboardingKitEnv::forced({"OLD_ONBOARDING"}, environment));
    }

    void pinnedPermissionPageDoesNotAdvance()
    {
        env["NORVANE_ONBOARDING_PAGE"] = "1";
        guide->show(false);
        QVERIFY(root()->isWaiting());
        f->permission.trusted = true;
        f->timers.fireAll();
        QCOMPARE(kind(), OKStep::Kind::permissions);
        QVERIFY(!root()->isWaiting()); // the footer follows the grant
        QVERIFY(root()->primaryButton());
    }

    // Edge case: NORVANE_ONBOARDING other than exactly "1" does not force the guide.
    void onlyExactlyOneForcesTheGuide()
    {
        f->settings.setOnboardingCompleted(true);
        f->permission.trusted = true;
        for (const char *value : {"true", "yes", "01", " 1", ""}) {
            env["NORVANE_ONBOARDING"] = QString::fromLatin1(value);
            QVERIFY2(!guide->showAtLaunchIfDue(), value);
            QVERIFY(!guide->kit());
        }
        env["NORVANE_ONBOARDING"] = "1";
        QVERIFY(guide->showAtLaunchIfDue());
        QCOMPARE(root()->index(), 0);
    }

    // Edge case: closing the window on the first page marks onboarding as completed.
    void closingOnTheFirstPageMarksCompleted()
    {
        guide->show(false);
        QCOMPARE(root()->index(), 0);
        guide->kit()->window()->close();
        QVERIFY(f->settings.onboardingCompleted());
        QVERIFY(!guide->kit());
    }

    void showingAgainWhileOpenOnlyBringsItForward()
    {
        guide->show(false);
        OnboardingKitController *kit = guide->kit();
        QWidget *window = kit->window();
        press(root()->primaryButton());
        guide->show(false);
        QCOMPARE(guide->kit(), kit);
        QCOMPARE(guide->kit()->window(), window);
        QCOMPARE(root()->index(), 1); // not reset
    }

    void resizeKeepsTheTopEdgeAndStaysOnScreen()
    {
        guide->show(false);
        OnboardingKitController *kit = guide->kit();
        QWidget *window = kit->window();
        window->move(100, 300);
        const QPoint top = window->geometry().topLeft();
        kit->resize(420.4);
        QCOMPARE(window->geometry(), QRect(top, QSize(360, 420)));
        kit->resize(620);
        QCOMPARE(window->height(), 620);
        QCOMPARE(window->geometry().bottom(), screen.bottom()); // moved up onto the screen
        kit->resize(5000);
        QCOMPARE(window->height(), 760); // visible height minus 40
        kit->resize(0);
        QCOMPARE(window->height(), 760);
        hasScreen = false;
        kit->resize(5000);
        QCOMPARE(window->height(), 860);
    }

    void pagesFollowTheInterfaceLanguage()
    {
        guide->show(false);
        f->l10n.apply(QStringLiteral("de"));
        QTRY_COMPARE(root()->primaryButton()->text(), f->l10n.string("onb.continue"));
        QCOMPARE(root()->primaryButton()->text(), QStringLiteral("Weiter"));
    }
};

QTEST_MAIN(OnboardingTest)
#include "OnboardingTest.moc"

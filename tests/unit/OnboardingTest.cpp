// SPDX-License-Identifier: GPL-3.0-or-later
// The first-run guide: its pages (with the hot key as set) and completion, when it opens at
// launch, and its permission page.
#include "fakes/SettingsFakes.h"
#include "onboarding/OKRootView.h"
#include "onboarding/OKViews.h"
#include "onboarding/OnboardingWindowController.h"

#include <QTest>

class OnboardingTest : public QObject {
    Q_OBJECT
    std::unique_ptr<SettingsFixture> f;
    QMap<QString, QString> env;
    std::unique_ptr<OnboardingWindowController> guide;

    void makeGuide()
    {
        guide.reset(); // its window goes on the next turn
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        OnboardingKitOptions options;
        options.environment = [this](const QString &name) {
            return env.contains(name) ? std::optional(env.value(name)) : std::nullopt;
        };
        options.timers = f->timers.factory();
        guide = std::make_unique<OnboardingWindowController>(f->settings, f->l10n, f->permission, f->serviceHost, options);
    }
    OKRootView *root() const { return guide->kit() ? guide->kit()->rootView() : nullptr; }
    OKStep::Kind kind() const { return root()->step().kind; }
    void next() { QTest::mouseClick(root()->primaryButton(), Qt::LeftButton); }

private slots:
    void init()
    {
        f = std::make_unique<SettingsFixture>();
        env.clear();
        makeGuide();
    }
    void cleanup()
    {
        guide.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        f.reset();
    }

    void fourPagesForwardAndBackThenTheLastCompletesTheGuideInTheChosenLanguage()
    {
        f->permission.trusted = true;
        guide->show(false);
        QCOMPARE(kind(), OKStep::Kind::welcome);
        next();
        next();
        QCOMPARE(kind(), OKStep::Kind::tutorial);
        // The first key caps are the hot key as it is set, also when it changes on this page.
        f->settings.setHotKey(QStringLiteral("Ctrl+Alt+B"));
        const auto caps = [this] {
            QStringList texts;
            for (const OKKeycap *cap : root()->page()->findChildren<OKKeycap *>())
                texts << cap->text();
            return texts.mid(0, 4);
        };
        QTRY_COMPARE(caps(), QStringList({"Ctrl", "Alt", "B", "↩"}));
        QTest::mouseClick(root()->backButton(), Qt::LeftButton);
        QCOMPARE(kind(), OKStep::Kind::permissions);
        next();
        next();
        QCOMPARE(kind(), OKStep::Kind::consent);
        QVERIFY(!f->settings.onboardingCompleted());
        next();
        QVERIFY(f->settings.onboardingCompleted());
        QVERIFY(!guide->kit()); // the next show builds a fresh one
        guide->show(false);
        QCOMPARE(kind(), OKStep::Kind::welcome);
        f->l10n.apply(QStringLiteral("de"));
        QTRY_COMPARE(root()->primaryButton()->text(), QStringLiteral("Weiter"));
    }

    void theConsentSwitchesSayWhetherAndWhereTheySend_data()
    {
        QTest::addColumn<QString>("host");
        QTest::newRow("no web service") << QString();
        QTest::newRow("a web service") << QStringLiteral("stats.example.org");
    }
    void theConsentSwitchesSayWhetherAndWhereTheySend()
    {
        QFETCH(QString, host);
        f->serviceHost = host;
        makeGuide();
        f->permission.trusted = true;
        guide->show(false);
        for (int i = 0; i < 3; ++i)
            next();
        QCOMPARE(kind(), OKStep::Kind::consent);
        for (const char *key : {"improveDataSharing", "crashReportingEnabled"}) {
            auto *toggle = root()->page()->findChild<PillSwitch *>(key);
            QCOMPARE(toggle->isEnabled() && toggle->isChecked(), !host.isEmpty());
            QString texts; // the row's title and body
            for (QLabel *label : toggle->parentWidget()->findChildren<QLabel *>())
                texts += label->text() + '\n';
            QVERIFY2(texts.contains(host.isEmpty() ? "nothing is sent" : host), qPrintable(texts));
        }
        QVERIFY(f->settings.improveDataSharing() && f->settings.crashReportingEnabled()); // the choice is kept
    }

    void thePermissionPageWaitsForXTestAndChecksAgainOnAPress()
    {
        QVERIFY(guide->showAtLaunchIfDue());
        f->timers.fireAll(); // ticks do nothing off the permission page
        QCOMPARE(root()->tickCount(), 0);
        next();
        QVERIFY(root()->isWaiting() && !root()->primaryButton());
        auto *row = root()->page()->findChild<OKPermissionRow *>();
        f->timers.fireAll();
        QCOMPARE(kind(), OKStep::Kind::permissions);
        f->permission.trusted = true;
        QTest::mouseClick(row->findChild<QAbstractButton *>("recheckButton"), Qt::LeftButton);
        QVERIFY(row->showsGranted()); // at once, before the next tick moves on
        f->timers.fireAll();
        QCOMPARE(kind(), OKStep::Kind::tutorial);
    }

    void launchOpensTheGuideWhenDue()
    {
        struct Case { bool completed, trusted; const char *forced; int page; }; // forced: NORVANE_ONBOARDING; -1: none
        const Case cases[] = {{false, true, nullptr, 0}, {true, false, nullptr, 1}, {true, true, nullptr, -1},
                              {true, true, "1", 0},      {true, true, "true", -1},  {true, true, " 1", -1}};
        for (const Case &c : cases) {
            f->settings.setOnboardingCompleted(c.completed);
            f->permission.trusted = c.trusted;
            env.clear();
            if (c.forced)
                env["NORVANE_ONBOARDING"] = c.forced;
            makeGuide();
            QCOMPARE(guide->showAtLaunchIfDue(), c.page >= 0);
            QCOMPARE(root() ? root()->index() : -1, c.page);
        }
    }
};

QTEST_MAIN(OnboardingTest)
#include "OnboardingTest.moc"

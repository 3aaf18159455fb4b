// Part 2.6 on Linux: the appcast updater against a local HTTP server: check now, scheduled
// checks, the persisted automatic-check flag, skipped versions, and feeds that fail.
#include "app/UpdaterController.h"
#include "fakes/Fakes.h"
#include "fakes/LocalHttpServer.h"
#include "fakes/UpdaterFakes.h"
#include "platform/DefaultsStore.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QByteArray appcast(const QByteArray &version, const QByteArray &shortVersion)
{
    return "<?xml version=\"1.0\"?><rss version=\"2.0\" xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\">"
           "<channel><title>Stashwell</title><item><title>Stashwell "
        + shortVersion + "</title><sparkle:version>" + version + "</sparkle:version><sparkle:shortVersionString>"
        + shortVersion
        + "</sparkle:shortVersionString><sparkle:releaseNotesLink>https://norvane.example/notes</sparkle:releaseNotesLink>"
          "<enclosure url=\"https://norvane.example/stashwell-"
        + shortVersion + ".tar.gz\" length=\"1\"/></item></channel></rss>";
}

} // namespace

class UpdaterControllerTest : public QObject {
    Q_OBJECT
    std::unique_ptr<LocalHttpServer> server;
    QTemporaryDir dir;
    std::unique_ptr<DefaultsStore> defaults;
    FakeClock clock;
    FakeUpdateDriver driver;
    std::unique_ptr<UpdaterController> updater;
    QList<QUrl> opened;

    QString defaultsPath() const { return dir.path() + QStringLiteral("/defaults.json"); }
    void make(const QString &path = QStringLiteral("/appcast.xml"))
    {
        updater.reset();
        defaults = std::make_unique<DefaultsStore>(defaultsPath());
        updater = std::make_unique<UpdaterController>(
            *defaults, clock,
            UpdaterController::Config{QUrl(server->rootURL() + path), QStringLiteral("10"), QStringLiteral("1.0")},
            driver);
        updater->openURL = [this](const QUrl &url) { opened << url; };
    }
    void serve(const QByteArray &body, int status = 200)
    {
        server->setRoute("GET", "/appcast.xml", HttpAnswer{status, body});
    }
    UpdaterController::Outcome check(bool user)
    {
        QSignalSpy finished(updater.get(), &UpdaterController::checkFinished);
        user ? updater->checkForUpdates() : updater->checkInBackground();
        if (finished.isEmpty() && !finished.wait(10000))
            qFatal("no result");
        return finished.first().first().value<UpdaterController::Outcome>();
    }

private slots:
    void init()
    {
        server = std::make_unique<LocalHttpServer>();
        QFile::remove(defaultsPath());
        driver = FakeUpdateDriver();
        opened.clear();
        make();
    }
    void cleanup()
    {
        updater.reset();
        server.reset();
    }

    void upToDateIsShownWhenTheUserAsked()
    {
        serve(appcast("10", "1.0"));
        QCOMPARE(check(true), UpdaterController::Outcome::upToDate);
        QCOMPARE(driver.shown, (QStringList{"checking", "upToDate 1.0"}));
        const HttpRequest request = server->requests("/appcast.xml").value(0);
        QCOMPARE(request.method, QByteArray("GET"));
        QCOMPARE(request.headers.value("user-agent"), QByteArray("Stashwell/1.0"));
    }

    void aNewerVersionIsOfferedAndDownloadOpensItsPage()
    {
        serve(appcast("11", "1.1"));
        driver.choice = UpdateUserDriver::Choice::download;
        QCOMPARE(check(true), UpdaterController::Outcome::updateFound);
        QCOMPARE(driver.shown, (QStringList{"checking", "update 1.1 over 1.0"}));
        QCOMPARE(opened, QList{QUrl("https://norvane.example/stashwell-1.1.tar.gz")});
    }

    void skippingAVersionHidesItFromScheduledChecksOnly()
    {
        serve(appcast("11", "1.1"));
        driver.choice = UpdateUserDriver::Choice::skip;
        QCOMPARE(check(true), UpdaterController::Outcome::updateFound);
        QCOMPARE(updater->skippedVersion(), QStringLiteral("11"));
        make(); // persisted
        QCOMPARE(updater->skippedVersion(), QStringLiteral("11"));
        driver.shown.clear();
        QCOMPARE(check(false), UpdaterController::Outcome::upToDate);
        QVERIFY(driver.shown.isEmpty()); // a background check shows nothing then
        QCOMPARE(check(true), UpdaterController::Outcome::updateFound); // asking still shows it
        serve(appcast("12", "1.2"));
        driver.shown.clear();
        QCOMPARE(check(false), UpdaterController::Outcome::updateFound); // a newer one is offered again
        QCOMPARE(driver.shown, QStringList{"update 1.2 over 1.0"});
        QVERIFY(opened.isEmpty());
    }

    void backgroundChecksStaySilentUnlessThereIsAnUpdate()
    {
        serve(appcast("10", "1.0"));
        QCOMPARE(check(false), UpdaterController::Outcome::upToDate);
        serve("not xml", 200);
        QCOMPARE(check(false), UpdaterController::Outcome::error);
        serve({}, 500);
        QCOMPARE(check(false), UpdaterController::Outcome::error);
        QVERIFY(driver.shown.isEmpty());
    }

    void failuresShowTheErrorWhenTheUserAsked_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("404") << 404 << QByteArray("<rss><channel></channel></rss>");
        QTest::newRow("500") << 500 << QByteArray();
        QTest::newRow("malformed") << 200 << QByteArray("<rss><channel><item><title>cut");
        QTest::newRow("html") << 200 << QByteArray("<html>captive portal</html>");
    }
    void failuresShowTheErrorWhenTheUserAsked()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        serve(body, status);
        QCOMPARE(check(true), UpdaterController::Outcome::error);
        QCOMPARE(driver.shown, (QStringList{"checking", "error"}));
    }

    void noServerIsAnError()
    {
        const QString root = server->rootURL();
        server.reset(); // the port is closed now
        updater.reset();
        updater = std::make_unique<UpdaterController>(
            *defaults, clock, UpdaterController::Config{QUrl(root + "/appcast.xml"), "10", "1.0"}, driver);
        QCOMPARE(check(true), UpdaterController::Outcome::error);
        server = std::make_unique<LocalHttpServer>();
    }

    void anOversizedFeedIsAnError()
    {
        serve(QByteArray(UpdaterController::maxFeedBytes + 1024, ' '));
        QCOMPARE(check(true), UpdaterController::Outcome::error);
        QCOMPARE(driver.shown.last(), QStringLiteral("error"));
    }

    void cancellingAHeldCheck()
    {
        serve(appcast("11", "1.1"));
        server->hold();
        QSignalSpy finished(updater.get(), &UpdaterController::checkFinished);
        updater->checkForUpdates();
        QTRY_COMPARE(server->count("/appcast.xml"), 1);
        QVERIFY(updater->isChecking());
        driver.cancel();
        QTRY_COMPARE(finished.size(), 1);
        QCOMPARE(finished.first().first().value<UpdaterController::Outcome>(), UpdaterController::Outcome::cancelled);
        QCOMPARE(driver.shown, (QStringList{"checking", "dismiss"}));
        QVERIFY(!updater->isChecking());
        server->release();
    }

    void askingDuringABackgroundCheckShowsItsResult()
    {
        serve(appcast("10", "1.0"));
        server->hold();
        QSignalSpy finished(updater.get(), &UpdaterController::checkFinished);
        updater->checkInBackground();
        QTRY_COMPARE(server->count("/appcast.xml"), 1);
        updater->checkForUpdates(); // joins the running request
        server->release();
        QTRY_COMPARE(finished.size(), 1);
        QCOMPARE(server->count("/appcast.xml"), 1);
        QCOMPARE(driver.shown, (QStringList{"checking", "upToDate 1.0"}));
        QCOMPARE(finished.first().at(1).toBool(), true);
    }

    void automaticCheckFlagDefaultsOnAndPersists()
    {
        QVERIFY(updater->automaticallyChecksForUpdates());
        updater->setAutomaticallyChecksForUpdates(false);
        make(); // as at the next start, or when the about tab is shown again
        QVERIFY(!updater->automaticallyChecksForUpdates());
        QCOMPARE(defaults->boolValue("SUEnableAutomaticChecks"), std::optional(false));
        updater->setAutomaticallyChecksForUpdates(true);
        make();
        QVERIFY(updater->automaticallyChecksForUpdates());
    }

    void scheduledChecksFollowTheFlag()
    {
        QVERIFY(!updater->isScheduled()); // not before start
        updater->start();
        QVERIFY(updater->isScheduled());
        updater->setAutomaticallyChecksForUpdates(false);
        QVERIFY(!updater->isScheduled());
        updater->setAutomaticallyChecksForUpdates(true);
        QVERIFY(updater->isScheduled());
    }

    void nextCheckIsDueADayAfterTheLast()
    {
        QCOMPARE(updater->updateCheckInterval(), 86400);
        QCOMPARE(updater->msUntilNextCheck(), UpdaterController::launchDelayMs); // never checked: soon
        serve(appcast("10", "1.0"));
        QCOMPARE(check(false), UpdaterController::Outcome::upToDate);
        QCOMPARE(updater->lastUpdateCheckDate(), std::optional(clock.wall));
        QCOMPARE(updater->msUntilNextCheck(), qint64(86400) * 1000);
        clock.advance(23 * 3600);
        QCOMPARE(updater->msUntilNextCheck(), qint64(3600) * 1000);
        clock.advance(2 * 3600); // overdue: right after launch
        QCOMPARE(updater->msUntilNextCheck(), UpdaterController::launchDelayMs);
        clock.advance(-30 * 86400); // the clock went back: at most one interval
        QCOMPARE(updater->msUntilNextCheck(), qint64(86400) * 1000);
        defaults->set("SUScheduledCheckInterval", 60); // below Sparkle's minimum of an hour
        QCOMPARE(updater->updateCheckInterval(), 3600);
    }

    void aScheduledCheckRunsWhenDue()
    {
        serve(appcast("11", "1.1"));
        defaults->set("SUScheduledCheckInterval", 3600);
        defaults->set("SULastCheckTime", clock.now().addSecs(-3600 + 1).toString(Qt::ISODateWithMs));
        updater->start();
        QVERIFY(updater->isScheduled());
        QCOMPARE(updater->msUntilNextCheck(), UpdaterController::launchDelayMs);
        QTRY_COMPARE_WITH_TIMEOUT(driver.shown, QStringList{"update 1.1 over 1.0"}, UpdaterController::launchDelayMs + 5000);
        QVERIFY(updater->isScheduled()); // and the next one is planned
    }

    void withoutAFeedNothingIsScheduledAndAskingIsAnError()
    {
        updater.reset();
        updater = std::make_unique<UpdaterController>(*defaults, clock, UpdaterController::Config{QUrl(), "10", "1.0"},
                                                      driver);
        updater->start();
        QVERIFY(!updater->isScheduled());
        QCOMPARE(check(true), UpdaterController::Outcome::error);
        QCOMPARE(server->count(), 0);
    }
};

QTEST_MAIN(UpdaterControllerTest)
#include "UpdaterControllerTest.moc"

// SPDX-License-Identifier: GPL-3.0-or-later
// Updates: reading the appcast and ordering versions, and the updater's checks (asked for and
// scheduled) against a local HTTP server, answered through the real update dialog.
#include "app/Appcast.h"
#include "app/UpdateDialog.h"
#include "app/UpdaterController.h"
#include "app/VersionComparator.h"
#include "fakes/Fakes.h"
#include "fakes/LocalHttpServer.h"
#include "l10n/FrameworkLanguage.h"
#include "l10n/L10n.h"
#include "platform/DefaultsStore.h"

#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QByteArray feed(const QByteArray &items)
{
    return "<?xml version=\"1.0\"?><rss version=\"2.0\" xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/"
           "sparkle\"><channel><title>Stashwell</title>" + items + "</channel></rss>";
}

// An item offering build `version`, shown as `shown`, for download.
QByteArray release(const QByteArray &version, const QByteArray &shown, const QByteArray &extra = {})
{
    return "<item><sparkle:version>" + version + "</sparkle:version><sparkle:shortVersionString>" + shown
         + "</sparkle:shortVersionString><enclosure url=\"https://norvane.example/stashwell-" + shown + ".tar.gz\"/>"
         + extra + "</item>";
}

} // namespace

class UpdaterTest : public QObject {
    Q_OBJECT
    using Outcome = UpdaterController::Outcome;
    QTemporaryDir dir;
    DefaultsStore memory{QString()};
    FrameworkLanguage framework{{}, {}};
    L10n l10n{memory, framework, {}};
    FakeClock clock;
    std::unique_ptr<LocalHttpServer> server;
    std::unique_ptr<DefaultsStore> defaults;
    std::unique_ptr<UpdateDialog> dialog;
    std::unique_ptr<UpdaterController> updater;
    QList<QUrl> opened;

    void make(bool withFeed = true)
    {
        updater.reset();
        defaults = std::make_unique<DefaultsStore>(dir.filePath(QStringLiteral("defaults.json")));
        const QUrl url = withFeed ? QUrl(server->rootURL() + "/appcast.xml") : QUrl();
        updater = std::make_unique<UpdaterController>(*defaults, clock, UpdaterController::Config{url, "10", "1.0"}, *dialog);
        updater->openURL = [this](const QUrl &url) { opened << url; };
    }
    void serve(const QByteArray &body, int status = 200) { server->setRoute("GET", "/appcast.xml", {status, body}); }
    Outcome check(bool user)
    {
        QSignalSpy finished(updater.get(), &UpdaterController::checkFinished);
        user ? updater->checkForUpdates() : updater->checkInBackground();
        if (finished.isEmpty() && !finished.wait(10000))
            qFatal("no result");
        return finished.first().first().value<Outcome>();
    }
    QString shown() const { return dialog->isVisible() ? dialog->heading() : QString(); } // empty: nothing shown
    void press(const QString &label)
    {
        for (QPushButton *button : dialog->visibleButtons())
            if (button->text() == label)
                return button->click();
        QFAIL(qPrintable("no button " + label));
    }

private slots:
    void init()
    {
        server = std::make_unique<LocalHttpServer>();
        QFile::remove(dir.filePath(QStringLiteral("defaults.json")));
        dialog = std::make_unique<UpdateDialog>(l10n);
        opened.clear();
        make();
    }
    void cleanup()
    {
        updater.reset();
        dialog.reset();
        server.reset();
    }

    void versionsCompareNumericallyWithPreReleasesFirst()
    {
        const char *ordered[][2] = {{"1.9", "1.10"},    {"1.0", "1.0.1"},  {"1.0b1", "1.0"}, {"1.0b2", "1.0b10"},
                                    {"1.0a3", "1.0b1"}, {"1.0a", "1.0.1"}, {"", "0"},
                                    {"1.99999999999999999998", "1.99999999999999999999"}}; // older, newer
        for (const auto &[older, newer] : ordered) {
            QCOMPARE(VersionComparator::compare(older, newer), -1);
            QCOMPARE(VersionComparator::compare(newer, older), 1);
        }
        QCOMPARE(VersionComparator::compare("1.007", "1.7"), 0);
    }

    void theAppcastOffersTheNewestApplicableItemAboveTheInstalledAndSkippedBuilds()
    {
        // Not for this system, not on the default channel, nowhere safe to send the user: never offered.
        const auto items = *Appcast::parse(feed(
            "<item><enclosure url=\"https://norvane.example/1.1.tar.gz\" sparkle:version=\"11\"/></item>"
            + release("30", "3.0", "<enclosure url=\"https://x.example/a\" sparkle:os=\"macos\"/>") + release("12", "1.2")
            + release("20", "2.0", "<sparkle:channel>beta</sparkle:channel>") + "<item><title>No version</title></item>"
            + "<item><sparkle:version>99</sparkle:version><link>file:///etc/passwd</link>"
              "<enclosure url=\"ftp://x.example/a\"/></item>")).items;
        QCOMPARE(items.size(), 5);
        QCOMPARE(items[0].version + ' ' + items[0].displayVersion + ' ' + items[0].pageURL().toString(),
                 QStringLiteral("11 11 https://norvane.example/1.1.tar.gz"));
        for (const QByteArray &bad : {QByteArray(), QByteArray("<html><body>Not found</body></html>"),
                                      feed(release("12", "1.2")).chopped(20), QByteArray("<rss version=\"2.0\"></rss>")})
            QVERIFY2(!Appcast::parse(bad).items && !Appcast::parse(bad).error.isEmpty(), bad.constData());
        const char *cases[][3] = {{"1", "", "12"}, {"11", "", "12"}, {"12", "", ""},
                                  {"13", "", ""},  {"1", "12", ""}, {"1", "11", "12"}}; // installed, skipped, offered
        for (const auto &[installed, skipped, offered] : cases)
            QCOMPARE(Appcast::bestUpdate(items, installed, skipped).value_or(AppcastItem()).version, QString(offered));
    }

    void aCheckTheUserAskedForShowsItsResultAndDownloadOpensThePage()
    {
        serve(feed(release("10", "1.0")));
        QCOMPARE(check(true), Outcome::upToDate);
        QCOMPARE(shown(), QStringLiteral("You’re up to date!"));
        QCOMPARE(server->requests("/appcast.xml").value(0).headers.value("user-agent"), QByteArray("Stashwell/1.0"));
        serve(feed(release("11", "1.1")));
        QCOMPARE(check(true), Outcome::updateFound);
        QCOMPARE(dialog->message(), QStringLiteral("Stashwell 1.1 is now available—you have 1.0. Would you like to download it now?"));
        press(QStringLiteral("Download"));
        QCOMPARE(opened, QList<QUrl>{QUrl("https://norvane.example/stashwell-1.1.tar.gz")});
    }

    void failedChecksShowAnErrorOnlyWhenAskedFor()
    {
        const std::pair<int, QByteArray> failures[] = {{500, feed(release("11", "1.1"))},
                                                       {200, "<rss><channel><item><title>cut"},
                                                       {200, QByteArray(UpdaterController::maxFeedBytes + 1024, ' ')}};
        for (const auto &[status, body] : failures) {
            serve(body, status);
            QCOMPARE(check(false), Outcome::error);
            QCOMPARE(shown(), QString());
            QCOMPARE(check(true), Outcome::error);
            QCOMPARE(shown(), QStringLiteral("Update Error!"));
            dialog->hide();
        }
    }

    void scheduledChecksFollowTheFlagAndTheInterval()
    {
        QVERIFY(updater->automaticallyChecksForUpdates());
        updater->start();
        QVERIFY(updater->isScheduled());
        updater->setAutomaticallyChecksForUpdates(false);
        QVERIFY(!updater->isScheduled());
        make(); // persisted
        QVERIFY(!updater->automaticallyChecksForUpdates());
        QCOMPARE(updater->msUntilNextCheck(), UpdaterController::launchDelayMs); // never checked: soon
        serve(feed(release("10", "1.0")));
        QCOMPARE(check(false), Outcome::upToDate);
        QCOMPARE(updater->msUntilNextCheck(), qint64(86400) * 1000);
        clock.advance(23 * 3600);
        QCOMPARE(updater->msUntilNextCheck(), qint64(3600) * 1000);
        clock.advance(2 * 3600); // overdue: right after launch
        QCOMPARE(updater->msUntilNextCheck(), UpdaterController::launchDelayMs);
        clock.advance(-30 * 86400); // the clock went back: at most one interval
        QCOMPARE(updater->msUntilNextCheck(), qint64(86400) * 1000);
        defaults->set("SUScheduledCheckInterval", 60); // below the minimum of an hour
        QCOMPARE(updater->updateCheckInterval(), 3600);
    }

    void aDueCheckRunsAfterLaunchOnlyWithAFeed()
    {
        serve(feed(release("11", "1.1")));
        defaults->set("SULastCheckTime", clock.now().addSecs(-86400 + 1).toString(Qt::ISODateWithMs));
        updater->start();
        QTRY_VERIFY_WITH_TIMEOUT(dialog->isVisible(), UpdaterController::launchDelayMs + 5000);
        QVERIFY(dialog->message().startsWith(QStringLiteral("Stashwell 1.1")));
        QVERIFY(updater->isScheduled()); // and the next one is planned
        make(false);
        updater->start();
        QVERIFY(!updater->isScheduled());
        QCOMPARE(check(true), Outcome::error);
        QCOMPARE(server->count(), 1);
    }
};

QTEST_MAIN(UpdaterTest)
#include "UpdaterTest.moc"

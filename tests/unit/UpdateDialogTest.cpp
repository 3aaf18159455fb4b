// Part 2.6: the update dialog's states, its buttons and its languages.
#include "app/UpdateDialog.h"
#include "app/UpdaterStrings.h"
#include "l10n/FrameworkLanguage.h"
#include "l10n/L10n.h"
#include "platform/DefaultsStore.h"

#include <QPushButton>
#include <QtTest>

class UpdateDialogTest : public QObject {
    Q_OBJECT
    DefaultsStore defaults{QString()};
    FrameworkLanguage framework{{}, [] { return QStringList{QStringLiteral("en-US")}; }};
    L10n l10n{defaults, framework, [] { return QStringList{QStringLiteral("en-US")}; }};

    static QStringList labels(const UpdateDialog &dialog)
    {
        QStringList texts;
        for (QPushButton *button : dialog.visibleButtons())
            texts << button->text();
        return texts;
    }
    static QPushButton *button(const UpdateDialog &dialog, const QString &text)
    {
        for (QPushButton *b : dialog.visibleButtons())
            if (b->text() == text)
                return b;
        return nullptr;
    }
    static AppcastItem item()
    {
        AppcastItem item;
        item.version = QStringLiteral("11");
        item.displayVersion = QStringLiteral("1.1");
        item.downloadURL = QUrl(QStringLiteral("https://norvane.example/stashwell-1.1.tar.gz"));
        item.releaseNotesURL = QUrl(QStringLiteral("https://norvane.example/notes"));
        item.descriptionHTML = QStringLiteral("<h2>New</h2><ul><li>Faster search</li></ul><img src=\"file:///etc/x.png\">");
        return item;
    }

private slots:
    void init() { l10n.setLanguage(AppLanguage::en); }

    void checkingCanBeCancelled()
    {
        UpdateDialog dialog(l10n);
        int cancelled = 0;
        dialog.showChecking([&] { ++cancelled; });
        QVERIFY(dialog.isVisible());
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Software Update"));
        QCOMPARE(dialog.heading(), QStringLiteral("Checking for updates…"));
        QCOMPARE(labels(dialog), QStringList{"Cancel"});
        button(dialog, "Cancel")->click();
        QCOMPARE(cancelled, 1);
        QVERIFY(!dialog.isVisible());
    }

    void closingWhileCheckingCancels()
    {
        UpdateDialog dialog(l10n);
        int cancelled = 0;
        dialog.showChecking([&] { ++cancelled; });
        QTest::keyClick(&dialog, Qt::Key_Escape);
        QCOMPARE(cancelled, 1);
        QVERIFY(!dialog.isVisible());
    }

    void upToDate()
    {
        UpdateDialog dialog(l10n);
        dialog.showUpToDate(QStringLiteral("1.0"));
        QCOMPARE(dialog.heading(), QStringLiteral("You’re up to date!"));
        QCOMPARE(dialog.message(), QStringLiteral("Stashwell 1.0 is currently the newest version available."));
        QCOMPARE(labels(dialog), QStringList{"OK"});
        button(dialog, "OK")->click();
        QVERIFY(!dialog.isVisible());
    }

    void anUpdateWithNotesAndItsThreeAnswers()
    {
        UpdateDialog dialog(l10n);
        QList<QUrl> opened;
        dialog.openURL = [&](const QUrl &url) { opened << url; };
        QList<UpdateUserDriver::Choice> choices;
        dialog.showUpdateFound(item(), QStringLiteral("1.0"), [&](UpdateUserDriver::Choice c) { choices << c; });
        QCOMPARE(dialog.heading(), QStringLiteral("A new version of Stashwell is available!"));
        QCOMPARE(dialog.message(),
                 QStringLiteral("Stashwell 1.1 is now available—you have 1.0. Would you like to download it now?"));
        QVERIFY(dialog.notes().contains(QStringLiteral("Faster search")));
        QVERIFY(!dialog.notes().contains(QLatin1Char('<'))); // shown as text, never rendered
        QCOMPARE(labels(dialog), (QStringList{"Release Notes", "Skip This Version", "Remind Me Later", "Download"}));
        QVERIFY(button(dialog, "Download")->isDefault());
        button(dialog, "Release Notes")->click();
        QCOMPARE(opened, QList{QUrl("https://norvane.example/notes")});
        QVERIFY(choices.isEmpty());
        button(dialog, "Download")->click();
        QCOMPARE(choices, QList{UpdateUserDriver::Choice::download});
        QVERIFY(!dialog.isVisible());

        dialog.showUpdateFound(item(), QStringLiteral("1.0"), [&](UpdateUserDriver::Choice c) { choices << c; });
        button(dialog, "Skip This Version")->click();
        dialog.showUpdateFound(item(), QStringLiteral("1.0"), [&](UpdateUserDriver::Choice c) { choices << c; });
        dialog.close(); // closing the window is "later"
        QCOMPARE(choices, (QList{UpdateUserDriver::Choice::download, UpdateUserDriver::Choice::skip,
                                 UpdateUserDriver::Choice::later}));
    }

    void noReleaseNotesLinkNoButton()
    {
        UpdateDialog dialog(l10n);
        AppcastItem bare = item();
        bare.releaseNotesURL = QUrl();
        bare.descriptionHTML.clear();
        dialog.showUpdateFound(bare, QStringLiteral("1.0"), [](UpdateUserDriver::Choice) {});
        QCOMPARE(labels(dialog), (QStringList{"Skip This Version", "Remind Me Later", "Download"}));
        QVERIFY(dialog.notes().isEmpty());
    }

    void error()
    {
        UpdateDialog dialog(l10n);
        dialog.showChecking([] {});
        dialog.showError();
        QCOMPARE(dialog.heading(), QStringLiteral("Update Error!"));
        QCOMPARE(dialog.message(),
                 QStringLiteral("An error occurred in retrieving update information. Please try again later."));
        QCOMPARE(labels(dialog), QStringList{"OK"});
    }

    void followsTheInterfaceLanguage()
    {
        l10n.setLanguage(AppLanguage::de);
        UpdateDialog dialog(l10n);
        dialog.showUpToDate(QStringLiteral("1.0"));
        QCOMPARE(dialog.heading(), UpdaterStrings::text(UpdaterStrings::Key::upToDate, AppLanguage::de));
        QCOMPARE(labels(dialog), QStringList{l10n.string("common.ok")});
    }

    void everyLanguageHasEveryTextWithItsPlaceholders()
    {
        for (AppLanguage language : AppLanguages::allCases()) {
            for (int key = 0; key < UpdaterStrings::keyCount; ++key) {
                const QString text = UpdaterStrings::text(UpdaterStrings::Key(key), language);
                const QString english = UpdaterStrings::text(UpdaterStrings::Key(key), AppLanguage::en);
                QVERIFY(!text.trimmed().isEmpty());
                for (const char *placeholder : {"%1", "%2"})
                    QCOMPARE(text.contains(QLatin1String(placeholder)), english.contains(QLatin1String(placeholder)));
            }
        }
    }
};

QTEST_MAIN(UpdateDialogTest)
#include "UpdateDialogTest.moc"

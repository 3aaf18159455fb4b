// Part 2.4 edge cases: the tray menu's contents and order, the recent entries, pause, the
// clear-history question, the update item, and the clicks.
#include "app/MenuBarIcon.h"
#include "app/StatusItemController.h"
#include "fakes/PaletteFixture.h"

#include <QMessageBox>
#include <QPushButton>
#include <QtTest>

namespace {

int maxAlpha(const QPixmap &pixmap)
{
    const QImage image = pixmap.toImage().convertToFormat(QImage::Format_ARGB32);
    int alpha = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            alpha = qMax(alpha, qAlpha(image.pixel(x, y)));
    return alpha;
}

} // namespace

class StatusItemControllerTest : public QObject {
    Q_OBJECT
    std::unique_ptr<PaletteFixture> f;
    std::unique_ptr<StatusItemController> status;
    ClearHistoryDialog::Answer answer = ClearHistoryDialog::Answer::cancel;
    QStringList askedTexts;
    QStringList called;

    // The menu as a list: "---" for a separator, the catalogue key for a command, the text
    // of a recent entry otherwise.
    QStringList layout(QMenu *menu) const
    {
        QStringList rows;
        for (QAction *action : menu->actions())
            rows << (action->isSeparator() ? QStringLiteral("---")
                     : action->objectName().isEmpty() ? QStringLiteral("recent:") + action->text()
                                                      : action->objectName());
        return rows;
    }
    QAction *item(QMenu *menu, const QString &key) const
    {
        for (QAction *action : menu->actions())
            if (action->objectName() == key)
                return action;
        return nullptr;
    }
    QList<QAction *> recent(QMenu *menu) const
    {
        QList<QAction *> found;
        for (QAction *action : menu->actions())
            if (!action->isSeparator() && action->objectName().isEmpty())
                found << action;
        return found;
    }
    void choose(QAction *action)
    {
        QVERIFY(action);
        action->trigger();
        QCoreApplication::processEvents(); // actions run queued, after the menu closed
    }
    QString clipboardText() const { return f->clipboard.contents() ? f->clipboard.contents()->text() : QString(); }

private slots:
    void init()
    {
        f = std::make_unique<PaletteFixture>();
        answer = ClearHistoryDialog::Answer::cancel;
        askedTexts.clear();
        called.clear();
        status = std::make_unique<StatusItemController>(*f->store, f->settings, f->l10n, f->controller,
                                                        [this](QMessageBox &box) {
                                                            askedTexts << box.text() << box.informativeText();
                                                            for (QAbstractButton *b : box.buttons())
                                                                askedTexts << b->text();
                                                            return answer;
                                                        });
        status->onShowSettings = [this] { called << "settings"; };
        status->onShowOnboarding = [this] { called << "guide"; };
        status->onShowAbout = [this] { called << "about"; };
        status->onQuit = [this] { called << "quit"; };
    }
    void cleanup()
    {
        f->controller.close();
        status.reset();
        f.reset();
    }

    void emptyHistoryHasNoRecentSectionAndOneSeparator()
    {
        std::unique_ptr<QMenu> menu(status->buildMenu());
        QCOMPARE(layout(menu.get()), (QStringList{"menu.open", "---", "menu.pause", "menu.clearAll", "---",
                                                  "menu.settings", "menu.guide", "menu.about", "---", "menu.quit"}));
    }

    void textsAndKeyEquivalentsComeFromTheCatalogue()
    {
        std::unique_ptr<QMenu> menu(status->buildMenu());
        QCOMPARE(item(menu.get(), "menu.open")->text(), QStringLiteral("Open Stashwell\tSuper+Shift+V"));
        QCOMPARE(item(menu.get(), "menu.pause")->text(), QStringLiteral("Pause Clipboard Monitoring"));
        QCOMPARE(item(menu.get(), "menu.clearAll")->text(), QStringLiteral("Clear History…"));
        QCOMPARE(item(menu.get(), "menu.settings")->text(), QStringLiteral("Settings…\tCtrl+,"));
        QCOMPARE(item(menu.get(), "menu.guide")->text(), QStringLiteral("Getting Started Guide"));
        QCOMPARE(item(menu.get(), "menu.about")->text(), QStringLiteral("About Stashwell"));
        QCOMPARE(item(menu.get(), "menu.quit")->text(), QStringLiteral("Quit Stashwell\tCtrl+Q"));
        f->l10n.setLanguage(AppLanguage::de);
        std::unique_ptr<QMenu> german(status->buildMenu());
        QCOMPARE(item(german.get(), "menu.quit")->text(),
                 f->l10n.string("menu.quit") + QStringLiteral("\tCtrl+Q"));
        QVERIFY(item(german.get(), "menu.quit")->text() != item(menu.get(), "menu.quit")->text());
    }

    void eightEntriesShowTheFirstFiveInStoredOrder()
    {
        for (int i = 1; i <= 8; ++i)
            f->add(QStringLiteral("entry %1").arg(i));
        f->store->togglePin(f->store->items()[7].id); // the oldest is pinned: not lifted here
        std::unique_ptr<QMenu> menu(status->buildMenu());
        QCOMPARE(layout(menu.get()),
                 (QStringList{"menu.open", "---", "recent:entry 8", "recent:entry 7", "recent:entry 6",
                              "recent:entry 5", "recent:entry 4", "---", "menu.pause", "menu.clearAll", "---",
                              "menu.settings", "menu.guide", "menu.about", "---", "menu.quit"}));
        QCOMPARE(recent(menu.get())[0]->data().toString(), f->store->items()[0].id.toString(QUuid::WithoutBraces));
    }

    void longTitlesAreCutAtFortyCharactersWithoutEllipsis()
    {
        const QString long50 = QStringLiteral("0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMN");
        f->add(long50);
        f->add(QStringLiteral("fish & chips\nand more"));
        f->add(QStringLiteral("👍🏽👍🏽👍🏽") + QString(40, QLatin1Char('x')));
        std::unique_ptr<QMenu> menu(status->buildMenu());
        const QList<QAction *> rows = recent(menu.get());
        QCOMPARE(rows[2]->text(), long50.left(40));
        QCOMPARE(rows[1]->text(), QStringLiteral("fish && chips and more")); // one line, "&" is no mnemonic
        QCOMPARE(rows[0]->text(), QStringLiteral("👍🏽👍🏽👍🏽") + QString(37, QLatin1Char('x'))); // characters, not code units
    }

    void imageEntriesShowTheirThumbnail()
    {
        f->store->ingest(StoreFixture::image(400, 200, Qt::red));
        f->add(QStringLiteral("text"));
        std::unique_ptr<QMenu> menu(status->buildMenu());
        const QList<QAction *> rows = recent(menu.get());
        QVERIFY(rows[0]->icon().isNull());
        QVERIFY(!rows[1]->icon().isNull());
        const QImage shown = rows[1]->icon().pixmap(16, 16).toImage();
        QCOMPARE(shown.size(), QSize(16, 16));
        QCOMPARE(QColor(shown.pixel(8, 8)), QColor(Qt::red));
        QCOMPARE(qAlpha(shown.pixel(8, 0)), 0); // kept its proportions
    }

    void choosingARecentEntryPastesIt()
    {
        f->add(QStringLiteral("older"));
        f->add(QStringLiteral("newer"));
        std::unique_ptr<QMenu> menu(status->buildMenu());
        choose(recent(menu.get())[1]);
        QTRY_COMPARE(clipboardText(), QStringLiteral("older"));
        QTRY_COMPARE(f->keys.posts.size(), 1);
    }

    void anEntryGoneMeanwhileDoesNothing()
    {
        f->add(QStringLiteral("doomed"));
        std::unique_ptr<QMenu> menu(status->buildMenu());
        f->store->remove(f->store->items()[0].id);
        choose(recent(menu.get())[0]);
        QTest::qWait(300);
        QCOMPARE(f->clipboard.writes, 0);
        QVERIFY(f->keys.posts.isEmpty());
    }

    void togglingPauseSwitchesTitleCheckMarkAndIcon()
    {
        QCOMPARE(status->iconState(), MenuBarIcon::State::active);
        std::unique_ptr<QMenu> menu(status->buildMenu());
        QAction *pause = item(menu.get(), "menu.pause");
        QVERIFY(!pause->isChecked());
        choose(pause);
        QVERIFY(f->settings.monitoringPaused());
        QCOMPARE(status->iconState(), MenuBarIcon::State::paused);

        menu.reset(status->buildMenu());
        QVERIFY(!item(menu.get(), "menu.pause"));
        QAction *resume = item(menu.get(), "menu.resume");
        QCOMPARE(resume->text(), QStringLiteral("Resume Clipboard Monitoring"));
        QVERIFY(resume->isCheckable());
        QVERIFY(resume->isChecked());
        choose(resume);
        QVERIFY(!f->settings.monitoringPaused());
        QCOMPARE(status->iconState(), MenuBarIcon::State::active);
        QCOMPARE(status->statusItem()->toolTip(), QStringLiteral("Stashwell"));
    }

    void pausingElsewhereRedrawsTheIcon()
    {
        f->settings.setMonitoringPaused(true);
        QTRY_COMPARE(status->iconState(), MenuBarIcon::State::paused);
    }

    void pausedIconIsDimmed()
    {
        const int active = maxAlpha(MenuBarIcon::image(MenuBarIcon::State::active));
        const int paused = maxAlpha(MenuBarIcon::image(MenuBarIcon::State::paused));
        QCOMPARE(active, 255);
        QVERIFY2(qAbs(paused - qRound(255 * MenuBarIcon::pausedAlpha)) <= 2, qPrintable(QString::number(paused)));
        QCOMPARE(MenuBarIcon::image(MenuBarIcon::State::active, 16, 2.0).size(), QSize(32, 32));
        QVERIFY(!MenuBarIcon::icon(MenuBarIcon::State::paused).availableSizes().isEmpty());
    }

    void noUpdateItemWithoutAFeed()
    {
        std::unique_ptr<QMenu> menu(status->buildMenu());
        QVERIFY(!item(menu.get(), "menu.check_updates"));
        status->onCheckForUpdates = [this] { called << "updates"; };
        menu.reset(status->buildMenu());
        QCOMPARE(layout(menu.get()).mid(5, 4),
                 (QStringList{"menu.settings", "menu.guide", "menu.check_updates", "menu.about"}));
        QCOMPARE(item(menu.get(), "menu.check_updates")->text(), QStringLiteral("Check for Updates…"));
        choose(item(menu.get(), "menu.check_updates"));
        QCOMPARE(called, QStringList{"updates"});
    }

    void commandsCallTheirSeams()
    {
        std::unique_ptr<QMenu> menu(status->buildMenu());
        for (const char *key : {"menu.settings", "menu.guide", "menu.about", "menu.quit"})
            choose(item(menu.get(), key));
        QCOMPARE(called, (QStringList{"settings", "guide", "about", "quit"}));
        status->onShowOnboarding = nullptr; // not set: nothing happens
        choose(item(menu.get(), "menu.guide"));
        choose(item(menu.get(), "menu.open"));
        QVERIFY(f->controller.isVisible());
    }

    void clearKeepPinsLeavesExactlyThePinnedEntries()
    {
        f->add(QStringLiteral("a"));
        f->add(QStringLiteral("pinned"), true);
        f->add(QStringLiteral("b"));
        answer = ClearHistoryDialog::Answer::keepPins;
        std::unique_ptr<QMenu> menu(status->buildMenu());
        choose(item(menu.get(), "menu.clearAll"));
        QCOMPARE(askedTexts, (QStringList{"Clear clipboard history?", "This cannot be undone. You can keep your pinned items.",
                                          "Clear (Keep Pins)", "Clear Everything", "Cancel"}));
        QCOMPARE(f->store->items().size(), 1);
        QCOMPARE(f->store->items()[0].text, std::optional(QStringLiteral("pinned")));
    }

    void clearEverythingLeavesNone()
    {
        f->add(QStringLiteral("a"));
        f->add(QStringLiteral("pinned"), true);
        answer = ClearHistoryDialog::Answer::everything;
        std::unique_ptr<QMenu> menu(status->buildMenu());
        choose(item(menu.get(), "menu.clearAll"));
        QVERIFY(f->store->items().isEmpty());
    }

    void cancelChangesNothing()
    {
        f->add(QStringLiteral("a"));
        f->add(QStringLiteral("pinned"), true);
        const QList<ClipItem> before = f->store->items();
        std::unique_ptr<QMenu> menu(status->buildMenu());
        choose(item(menu.get(), "menu.clearAll"));
        QCOMPARE(askedTexts.size(), 5);
        QCOMPARE(f->store->items(), before);
    }

    void theRealAlertHasItsThreeButtonsInOrder()
    {
        QMessageBox box;
        ClearHistoryDialog::configure(box, f->l10n);
        QCOMPARE(box.icon(), QMessageBox::Warning);
        const QList<QAbstractButton *> buttons = box.buttons();
        QCOMPARE(buttons.size(), 3);
        QCOMPARE(buttons[0]->text(), QStringLiteral("Clear (Keep Pins)"));
        QCOMPARE(buttons[1]->text(), QStringLiteral("Clear Everything"));
        QCOMPARE(buttons[2]->text(), QStringLiteral("Cancel"));
        QCOMPARE(box.defaultButton(), buttons[0]);
        QCOMPARE(box.escapeButton(), buttons[2]);
        QTimer::singleShot(50, &box, [&] { box.buttons()[1]->click(); });
        QCOMPARE(ClearHistoryDialog::execute(box), ClearHistoryDialog::Answer::everything);
        QMessageBox escaped;
        ClearHistoryDialog::configure(escaped, f->l10n);
        QTimer::singleShot(50, &escaped, [&] { QTest::keyClick(&escaped, Qt::Key_Escape); });
        QCOMPARE(ClearHistoryDialog::execute(escaped), ClearHistoryDialog::Answer::cancel);
    }

    void rightClickOpensTheMenuAndTheNextLeftClickTogglesThePalette()
    {
        status->clicked(QSystemTrayIcon::Context, Qt::NoModifier);
        QVERIFY(status->menu());
        QTRY_VERIFY(status->menu()->isVisible());
        QVERIFY(!f->controller.isVisible());
        status->menu()->hide(); // the menu closes: it is detached again
        QVERIFY(!status->menu());
        status->clicked(QSystemTrayIcon::Trigger, Qt::NoModifier);
        QVERIFY(f->controller.isVisible());
        status->clicked(QSystemTrayIcon::Trigger, Qt::NoModifier);
        QVERIFY(!f->controller.isVisible());
    }

    void controlClickOpensTheMenu()
    {
        status->clicked(QSystemTrayIcon::Trigger, Qt::MetaModifier); // Control = Super on Linux
        QVERIFY(status->menu());
        QVERIFY(!f->controller.isVisible());
        status->menu()->hide();
        status->clicked(QSystemTrayIcon::MiddleClick, Qt::NoModifier);
        QVERIFY(!status->menu());
        QVERIFY(!f->controller.isVisible());
    }
};

QTEST_MAIN(StatusItemControllerTest)
#include "StatusItemControllerTest.moc"

// SPDX-License-Identifier: GPL-3.0-or-later
// The palette: its model (query, filters, counts, selection), its view, and the controller's
// opening, keys, copy and paste choices and usage events.
#include "fakes/PaletteFixture.h"
#include "palette/PaletteList.h"
#include "palette/PalettePanel.h"
#include "palette/PaletteView.h"
#include "palette/PreviewPane.h"
#include "paste/ToastWindow.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QListView>
#include <QtTest>

using Filter = PaletteModel::Filter;

class PaletteTest : public QObject {
    Q_OBJECT
    std::unique_ptr<PaletteFixture> f;
    PaletteController &c() { return f->controller; }
    PaletteModel &model() { return f->controller.model(); }

    bool press(const QString &keys)
    {
        const QKeyCombination combination = QKeySequence::fromString(keys)[0];
        return c().handle(QKeyEvent(QEvent::KeyPress, combination.key(), combination.keyboardModifiers()));
    }
    QList<QVariantMap> events(const QString &name) const
    {
        QList<QVariantMap> found;
        for (const auto &[n, p] : f->events)
            if (n == name)
                found << p;
        return found;
    }
    QString toastText() const
    {
        const auto *window = qobject_cast<const ToastWindow *>(f->toast.currentWindow());
        return window ? window->text() : QString();
    }
    // Open or closed, query, filter position, selection, entries, top entry pinned, what was written.
    QString state()
    {
        QString s = QStringLiteral("%1 q'%2' f%3 s%4 n%5")
                        .arg(QLatin1String(c().isVisible() ? "open" : "closed"), model().query())
                        .arg(Filter::cycle().indexOf(model().filter()))
                        .arg(model().selectionIndex().value_or(-1))
                        .arg(f->store->items().size());
        if (f->store->items().first().pinned)
            s += QStringLiteral(" pinned");
        return f->clipboard.writes ? s + " clip=" + f->clipboard.contents()->text() : s;
    }

    QStringList visibleTexts()
    {
        QStringList list;
        for (const ClipItem &i : model().visible())
            list << *i.text;
        return list;
    }

private slots:
    void init()
    {
        f = std::make_unique<PaletteFixture>();
        f->add("alpha");
        f->add("bravo");
        f->add("charlie");
        QTRY_COMPARE(model().visible().size(), 3); // the model hears of changes after the store's notification
    }

    void filtersAndQueriesNarrowTheListPinnedFirstAndCountsIgnoreThem()
    {
        f->store->togglePin(f->store->items().last().id); // alpha, the oldest
        ClipCapture link = StoreFixture::text("https://example.com", "web");
        link.kind = ClipKind::link;
        f->store->ingest(link);
        QTRY_COMPARE(visibleTexts(), QStringList({"alpha", "https://example.com", "charlie", "bravo"}));
        model().setQuery("   \t ");
        QCOMPARE(visibleTexts().size(), 4); // blanks match everything but count as a search
        model().setQuery(QString());
        QVERIFY(model().searchUsedThisSession); // an empty text never clears it
        model().setFilter(Filter::ofKind(ClipKind::link));
        QCOMPARE(visibleTexts(), QStringList({"https://example.com"}));
        QCOMPARE(model().selectionIndex(), 0);
        model().setFilter(Filter::pinned());
        model().setQuery("b");
        QCOMPARE(model().count(Filter::pinned()), 1);
        QCOMPARE(model().count(Filter::all()), 4);
        QCOMPARE(model().count(Filter::ofKind(ClipKind::text)), 3);
    }

    void selectionIsClampedAndFollowsTheHistory()
    {
        model().moveSelection(-1);
        QCOMPARE(model().selectionIndex(), 0);
        model().moveSelection(100);
        QCOMPARE(model().selectionIndex(), 2);
        model().setSelectedID(std::nullopt);
        model().moveSelection(-1);
        QCOMPARE(model().selectionIndex(), 0); // nothing selected: either way selects the first
        model().moveSelection(1);
        const QUuid bravo = *model().selectedID();
        f->add("delta");
        QTRY_COMPARE(model().visible().size(), 4);
        QCOMPARE(model().selectionIndex(), 2); // the same entry, one row further down
        f->store->remove(bravo);
        QTRY_COMPARE(model().visible().size(), 3);
        QCOMPARE(model().selectionIndex(), 0);
        model().setQuery("nothing matches this");
        model().moveSelection(1);
        QVERIFY(!model().selectedID());
    }

    void theViewFollowsTheSelectionTheQueryTheSettingsAndTheHistory()
    {
        c().show("hotkey");
        PaletteView *v = c().view();
        QCOMPARE(v->body(), PaletteView::Body::list);
        QCOMPARE(v->preview()->shownText(), QStringLiteral("charlie"));
        emit v->list()->clicked(v->list()->model()->index(1, 0));
        QCOMPARE(model().selectionIndex(), 1);
        QCOMPARE(v->preview()->shownText(), QStringLiteral("bravo"));
        QCOMPARE(v->hints().mid(0, 3), QStringList({"↩  Paste", "Alt+↩  Plain", "Ctrl+↩  Copy"}));
        f->settings.setCopyInsteadOfPaste(true); // the hints follow what Return and Ctrl+Return do
        QCOMPARE(v->hints().mid(0, 3), QStringList({"↩  Copy", "Alt+↩  Plain", "Ctrl+↩  Paste"}));
        v->searchField()->setText(QStringLiteral("nothing like it"));
        emit v->searchField()->textEdited(v->searchField()->text());
        QCOMPARE(model().query(), QStringLiteral("nothing like it"));
        QCOMPARE(v->body(), PaletteView::Body::noResults);
        f->store->clear(false);
        QTRY_COMPARE(v->body(), PaletteView::Body::empty);
    }

    void rowHintsTimesAndPreviewLengthHaveTheirLimits()
    {
        QCOMPARE(PaletteRowDelegate::quickPickHint(8), QStringLiteral("Ctrl+9"));
        QCOMPARE(PaletteRowDelegate::quickPickHint(9), QString());
        const QDateTime now = f->clock.now();
        QCOMPARE(PaletteRowDelegate::timeText(now.addSecs(-9), now, f->l10n), QStringLiteral("just now"));
        QCOMPARE(PaletteRowDelegate::timeText(now.addSecs(-10), now, f->l10n), QStringLiteral("10 sec. ago"));
        ClipItem item;
        item.text = QString(10000, QLatin1Char('a'));
        QCOMPARE(PreviewPane::previewText(item), *item.text);
        item.text = QString(10001, QLatin1Char('a'));
        QCOMPARE(PreviewPane::previewText(item), QString(10000, QLatin1Char('a')) + QStringLiteral(" …"));
    }

    void openingResetsTheStateAndFocusesTheSearch()
    {
        c().show("hotkey");
        model().setQuery("bra");
        model().setFilter(Filter::pinned());
        c().close();
        c().toggle("hotkey");
        QCOMPARE(state(), QStringLiteral("open q'' f0 s0 n3"));
        QVERIFY(!model().searchUsedThisSession);
        QTRY_VERIFY(c().view()->searchField()->hasFocus());
        c().toggle("hotkey");
        QVERIFY(!c().isVisible());
        c().show("hotkey");
        c().panel()->hide(); // what a click outside a Qt::Popup does
        QTRY_VERIFY(!c().isVisible());
    }

    void keys_data()
    {
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("query");
        QTest::addColumn<int>("down"); // rows moved before
        QTest::addColumn<bool>("consumed");
        QTest::addColumn<QString>("after");
        QTest::newRow("Ctrl+2") << "Ctrl+2" << "" << 0 << true << "closed q'' f0 s0 n3 clip=bravo";
        QTest::newRow("beyond the list") << "Ctrl+4" << "" << 0 << true << "open q'' f0 s0 n3";
        QTest::newRow("digit") << "3" << "" << 0 << false << "open q'' f0 s0 n3";
        QTest::newRow("keypad") << "Ctrl+Num+3" << "" << 0 << false << "open q'' f0 s0 n3";
        QTest::newRow("Return") << "Return" << "" << 1 << true << "closed q'' f0 s1 n3 clip=bravo";
        QTest::newRow("Enter, no match") << "Enter" << "zzz" << 0 << true << "open q'zzz' f0 s-1 n3";
        QTest::newRow("Escape clears") << "Esc" << "zzz" << 0 << true << "open q'' f0 s0 n3";
        QTest::newRow("Escape closes") << "Esc" << "" << 0 << true << "closed q'' f0 s0 n3";
        QTest::newRow("Right") << "Right" << "" << 0 << true << "open q'' f1 s0 n3";
        QTest::newRow("Left") << "Left" << "" << 0 << true << "open q'' f6 s-1 n3";
        QTest::newRow("Right in a query") << "Right" << "a" << 0 << false << "open q'a' f0 s0 n3";
        QTest::newRow("Tab") << "Tab" << "" << 0 << true << "open q'' f1 s0 n3";
        QTest::newRow("Shift+Tab") << "Shift+Tab" << "" << 0 << true << "open q'' f6 s-1 n3";
        QTest::newRow("Down") << "Down" << "" << 1 << true << "open q'' f0 s2 n3";
        QTest::newRow("Up") << "Up" << "" << 1 << true << "open q'' f0 s0 n3";
        QTest::newRow("Meta+N") << "Meta+N" << "" << 0 << true << "open q'' f0 s1 n3";
        QTest::newRow("Meta+P") << "Meta+P" << "" << 1 << true << "open q'' f0 s0 n3";
        QTest::newRow("Ctrl+N") << "Ctrl+N" << "" << 0 << false << "open q'' f0 s0 n3";
        QTest::newRow("Ctrl+P pins") << "Ctrl+P" << "" << 0 << true << "open q'' f0 s0 n3 pinned";
        QTest::newRow("Ctrl+Shift+P") << "Ctrl+Shift+P" << "" << 0 << false << "open q'' f0 s0 n3";
        QTest::newRow("P") << "P" << "" << 0 << false << "open q'' f0 s0 n3";
        QTest::newRow("Ctrl+Backspace deletes") << "Ctrl+Backspace" << "" << 1 << true << "open q'' f0 s0 n2";
        QTest::newRow("Backspace") << "Backspace" << "" << 0 << false << "open q'' f0 s0 n3";
    }
    void keys()
    {
        QFETCH(QString, keys);
        QFETCH(QString, query);
        QFETCH(int, down);
        c().show("hotkey");
        model().setQuery(query);
        model().moveSelection(down);
        QTEST(press(keys), "consumed");
        QTEST(state(), "after");
    }

    void modifiersFlipTheCopyAndPlainTextSettings_data()
    {
        QTest::addColumn<bool>("copyInstead");
        QTest::addColumn<bool>("alwaysPlain");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("result");
        QTest::newRow("Return") << false << false << "Return" << "pasted formatted";
        QTest::newRow("Ctrl+Return copies") << false << false << "Ctrl+Return" << "Copied formatted";
        QTest::newRow("Alt+Return is plain") << false << false << "Alt+Return" << "pasted plain";
        QTest::newRow("copy setting") << true << false << "Return" << "Copied formatted";
        QTest::newRow("copy setting, Ctrl") << true << false << "Ctrl+Return" << "pasted formatted";
        QTest::newRow("plain setting") << false << true << "Return" << "pasted plain";
        QTest::newRow("plain setting, Alt") << false << true << "Alt+Return" << "pasted formatted";
        QTest::newRow("both, Ctrl+Alt") << true << true << "Ctrl+Alt+Return" << "Copied plain";
    }
    void modifiersFlipTheCopyAndPlainTextSettings()
    {
        QFETCH(bool, copyInstead);
        QFETCH(bool, alwaysPlain);
        QFETCH(QString, keys);
        ClipCapture rich = StoreFixture::text("rich text", "rich");
        rich.htmlData = QByteArray("<b>rich</b> text");
        f->store->ingest(rich);
        f->settings.setCopyInsteadOfPaste(copyInstead);
        f->settings.setAlwaysPlainText(alwaysPlain);
        c().show("hotkey");
        QVERIFY(press(keys));
        QCOMPARE(f->clipboard.contents()->text(), QStringLiteral("rich text"));
        if (toastText().isEmpty()) // a paste: the keys follow
            QTRY_COMPARE(f->keys.posts.size(), 1);
        QTEST(QStringLiteral("%1 %2").arg(toastText().isEmpty() ? "pasted" : toastText(),
                                          f->clipboard.contents()->hasHtml() ? "formatted" : "plain"),
              "result");
    }

    void pasteResultIsReportedAndAManualPasteIsExplained()
    {
        f->window.app = FrontApp{QStringLiteral("org.kde.kate"), QStringLiteral("Kate")};
        c().show("hotkey");
        model().setQuery("a"); // all three match
        QVERIFY(press("Ctrl+2"));
        QTRY_COMPARE(events("paste.result").size(), 1);
        QCOMPARE(events("paste.result")[0], (QVariantMap{{"ok", true}, {"method", "synthCmdV"}, {"itemType", "text"},
                                                         {"targetApp", "org.kde.kate"}, {"sizeBucket", "xs"},
                                                         {"ageBucket", "justNow"}, {"index", 1}, {"viaSearch", true}}));
        f->keys.trusted = false;
        c().show("hotkey");
        press("Return");
        QTRY_COMPARE(events("paste.result").size(), 2);
        QVERIFY(!events("paste.result")[1]["ok"].toBool() && !events("paste.result")[1]["viaSearch"].toBool());
        QCOMPARE(toastText(), QStringLiteral("Copied — press Ctrl+V to paste"));
    }

    void openingSampleIsReportedOnceAtCloseOnlyWhenDrawn()
    {
        f->draw = 3;
        c().show("icon");
        c().close();
        f->draw = 0;
        c().show("menu");
        model().setQuery("x");
        c().close();
        c().close();
        QCOMPARE(events("palette.open").size(), 1);
        QVariantMap e = events("palette.open")[0];
        QVERIFY(e.take("ms").toLongLong() >= 0);
        QCOMPARE(e, (QVariantMap{{"trigger", "menu"}, {"items", 3}, {"searchUsed", true}, {"sample", 10}}));
    }
};

QTEST_MAIN(PaletteTest)
#include "PaletteTest.moc"

// SPDX-License-Identifier: GPL-3.0-or-later
// The palette: its model (query, filters, counts, selection), its view, and the controller's
// opening, keys, copy and paste choices and usage events.
#include "fakes/PaletteFixture.h"
#include "palette/HistorySearch.h"
#include "palette/PaletteList.h"
#include "palette/PalettePanel.h"
#include "palette/PaletteView.h"
#include "palette/PreviewPane.h"
#include "paste/ToastWindow.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QListView>
#include <QPainter>
#include <QScrollBar>
#include <QtTest>

using Filter = PaletteModel::Filter;

// The WCAG contrast ratio of two colours, 1 to 21.
static qreal contrast(const QColor &a, const QColor &b)
{
    const auto luminance = [](const QColor &c) {
        const auto linear = [](qreal v) { return v <= 0.03928 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
        return 0.2126 * linear(c.redF()) + 0.7152 * linear(c.greenF()) + 0.0722 * linear(c.blueF());
    };
    const qreal la = luminance(a), lb = luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

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

    static QStringList texts(const PaletteModel &m)
    {
        QStringList list;
        for (qsizetype i = 0; i < m.visible().size(); ++i)
            list << *m.visible()[i].text;
        return list;
    }
    QStringList visibleTexts() { return texts(model()); }

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
        f->store->ingest(StoreFixture::text("https://example.com", "web", ClipKind::link));
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
        f->store->togglePin(f->store->items().first().id);
        QCOMPARE(model().count(Filter::pinned()), 2);
    }

    void searchFindsEntriesHoldingEveryWord_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<QStringList>("found");
        QTest::newRow("every word, any case and blank") << "Foo\tbar" << QStringList{"BAR and foo"};
        QTest::newRow("pinned first") << "  foo " << QStringList{"Pinned foo", "BAR and foo"};
        QTest::newRow("accents count") << "cafe" << QStringList{};
        QTest::newRow("any case beyond ASCII") << "CAFÉ ÉCLAIR" << QStringList{"Café éclair"};
        QTest::newRow("the application's name") << "KATE" << QStringList{"from an editor"};
        QTest::newRow("not across the text's end") << "editorkate" << QStringList{};
    }
    void searchFindsEntriesHoldingEveryWord()
    {
        f->add("Pinned foo", true);
        f->add("BAR and foo");
        f->add("Café éclair");
        f->store->ingest(StoreFixture::text("from an editor", "org.kde.kate"));
        QFETCH(QString, query);
        model().setQuery(query);
        QTEST(visibleTexts(), "found");
    }

    // Sixteen places are tried at once: a word is found wherever it lies, across and at the end
    // of those blocks, and a text that only shares its first and last letters does not match.
    void aWordIsFoundWhereverItLies()
    {
        for (const QByteArray word : {"q", "qz", "qzr", "qzzzr", "qzzzzzzzzzzzzzzzzr"}) {
            QByteArray nearMiss = word;
            if (word.size() > 2)
                nearMiss[1] = 'y';
            for (int length = int(word.size()); length <= 70; ++length) {
                for (int at = 0; at + word.size() <= length; ++at) {
                    for (const QByteArray &placed : {word, nearMiss}) {
                        QByteArray text(length, 'x');
                        text.replace(at, placed.size(), placed);
                        ClipItem item;
                        item.text = QString::fromLatin1(text);
                        item.updateSearchKey();
                        QVERIFY2(HistorySearch::matches(item, {word}) == (placed == word),
                                 word + " in " + text);
                    }
                }
            }
        }
    }

    // After each step the list must be what a search of the whole history finds: a search narrowed
    // to the last result when it should not have been shows here. A step is a query typed, or
    // "+text" copied, "^text" pinned, "-text" deleted, "#link" / "#all" chosen as the filter.
    void narrowedSearchesFindWhatAFullSearchFinds_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QStringList>("found"); // at the end
        QTest::newRow("query grows") << QStringList{"r", "ra", "rav"} << QStringList{"https://bravo.example", "bravo"};
        QTest::newRow("query changes") << QStringList{"bra", "cha"} << QStringList{"charlie"};
        QTest::newRow("query shrinks") << QStringList{"alpha", "e"} << QStringList{"https://bravo.example", "charlie"};
        QTest::newRow("word added") << QStringList{"a", "a ch"} << QStringList{"charlie"};
        QTest::newRow("shortened again") << QStringList{"c", "ch", "c"} << QStringList{"charlie"};
        QTest::newRow("shortened after a copy") << QStringList{"ch", "cha", "+chz", "ch"} << QStringList{"chz", "charlie"};
        QTest::newRow("filter changes") << QStringList{"bra", "#link", "brav", "#all", "bravo"}
                                        << QStringList{"https://bravo.example", "bravo"};
        QTest::newRow("copy in between") << QStringList{"b", "+bz", "bz"} << QStringList{"bz"};
        QTest::newRow("pin in between") << QStringList{"r", "^bravo", "r "}
                                        << QStringList{"bravo", "https://bravo.example", "charlie"};
        QTest::newRow("delete in between") << QStringList{"a", "-charlie", "al"} << QStringList{"alpha"};
    }
    void narrowedSearchesFindWhatAFullSearchFinds()
    {
        QFETCH(QStringList, steps);
        f->store->ingest(StoreFixture::text("https://bravo.example", "web", ClipKind::link));
        f->clock.advance(10);
        c().show("hotkey");
        const auto entry = [&](const QString &text) {
            for (const ClipItem &item : f->store->items())
                if (item.text == text)
                    return item.id;
            return QUuid();
        };
        for (const QString &step : steps) {
            const QString text = step.mid(1);
            if (step.startsWith('+'))
                f->add(text);
            else if (step.startsWith('^'))
                f->store->togglePin(entry(text));
            else if (step.startsWith('-'))
                f->store->remove(entry(text));
            else if (step.startsWith('#'))
                model().setFilter(text == "link" ? Filter::ofKind(ClipKind::link) : Filter::all());
            else
                model().setQuery(step);
            PaletteModel full(*f->store, f->clock);
            full.setFilter(model().filter());
            full.setQuery(model().query());
            QVERIFY2(visibleTexts() == texts(full), qPrintable(step + ": " + visibleTexts().join(',')));
        }
        QTEST(visibleTexts(), "found");
    }

    void selectionIsClampedAndFollowsTheHistory()
    {
        c().show("hotkey");
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
        QTRY_COMPARE(model().selectionIndex(), 0);
        QCOMPARE(model().visible().size(), 3);
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

    // On the selection the kind's symbol takes the selection's text colour: the kinds' tints,
    // the grey and the blue among them, do not read on it.
    void theSelectedRowsSymbolReadsOnTheSelection_data()
    {
        QTest::addColumn<ClipKind>("kind");
        QTest::newRow("text") << ClipKind::text;
        QTest::newRow("link") << ClipKind::link;
        QTest::newRow("file") << ClipKind::file;
    }
    void theSelectedRowsSymbolReadsOnTheSelection()
    {
        QFETCH(ClipKind, kind);
        ClipCapture capture = StoreFixture::text("/tmp/report.pdf", "org.kde.kate", kind);
        capture.fileURLs = QStringList{"/tmp/report.pdf"};
        f->store->ingest(capture);
        c().show("hotkey");
        QListView *list = c().view()->list();
        QTRY_COMPARE(model().visible().size(), 4); // the new entry first, selected
        QStyleOptionViewItem option;
        option.initFrom(list);
        option.widget = list;
        option.rect = QRect(0, 0, list->viewport()->width(), PaletteRowDelegate::rowHeight);
        QImage row(option.rect.size(), QImage::Format_ARGB32);
        row.fill(Qt::transparent);
        QPainter painter(&row);
        list->itemDelegate()->paint(&painter, option, list->model()->index(0, 0));
        painter.end();
        // Left of the title there is only the symbol on its backdrop: its best contrast with the selection.
        const QColor selection = option.palette.color(QPalette::Active, QPalette::Highlight);
        qreal best = 1;
        for (int y = 0; y < row.height(); ++y)
            for (int x = 0; x < 48; ++x)
                if (qAlpha(row.pixel(x, y)) == 255)
                    best = std::max(best, contrast(row.pixelColor(x, y), selection));
        QVERIFY2(best >= 3, qPrintable(QString::number(best)));
    }

    // The list's scroll bar is a thin knob: a click at its very end turns a page, where an arrow
    // button would have moved one line.
    void theListScrollBarIsThinWithoutArrowButtons()
    {
        for (int i = 0; i < 40; ++i)
            f->add(QStringLiteral("entry %1").arg(i));
        c().show("hotkey");
        QScrollBar *bar = c().view()->list()->verticalScrollBar();
        QTRY_VERIFY(bar->isVisible() && bar->maximum() > bar->pageStep());
        QCOMPARE_LE(bar->width(), 10);
        QTest::mouseClick(bar, Qt::LeftButton, {}, QPoint(bar->width() / 2, bar->height() - 2));
        QCOMPARE_GE(bar->value(), bar->pageStep());
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
        f->add("delta"); // while closed, and read then: the list is up to date, the view hears at the opening
        QVERIFY(model().visible().isEmpty());
        c().toggle("hotkey");
        QCOMPARE(state(), QStringLiteral("open q'' f0 s0 n4"));
        QCOMPARE(c().view()->list()->model()->rowCount(), 4);
        QCOMPARE(c().view()->preview()->shownText(), QStringLiteral("delta"));
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
        QTest::newRow("Ctrl+2") << "Ctrl+2" << "" << 0 << true << "closed q'' f0 s1 n3 clip=bravo";
        QTest::newRow("beyond the list") << "Ctrl+4" << "" << 0 << true << "open q'' f0 s0 n3";
        QTest::newRow("digit") << "3" << "" << 0 << false << "open q'' f0 s0 n3";
        QTest::newRow("keypad") << "Ctrl+Num+3" << "" << 0 << false << "open q'' f0 s0 n3";
        QTest::newRow("Return") << "Return" << "" << 1 << true << "closed q'' f0 s0 n3 clip=bravo";
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

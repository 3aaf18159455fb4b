// Part 3.1 edge cases: search, filters, counts, selection.
#include "fakes/StoreFixture.h"
#include "palette/PaletteModel.h"

#include <QtTest>

using Filter = PaletteModel::Filter;

class PaletteModelTest : public QObject {
    Q_OBJECT
    std::unique_ptr<StoreFixture> f;
    std::unique_ptr<PaletteModel> model;

    void add(const QString &text, bool pin = false, ClipKind kind = ClipKind::text)
    {
        ClipCapture c = StoreFixture::text(text, text); // one app each: no bursts
        c.kind = kind;
        f->store->ingest(c);
        if (pin)
            f->store->togglePin(f->store->items()[0].id);
        f->clock.advance(10);
    }
    QStringList visibleTexts() const
    {
        QStringList list;
        for (const ClipItem &i : model->visible())
            list << *i.text;
        return list;
    }

private slots:
    void init()
    {
        f = std::make_unique<StoreFixture>();
        add("oldest pinned", true);
        add("BAR and foo");
        add("only foo");
        add("café");
        add("https://example.com", false, ClipKind::link);
        model = std::make_unique<PaletteModel>(*f->store, f->clock);
    }

    void spacesOnlyIsLikeEmptyButCountsAsSearch()
    {
        const QStringList all = visibleTexts();
        model->setQuery(QStringLiteral("   \t "));
        QCOMPARE(visibleTexts(), all);
        QVERIFY(model->searchUsedThisSession);
        model->setQuery(QString());
        QVERIFY(model->searchUsedThisSession); // an empty text never clears it
    }

    void everyTokenInAnyOrder()
    {
        model->setQuery(QStringLiteral("Foo bar"));
        QCOMPARE(visibleTexts(), QStringList({"BAR and foo"}));
        model->setQuery(QStringLiteral("foo  bar"));
        QVERIFY(!visibleTexts().contains(QStringLiteral("only foo")));
    }

    void noDiacriticFoldingButCaseFolding()
    {
        model->setQuery(QStringLiteral("cafe"));
        QVERIFY(model->visible().isEmpty());
        QVERIFY(!model->selectedID());
        model->setQuery(QStringLiteral("CAFÉ"));
        QCOMPARE(visibleTexts(), QStringList({"café"}));
    }

    void pinnedFilterAndPinnedFirst()
    {
        QCOMPARE(visibleTexts().first(), QStringLiteral("oldest pinned")); // older than all, still first
        add("second pinned", true);
        model->setFilter(Filter::pinned());
        QCOMPARE(visibleTexts(), QStringList({"second pinned", "oldest pinned"}));
    }

    void deletingTheSelectionSelectsTheFirst()
    {
        model->moveSelection(2);
        const QUuid selected = *model->selectedID();
        f->store->remove(selected);
        model->refresh(true);
        QCOMPARE(model->selectedID(), model->visible().first().id);
    }

    void historyChangeKeepsAMovedSelection()
    {
        model->moveSelection(3);
        const QUuid selected = *model->selectedID();
        add("brand new");
        QTRY_COMPARE(model->visible().size(), 6); // delivered after the store's notification
        QCOMPARE(model->selectedID(), selected);
        QCOMPARE(*model->selectionIndex(), 4);
    }

    void selectionIsClamped()
    {
        QCOMPARE(model->selectionIndex(), 0);
        model->moveSelection(-1);
        QCOMPARE(model->selectionIndex(), 0);
        model->moveSelection(100);
        QCOMPARE(model->selectionIndex(), model->visible().size() - 1);
        model->moveSelection(1);
        QCOMPARE(model->selectionIndex(), model->visible().size() - 1);
        model->setSelectedID(std::nullopt);
        model->moveSelection(-1);
        QCOMPARE(model->selectionIndex(), 0); // nothing selected: either way selects the first
        model->setQuery(QStringLiteral("nothing matches this"));
        model->moveSelection(1);
        model->moveSelection(-1);
        QVERIFY(!model->selectedID());
    }

    void filterCycleWraps()
    {
        QCOMPARE(Filter::cycle().size(), 7);
        model->cycleFilter(false);
        QCOMPARE(model->filter(), Filter::pinned());
        model->cycleFilter(true);
        QCOMPARE(model->filter(), Filter::all());
        model->cycleFilter(true);
        QCOMPARE(model->filter(), Filter::ofKind(ClipKind::text));
        QVERIFY(!(Filter::ofKind(ClipKind::text) == Filter::ofKind(ClipKind::link)));
    }

    void kindFilter()
    {
        model->setFilter(Filter::ofKind(ClipKind::link));
        QCOMPARE(visibleTexts(), QStringList({"https://example.com"}));
        QCOMPARE(model->selectedID(), model->visible().first().id);
    }

    void countsIgnoreTheQuery()
    {
        QCOMPARE(model->count(Filter::pinned()), 1);
        QCOMPARE(model->count(Filter::all()), 5);
        QCOMPARE(model->count(Filter::ofKind(ClipKind::link)), 1);
        model->setQuery(QStringLiteral("foo"));
        model->setFilter(Filter::ofKind(ClipKind::image));
        QCOMPARE(model->count(Filter::pinned()), 1);
        QCOMPARE(model->count(Filter::all()), 5);
    }

    void focusRequestsCount()
    {
        QSignalSpy spy(model.get(), &PaletteModel::focusRequested);
        model->requestFocus();
        QCOMPARE(model->focusRequestID(), 1);
        QCOMPARE(spy.size(), 1);
    }
};

QTEST_MAIN(PaletteModelTest)
#include "PaletteModelTest.moc"

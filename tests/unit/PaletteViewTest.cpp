// Part 3.3 edge cases: body states, rows, hints, preview, chips, icons.
#include "fakes/PaletteFixture.h"
#include "palette/ClipKindStyle.h"
#include "palette/PaletteList.h"
#include "palette/PaletteView.h"
#include "palette/PreviewPane.h"

#include <QLineEdit>
#include <QListView>
#include <QTemporaryDir>
#include <QtTest>

class PaletteViewTest : public QObject {
    Q_OBJECT
    std::unique_ptr<PaletteFixture> f;
    PaletteView *view()
    {
        f->controller.show("hotkey");
        return f->controller.view();
    }
    static ClipItem item(ClipKind kind)
    {
        ClipItem i;
        i.id = QUuid::createUuid();
        i.kind = kind;
        i.createdAt = QDateTime::currentDateTimeUtc();
        return i;
    }

private slots:
    void init() { f = std::make_unique<PaletteFixture>(); }

    void emptyHistoryWhateverTheFilter()
    {
        PaletteView *v = view();
        QCOMPARE(v->body(), PaletteView::Body::empty);
        QCOMPARE(v->bodyTitle(), QStringLiteral("Nothing here yet"));
        f->controller.model().setFilter(PaletteModel::Filter::pinned());
        QCOMPARE(v->bodyTitle(), QStringLiteral("Nothing here yet"));
    }

    void noMatches()
    {
        f->add("something");
        PaletteView *v = view();
        QCOMPARE(v->body(), PaletteView::Body::list);
        v->searchField()->setText(QStringLiteral("nothing like it"));
        emit v->searchField()->textEdited(v->searchField()->text());
        QCOMPARE(f->controller.model().query(), QStringLiteral("nothing like it"));
        QCOMPARE(v->body(), PaletteView::Body::noResults);
        QCOMPARE(v->bodyTitle(), QStringLiteral("No matches"));
    }

    void onlyTheFirstNineRowsHaveAHint()
    {
        QCOMPARE(PaletteRowDelegate::quickPickHint(0), QStringLiteral("Ctrl+1"));
        QCOMPARE(PaletteRowDelegate::quickPickHint(8), QStringLiteral("Ctrl+9"));
        QCOMPARE(PaletteRowDelegate::quickPickHint(9), QString());
    }

    void justNowThenRelative()
    {
        const QDateTime now = f->clock.now();
        QCOMPARE(PaletteRowDelegate::timeText(now.addSecs(-5), now, f->l10n), QStringLiteral("just now"));
        QCOMPARE(PaletteRowDelegate::timeText(now.addSecs(-10), now, f->l10n), QStringLiteral("10 sec. ago"));
        QCOMPARE(PaletteRowDelegate::timeText(now.addSecs(-150), now, f->l10n), QStringLiteral("2 min. ago"));
        QCOMPARE(PaletteRowDelegate::timeText(now.addSecs(-3 * 3600), now, f->l10n), QStringLiteral("3 hr. ago"));
        f->l10n.setLanguage(AppLanguage::de);
        QCOMPARE(PaletteRowDelegate::timeText(now.addSecs(-3 * 3600), now, f->l10n), QStringLiteral("vor 3 Std."));
    }

    void hintsFollowCopyInsteadOfPaste()
    {
        PaletteView *v = view();
        QCOMPARE(v->hints().value(0), QStringLiteral("↩  Paste"));
        QCOMPARE(v->hints().value(2), QStringLiteral("Ctrl+↩  Copy"));
        f->settings.setCopyInsteadOfPaste(true);
        QCOMPARE(v->hints().value(0), QStringLiteral("↩  Copy"));
        QCOMPARE(v->hints().value(2), QStringLiteral("Ctrl+↩  Paste"));
        QCOMPARE(v->hints().size(), 6);
    }

    void longTextPreviewIsCut()
    {
        ClipItem i = item(ClipKind::text);
        i.text = QString(10001, QLatin1Char('a'));
        QCOMPARE(PreviewPane::previewText(i), QString(10000, QLatin1Char('a')) + QStringLiteral(" …"));
        i.text = QString(10000, QLatin1Char('a'));
        QCOMPARE(PreviewPane::previewText(i), *i.text);
    }

    void sizeInfo()
    {
        ClipItem files = item(ClipKind::file);
        files.fileURLs = QStringList{"/a", "/b", "/c"};
        QCOMPARE(PreviewPane::sizeInfo(files, f->l10n), QStringLiteral("3 files"));
        files.fileURLs.reset();
        QCOMPARE(PreviewPane::sizeInfo(files, f->l10n), QStringLiteral("0 files"));
        ClipItem image = item(ClipKind::image);
        QCOMPARE(PreviewPane::sizeInfo(image, f->l10n), QString());
        image.pixelWidth = 1920;
        image.pixelHeight = 1080;
        QCOMPARE(PreviewPane::sizeInfo(image, f->l10n), QStringLiteral("1920 × 1080 px"));
        ClipItem text = item(ClipKind::text);
        QCOMPARE(PreviewPane::sizeInfo(text, f->l10n), QString());
        text.charCount = 12;
        QCOMPARE(PreviewPane::sizeInfo(text, f->l10n), QStringLiteral("12 characters"));
    }

    void previewFollowsTheSelection()
    {
        f->add("first entry");
        f->add("second entry");
        PaletteView *v = view();
        QCOMPARE(v->preview()->shownText(), QStringLiteral("second entry"));
        f->controller.model().moveSelection(1);
        QCOMPARE(v->preview()->shownText(), QStringLiteral("first entry"));
        QVERIFY(v->preview()->metadataText().startsWith(QStringLiteral("Text")));
        QVERIFY(v->preview()->metadataText().endsWith(QStringLiteral("11 characters")));
    }

    void chipCountsIgnoreTheQuery()
    {
        f->add("one");
        f->add("two", true);
        PaletteView *v = view();
        QCOMPARE(v->chipText(PaletteModel::Filter::all()), QStringLiteral("All 2"));
        QCOMPARE(v->chipText(PaletteModel::Filter::pinned()), QStringLiteral("Pinned 1"));
        QCOMPARE(v->chipText(PaletteModel::Filter::ofKind(ClipKind::image)), QStringLiteral("Image")); // no 0
        f->controller.model().setQuery("one");
        QCOMPARE(v->chipText(PaletteModel::Filter::all()), QStringLiteral("All 2"));
        QCOMPARE(v->chipText(PaletteModel::Filter::pinned()), QStringLiteral("Pinned 1"));
    }

    void languageSwitchRetranslates()
    {
        PaletteView *v = view();
        f->l10n.setLanguage(AppLanguage::fr);
        QCOMPARE(v->searchField()->placeholderText(), f->l10n.string(QStringLiteral("palette.searchPlaceholder")));
        QVERIFY(v->searchField()->placeholderText() != QStringLiteral("Search clipboard history…"));
        QCOMPARE(v->bodyTitle(), f->l10n.string(QStringLiteral("palette.emptyTitle")));
    }

    void rowsAreVirtualisedAndClickSelects()
    {
        for (int i = 0; i < 300; ++i)
            f->store->ingest(StoreFixture::text(QStringLiteral("entry %1").arg(i), QString::number(i)));
        PaletteView *v = view();
        QCOMPARE(v->list()->model()->rowCount(), 300);
        QVERIFY(v->list()->uniformItemSizes());
        const QModelIndex third = v->list()->model()->index(2, 0);
        emit v->list()->clicked(third);
        QCOMPARE(f->controller.model().selectionIndex(), 2);
    }

    void uninstalledApplicationHasNoIcon()
    {
        QTemporaryDir dir;
        qputenv("XDG_DATA_HOME", dir.path().toUtf8());
        qputenv("XDG_DATA_DIRS", dir.path().toUtf8());
        DesktopEntries none(QStringLiteral("C"));
        AppIconCache icons(none);
        QVERIFY(!icons.icon(QStringLiteral("org.example.Gone")));
        QVERIFY(!icons.icon(std::nullopt));
    }

    void kindStyles()
    {
        QCOMPARE(ClipKindStyle::tint(ClipKind::image), QColor(255, 149, 0));
        QCOMPARE(ClipKindStyle::symbol(ClipKind::color), QStringLiteral("paintpalette"));
        QCOMPARE(ClipKindStyle::color(QStringLiteral("#ff8800")), QColor(255, 136, 0));
        QCOMPARE(ClipKindStyle::color(QStringLiteral("A0B0C0")), QColor(160, 176, 192));
        QVERIFY(!ClipKindStyle::color(QStringLiteral("#12")).isValid());
    }
};

QTEST_MAIN(PaletteViewTest)
#include "PaletteViewTest.moc"

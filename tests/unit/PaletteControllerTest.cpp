// Part 3.2 edge cases: opening, the key table, confirm with its XOR rules, usage events.
#include "fakes/PaletteFixture.h"
#include "palette/PalettePanel.h"
#include "palette/PaletteView.h"
#include "paste/ToastWindow.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QtTest>

class PaletteControllerTest : public QObject {
    Q_OBJECT
    std::unique_ptr<PaletteFixture> f;
    PaletteController &c() { return f->controller; }
    PaletteModel &model() { return f->controller.model(); }

    bool press(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        const QKeyEvent event(QEvent::KeyPress, key, modifiers);
        return c().handle(event);
    }
    QStringList events(const QString &name) const
    {
        QStringList found;
        for (const auto &[n, p] : f->events)
            if (n == name)
                found << n;
        return found;
    }
    QVariantMap lastEvent(const QString &name) const
    {
        for (auto it = f->events.crbegin(); it != f->events.crend(); ++it)
            if (it->first == name)
                return it->second;
        return {};
    }
    QString toastText() const
    {
        const auto *window = qobject_cast<const ToastWindow *>(f->toast.currentWindow());
        return window ? window->text() : QString();
    }
    QString clipboardText() const { return f->clipboard.contents() ? f->clipboard.contents()->text() : QString(); }

private slots:
    void init()
    {
        f = std::make_unique<PaletteFixture>();
        f->add("alpha");
        f->add("bravo");
        f->add("charlie");
    }

    void openingResetsQueryFilterAndSelection()
    {
        c().show("hotkey");
        model().setQuery("bra");
        model().setFilter(PaletteModel::Filter::pinned());
        c().close();
        c().show("hotkey");
        QVERIFY(c().isVisible());
        QCOMPARE(model().query(), QString());
        QCOMPARE(model().filter(), PaletteModel::Filter::all());
        QCOMPARE(model().selectionIndex(), 0);
        QVERIFY(!model().searchUsedThisSession);
        QCOMPARE(model().focusRequestID(), 2);
        QCOMPARE(c().view()->searchField()->text(), QString());
        QTRY_VERIFY(c().view()->searchField()->hasFocus()); // 0.05 s after opening
    }

    void panelGeometry()
    {
        const QRect frame = PalettePanel::frame(QRect(0, 0, 1280, 800));
        QCOMPARE(frame.size(), QSize(680, 440));
        QCOMPARE(frame.left(), (1280 - 680) / 2); // centred horizontally
        QCOMPARE(frame.top(), qRound(0.38 * 800) - 220); // vertical centre at 62 % from the bottom
        c().show("hotkey");
        QCOMPARE(c().panel()->size(), QSize(680, 440));
        QVERIFY(c().panel()->windowFlags() & Qt::Popup);
    }

    void commandDigitBeyondTheListIsConsumedAndKeepsItOpen()
    {
        f->store->clear(false);
        f->add("one");
        f->add("two");
        c().show("hotkey");
        QVERIFY(press(Qt::Key_3, Qt::ControlModifier));
        QVERIFY(c().isVisible());
        QCOMPARE(f->clipboard.writes, 0);
        QVERIFY(!press(Qt::Key_3)); // without Ctrl it is typing
        QVERIFY(!press(Qt::Key_3, Qt::ControlModifier | Qt::KeypadModifier)); // not the keypad
    }

    void commandDigitPastesThatRow()
    {
        c().show("hotkey");
        QVERIFY(press(Qt::Key_2, Qt::ControlModifier));
        QVERIFY(!c().isVisible());
        QCOMPARE(clipboardText(), QStringLiteral("bravo"));
        QTRY_COMPARE(f->keys.posts.size(), 1);
        QCOMPARE(f->keys.posts[0].first, Qt::ControlModifier);
        QCOMPARE(f->keys.posts[0].second, Qt::Key_V);
        QTRY_VERIFY(!lastEvent("paste.result").isEmpty());
        const QVariantMap result = lastEvent("paste.result");
        QCOMPARE(result["ok"].toBool(), true);
        QCOMPARE(result["method"].toString(), QStringLiteral("synthCmdV"));
        QCOMPARE(result["targetApp"].toString(), QStringLiteral("?"));
        QCOMPARE(result["itemType"].toString(), QStringLiteral("text"));
        QCOMPARE(result["sizeBucket"].toString(), QStringLiteral("xs"));
        QCOMPARE(result["index"].toLongLong(), 1);
        QCOMPARE(result["viaSearch"].toBool(), false);
    }

    void escapeClearsThenCloses()
    {
        c().show("hotkey");
        model().setQuery("zzz");
        QVERIFY(press(Qt::Key_Escape));
        QVERIFY(c().isVisible());
        QCOMPARE(model().query(), QString());
        QCOMPARE(model().selectionIndex(), 0);
        QVERIFY(press(Qt::Key_Escape));
        QVERIFY(!c().isVisible());
    }

    void arrowsChangeTheFilterOnlyWithAnEmptyQuery()
    {
        c().show("hotkey");
        QVERIFY(press(Qt::Key_Right));
        QCOMPARE(model().filter(), PaletteModel::Filter::ofKind(ClipKind::text));
        QVERIFY(press(Qt::Key_Left));
        QCOMPARE(model().filter(), PaletteModel::Filter::all());
        model().setQuery("a");
        QVERIFY(!press(Qt::Key_Right)); // moves the text cursor instead
        QVERIFY(!press(Qt::Key_Left));
        QCOMPARE(model().filter(), PaletteModel::Filter::all());
    }

    void shiftTabFromAllSelectsPinned()
    {
        c().show("hotkey");
        QVERIFY(press(Qt::Key_Backtab, Qt::ShiftModifier));
        QCOMPARE(model().filter(), PaletteModel::Filter::pinned());
        QVERIFY(press(Qt::Key_Tab));
        QCOMPARE(model().filter(), PaletteModel::Filter::all());
    }

    void returnOnAnEmptyListKeepsItOpen()
    {
        c().show("hotkey");
        model().setQuery("no such entry");
        QVERIFY(press(Qt::Key_Return));
        QVERIFY(c().isVisible());
        QCOMPARE(f->clipboard.writes, 0);
    }

    void commandBackspaceDeletesAndSelectsTheFirst()
    {
        c().show("hotkey");
        press(Qt::Key_Down);
        QCOMPARE(model().selectedItem()->text, QStringLiteral("bravo"));
        QVERIFY(press(Qt::Key_Backspace, Qt::ControlModifier));
        QCOMPARE(f->store->items().size(), 2);
        QCOMPARE(model().selectedItem()->text, QStringLiteral("charlie"));
        QVERIFY(!press(Qt::Key_Backspace)); // plain Backspace edits the query
    }

    void pinAndEmacsMoves()
    {
        c().show("hotkey");
        QVERIFY(press(Qt::Key_N, Qt::MetaModifier));
        QCOMPARE(model().selectionIndex(), 1);
        QVERIFY(press(Qt::Key_P, Qt::MetaModifier));
        QCOMPARE(model().selectionIndex(), 0);
        QVERIFY(press(Qt::Key_P, Qt::ControlModifier));
        QVERIFY(f->store->items()[0].pinned);
        QVERIFY(!press(Qt::Key_P, Qt::ControlModifier | Qt::ShiftModifier)); // exact modifiers only
        QVERIFY(!press(Qt::Key_P));
        QVERIFY(press(Qt::Key_Down) && press(Qt::Key_Up));
    }

    void copyInsteadOfPasteSwapsReturnAndCommandReturn()
    {
        f->settings.setCopyInsteadOfPaste(true);
        c().show("hotkey");
        QVERIFY(press(Qt::Key_Return));
        QCOMPARE(clipboardText(), QStringLiteral("charlie"));
        QCOMPARE(toastText(), QStringLiteral("Copied"));
        QTest::qWait(200);
        QVERIFY(f->keys.posts.isEmpty()); // copied, not pasted

        c().show("hotkey");
        QVERIFY(press(Qt::Key_Return, Qt::ControlModifier));
        QTRY_COMPARE(f->keys.posts.size(), 1); // Ctrl+Return pastes
    }

    void alwaysPlainTextIsUndoneByAltReturn()
    {
        ClipCapture rich = StoreFixture::text("rich text", "rich");
        rich.htmlData = QByteArray("<b>rich</b> text");
        f->store->ingest(rich);
        f->settings.setAlwaysPlainText(true);
        f->settings.setCopyInsteadOfPaste(true);
        c().show("hotkey");
        press(Qt::Key_Return);
        QVERIFY(!f->clipboard.contents()->hasHtml());
        c().show("hotkey");
        press(Qt::Key_Return, Qt::AltModifier);
        QVERIFY(f->clipboard.contents()->hasHtml()); // with formatting
    }

    void manualPasteNotice()
    {
        f->keys.trusted = false;
        c().show("hotkey");
        press(Qt::Key_Return);
        QTRY_VERIFY(!lastEvent("paste.result").isEmpty());
        QCOMPARE(lastEvent("paste.result")["ok"].toBool(), false);
        QCOMPARE(toastText(), QStringLiteral("Copied — press Ctrl+V to paste"));
    }

    void pasteResultBuckets()
    {
        QCOMPARE(PaletteController::sizeBucket(1023), QStringLiteral("xs"));
        QCOMPARE(PaletteController::sizeBucket(1024), QStringLiteral("s"));
        QCOMPARE(PaletteController::sizeBucket(10240), QStringLiteral("m"));
        QCOMPARE(PaletteController::sizeBucket(102400), QStringLiteral("l"));
        QCOMPARE(PaletteController::sizeBucket(1048576), QStringLiteral("xl"));
        QCOMPARE(PaletteController::ageBucket(59), QStringLiteral("justNow"));
        QCOMPARE(PaletteController::ageBucket(60), QStringLiteral("1-5m"));
        QCOMPARE(PaletteController::ageBucket(300), QStringLiteral("5-60m"));
        QCOMPARE(PaletteController::ageBucket(3600), QStringLiteral("1-24h"));
        QCOMPARE(PaletteController::ageBucket(86400), QStringLiteral("24h+"));
        QCOMPARE(PaletteController::itemType(ClipKind::link), QStringLiteral("url"));
    }

    void viaSearchAndIndexAreReported()
    {
        c().show("hotkey");
        model().setQuery("alp");
        press(Qt::Key_Return);
        QTRY_VERIFY(!lastEvent("paste.result").isEmpty());
        QCOMPARE(lastEvent("paste.result")["viaSearch"].toBool(), true);
        QCOMPARE(lastEvent("paste.result")["index"].toLongLong(), 0);
    }

    void openingSampleIsReportedAtCloseOnlyWhenDrawn()
    {
        f->draw = 3;
        c().show("icon");
        c().close();
        QVERIFY(events("palette.open").isEmpty());
        f->draw = 0;
        c().show("menu");
        QVERIFY(c().pendingOpenSample());
        model().setQuery("x");
        c().close();
        QCOMPARE(events("palette.open").size(), 1);
        const QVariantMap e = lastEvent("palette.open");
        QCOMPARE(e["trigger"].toString(), QStringLiteral("menu"));
        QCOMPARE(e["items"].toLongLong(), 3);
        QCOMPARE(e["searchUsed"].toBool(), true);
        QCOMPARE(e["sample"].toInt(), 10);
        QVERIFY(e["ms"].toLongLong() >= 0);
        c().close(); // closing again reports nothing more
        QCOMPARE(events("palette.open").size(), 1);
    }

    void toggleClosesAnOpenPalette()
    {
        c().toggle("hotkey");
        QVERIFY(c().isVisible());
        c().toggle("hotkey");
        QVERIFY(!c().isVisible());
        c().toggle("hotkey");
        QVERIFY(c().isVisible());
    }

    void hidingThePopupClosesTheController()
    {
        f->draw = 0;
        c().show("hotkey");
        c().panel()->hide(); // what a click outside a Qt::Popup does
        QTRY_COMPARE(events("palette.open").size(), 1);
        QVERIFY(!c().isVisible());
    }

    void clockRefreshesNowEveryFifteenSeconds()
    {
        c().show("hotkey");
        QCOMPARE(model().now(), f->clock.now());
        const auto timers = c().findChildren<QTimer *>();
        QVERIFY(std::any_of(timers.begin(), timers.end(), [](QTimer *t) { return t->interval() == 15000 && t->isActive(); }));
        c().close();
        const auto after = c().findChildren<QTimer *>();
        QVERIFY(std::none_of(after.begin(), after.end(), [](QTimer *t) { return t->interval() == 15000; }));
    }
};

QTEST_MAIN(PaletteControllerTest)
#include "PaletteControllerTest.moc"

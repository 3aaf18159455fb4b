// SPDX-License-Identifier: GPL-3.0-or-later
#include "palette/PaletteController.h"

#include "app/AppSettings.h"
#include "capture/HistoryStore.h"
#include "common/Clock.h"
#include "l10n/L10n.h"
#include "palette/PalettePanel.h"
#include "palette/PaletteView.h"
#include "paste/HUDToast.h"
#include "paste/PasteService.h"
#include "platform/ActiveWindow.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QLayout>
#include <QLineEdit>
#include <QRandomGenerator>
#include <QScreen>

PaletteController::PaletteController(HistoryStore &store, AppSettings &settings, L10n &l10n, PasteService &paste,
                                     HUDToast &toast, ActiveWindow &activeWindow, AppIconCache &icons, Clock &clock,
                                     RecordUsage record, std::function<int()> drawOneInTen, QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_settings(settings)
    , m_l10n(l10n)
    , m_paste(paste)
    , m_toast(toast)
    , m_activeWindow(activeWindow)
    , m_icons(icons)
    , m_clock(clock)
    , m_record(std::move(record))
    , m_drawOneInTen(drawOneInTen ? std::move(drawOneInTen) : [] { return int(QRandomGenerator::global()->bounded(10)); })
    , m_model(store, clock)
{
    showPanel = [](QWidget *panel) { panel->show(); };
    // The panel is built a moment after start, when nothing else is going on, so that the first
    // opening costs no more than any other.
    QTimer::singleShot(panelWarmUpMs, this, &PaletteController::ensurePanel);
}

PaletteController::~PaletteController()
{
    delete m_panel; // a top-level window, not owned by a parent
}

void PaletteController::ensurePanel()
{
    if (m_panel)
        return;
    m_view = new PaletteView(m_model, m_l10n, m_settings, m_store, m_icons);
    m_view->onActivate = [this](const ClipItem &item) { confirm(item, false, false); };
    m_panel = new PalettePanel(m_view);
    // Keys reach the search field through this filter first, so the palette's shortcuts win.
    m_view->searchField()->installEventFilter(this);
    m_panel->installEventFilter(this);
    // A click outside closes the popup: close the palette as if the user had dismissed it.
    connect(m_panel, &PalettePanel::dismissed, this, [this] {
        if (!m_closing)
            QTimer::singleShot(0, this, &PaletteController::close);
    });
    m_panel->ensurePolished();
    m_panel->layout()->activate();
    m_panel->winId(); // the native window too: an opening only maps it
}

void PaletteController::show(const QString &trigger)
{
    QElapsedTimer opening;
    opening.start();
    ensurePanel();
    m_model.open();
    m_model.requestFocus();

    QScreen *screen = QGuiApplication::primaryScreen();
    if (!screen && !QGuiApplication::screens().isEmpty())
        screen = QGuiApplication::screens().first();
    if (screen)
        m_panel->setGeometry(PalettePanel::frame(screen->availableGeometry()));
    showPanel(m_panel);
    m_panel->raise();
    startClock();

    if (m_drawOneInTen() == 0)
        m_pendingOpenSample = Sample{trigger, m_model.visible().size(), opening.elapsed()};
    else
        m_pendingOpenSample.reset();
}

void PaletteController::startClock()
{
    m_model.setNow(m_clock.now());
    if (m_clockTimer)
        return;
    m_clockTimer = new QTimer(this);
    m_clockTimer->setInterval(15000);
    connect(m_clockTimer, &QTimer::timeout, this, [this] { m_model.setNow(m_clock.now()); });
    m_clockTimer->start();
}

void PaletteController::close()
{
    if (m_pendingOpenSample) {
        if (m_record)
            m_record(QStringLiteral("palette.open"), {{QStringLiteral("trigger"), m_pendingOpenSample->trigger},
                                                      {QStringLiteral("items"), qint64(m_pendingOpenSample->items)},
                                                      {QStringLiteral("searchUsed"), m_model.searchUsedThisSession},
                                                      {QStringLiteral("ms"), m_pendingOpenSample->ms},
                                                      {QStringLiteral("sample"), 10}});
        m_pendingOpenSample.reset();
    }
    delete m_clockTimer;
    m_clockTimer = nullptr;
    m_model.close();
    if (m_panel && m_panel->isVisible()) {
        m_closing = true;
        m_panel->hide();
        m_closing = false;
    }
}

void PaletteController::toggle(const QString &trigger)
{
    if (isVisible())
        close();
    else
        show(trigger);
}

bool PaletteController::isVisible() const
{
    return m_panel && m_panel->isVisible();
}

void PaletteController::confirm(const ClipItem &item, bool copyOverride, bool plainOverride)
{
    const bool plain = plainOverride != m_settings.alwaysPlainText();
    const bool copyOnly = copyOverride != m_settings.copyInsteadOfPaste();
    qsizetype index = -1;
    for (qsizetype i = 0; i < m_model.visible().size() && index < 0; ++i)
        if (m_model.visible()[i].id == item.id)
            index = i;
    const bool viaSearch = !m_model.query().isEmpty();
    close();

    if (copyOnly) {
        m_paste.write(item, plain, false);
        if (m_settings.moveToTopOnPaste())
            m_store.touch(item.id);
        m_toast.show(m_l10n.string(QStringLiteral("toast.copied")));
        return;
    }
    QPointer<PaletteController> self(this);
    m_paste.paste(item, plain, [self, item, index, viaSearch](PasteService::Outcome outcome) {
        if (!self)
            return;
        self->recordPasteResult(item, outcome == PasteService::Outcome::pasted, index, viaSearch);
        if (outcome == PasteService::Outcome::needsManualPaste)
            self->m_toast.show(self->m_l10n.string(QStringLiteral("toast.copiedManualPaste")));
    });
}

QString PaletteController::sizeBucket(qint64 byteSize)
{
    if (byteSize < 1024)
        return QStringLiteral("xs");
    if (byteSize < 10240)
        return QStringLiteral("s");
    if (byteSize < 102400)
        return QStringLiteral("m");
    if (byteSize < 1048576)
        return QStringLiteral("l");
    return QStringLiteral("xl");
}

QString PaletteController::ageBucket(qint64 seconds)
{
    if (seconds < 60)
        return QStringLiteral("justNow");
    if (seconds < 300)
        return QStringLiteral("1-5m");
    if (seconds < 3600)
        return QStringLiteral("5-60m");
    if (seconds < 86400)
        return QStringLiteral("1-24h");
    return QStringLiteral("24h+");
}

QString PaletteController::itemType(ClipKind kind)
{
    return kind == ClipKind::link ? QStringLiteral("url") : ClipKinds::rawValue(kind);
}

void PaletteController::recordPasteResult(const ClipItem &item, bool pasted, qsizetype index, bool viaSearch)
{
    if (!m_record)
        return;
    const std::optional<FrontApp> app = m_activeWindow.frontmost();
    const QString target = app && !app->bundleID.isEmpty() ? app->bundleID : QStringLiteral("?");
    m_record(QStringLiteral("paste.result"), {{QStringLiteral("ok"), pasted},
                                              {QStringLiteral("method"), QStringLiteral("synthCmdV")},
                                              {QStringLiteral("targetApp"), target},
                                              {QStringLiteral("itemType"), itemType(item.kind)},
                                              {QStringLiteral("sizeBucket"), sizeBucket(item.byteSize)},
                                              {QStringLiteral("ageBucket"), ageBucket(item.createdAt.secsTo(m_clock.now()))},
                                              {QStringLiteral("index"), qint64(index)},
                                              {QStringLiteral("viaSearch"), viaSearch}});
}

bool PaletteController::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::KeyPress && isVisible())
        return handle(static_cast<const QKeyEvent &>(*event));
    return QObject::eventFilter(watched, event);
}

bool PaletteController::handle(const QKeyEvent &event)
{
    // Ctrl carries the palette's commands (Ctrl+1…9, Ctrl+Return, Ctrl+P, Ctrl+Backspace),
    // Alt the plain-text paste; Meta+P and Meta+N move the selection like Up and Down.
    const Qt::KeyboardModifiers raw = event.modifiers();
    const Qt::KeyboardModifiers flags =
        raw & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier | Qt::ShiftModifier);
    const auto selected = m_model.selectedItem();
    const int key = event.key();
    if (key >= Qt::Key_1 && key <= Qt::Key_9 && !(raw & Qt::KeypadModifier) && flags == Qt::ControlModifier) {
        const qsizetype position = key - Qt::Key_1;
        if (position < m_model.visible().size())
            confirm(m_model.visible()[position], false, false);
        return true;
    }
    switch (key) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (selected)
            confirm(*selected, flags == Qt::ControlModifier, flags == Qt::AltModifier);
        return true;
    case Qt::Key_P:
        if (flags == Qt::MetaModifier) {
            m_model.moveSelection(-1);
            return true;
        }
        if (flags == Qt::ControlModifier) {
            if (selected)
                m_store.togglePin(selected->id);
            return true;
        }
        return false;
    case Qt::Key_N:
        if (flags != Qt::MetaModifier)
            return false;
        m_model.moveSelection(1);
        return true;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        m_model.cycleFilter(!(raw & Qt::ShiftModifier) && key != Qt::Key_Backtab);
        return true;
    case Qt::Key_Backspace:
        if (flags != Qt::ControlModifier)
            return false;
        if (selected) {
            m_store.remove(selected->id);
            m_model.refresh(true);
        }
        return true;
    case Qt::Key_Escape:
        if (m_model.query().isEmpty())
            close();
        else
            m_model.setQuery(QString());
        return true;
    case Qt::Key_Left:
    case Qt::Key_Right:
        if (!m_model.query().isEmpty())
            return false;
        m_model.cycleFilter(key == Qt::Key_Right);
        return true;
    case Qt::Key_Down:
        m_model.moveSelection(1);
        return true;
    case Qt::Key_Up:
        m_model.moveSelection(-1);
        return true;
    default:
        return false;
    }
}

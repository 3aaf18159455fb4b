// SPDX-License-Identifier: GPL-3.0-or-later
#include "palette/PaletteView.h"

#include "app/AppSettings.h"
#include "capture/HistoryStore.h"
#include "common/Symbols.h"
#include "common/ThinScrollBar.h"
#include "l10n/L10n.h"
#include "palette/ClipKindStyle.h"
#include "palette/PaletteList.h"
#include "palette/PreviewPane.h"
#include "platform/GlobalHotKey.h"

#include <QEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPainter>
#include <QPainterPath>
#include <QStackedWidget>
#include <QTimer>
#include <QToolButton>

namespace {

QFrame *hairline(QWidget *parent, QFrame::Shape shape = QFrame::HLine)
{
    auto *line = new QFrame(parent);
    line->setFrameShape(shape);
    line->setFrameShadow(QFrame::Plain);
    line->setForegroundRole(QPalette::Mid);
    return line;
}

QString filterKey(const PaletteModel::Filter &filter)
{
    switch (filter.type) {
    case PaletteModel::Filter::Case::all: return QStringLiteral("filter.all");
    case PaletteModel::Filter::Case::pinned: return QStringLiteral("filter.pinned");
    case PaletteModel::Filter::Case::kind: return ClipKindStyle::filterKey(filter.kind);
    }
    Q_UNREACHABLE();
}

} // namespace

PaletteView::PaletteView(PaletteModel &model, L10n &l10n, AppSettings &settings, HistoryStore &store,
                         AppIconCache &icons, QWidget *parent)
    : QWidget(parent)
    , m_model(model)
    , m_l10n(l10n)
    , m_settings(settings)
    , m_store(store)
    , m_glass(new QLabel(this))
    , m_search(new QLineEdit(this))
    , m_body(new QStackedWidget(this))
    , m_stateSymbol(new QLabel(this))
    , m_stateTitle(new QLabel(this))
    , m_stateText(new QLabel(this))
    , m_list(new QListView(this))
    , m_listModel(new PaletteListModel(model, this))
    , m_preview(new PreviewPane(store, l10n, this))
{
    // 1. Search row.
    m_search->setFrame(false);
    QPalette clear = m_search->palette();
    clear.setColor(QPalette::Base, Qt::transparent); // the field sits on the panel's material
    m_search->setPalette(clear);
    QFont big = m_search->font();
    big.setPointSizeF(big.pointSizeF() * 1.35);
    m_search->setFont(big);
    m_search->setAttribute(Qt::WA_MacShowFocusRect, false);
    auto *searchRow = new QHBoxLayout;
    searchRow->setContentsMargins(14, 10, 14, 8);
    searchRow->addWidget(m_glass);
    searchRow->addWidget(m_search, 1);

    // 3. Filter chips. Their symbols stand as tall as the text's capitals and a little more.
    auto *chipRow = new QHBoxLayout;
    chipRow->setContentsMargins(10, 6, 10, 6);
    chipRow->setSpacing(4);
    const int chipSymbol = qRound(QFontMetricsF(font()).capHeight() * 1.6);
    for (const PaletteModel::Filter &filter : PaletteModel::Filter::cycle()) {
        auto *chip = new QToolButton(this);
        chip->setCheckable(true);
        chip->setAutoRaise(true);
        chip->setFocusPolicy(Qt::NoFocus);
        chip->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        if (filter.type == PaletteModel::Filter::Case::kind)
            chip->setIcon(Symbols::icon(ClipKindStyle::symbol(filter.kind), ClipKindStyle::tint(filter.kind), chipSymbol));
        chip->setIconSize(QSize(chipSymbol, chipSymbol));
        connect(chip, &QToolButton::clicked, this, [this, filter] { m_model.setFilter(filter); });
        chipRow->addWidget(chip);
        m_chips << chip;
    }
    chipRow->addStretch();

    // 4. Body: empty state, no results, or list beside preview.
    auto *state = new QWidget(this);
    auto *stateLayout = new QVBoxLayout(state);
    stateLayout->addStretch();
    for (QLabel *label : {m_stateSymbol, m_stateTitle, m_stateText}) {
        label->setAlignment(Qt::AlignCenter);
        stateLayout->addWidget(label);
    }
    stateLayout->addStretch();
    QFont titleFont = font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.2);
    titleFont.setBold(true);
    m_stateTitle->setFont(titleFont);
    m_stateText->setForegroundRole(QPalette::PlaceholderText);
    m_stateText->setWordWrap(true);

    m_list->setModel(m_listModel);
    m_list->setItemDelegate(new PaletteRowDelegate(model, store, l10n, icons, m_list));
    m_list->setUniformItemSizes(true);
    m_list->setFrameShape(QFrame::NoFrame);
    m_list->setFocusPolicy(Qt::NoFocus); // typing always goes to the search field
    m_list->setSelectionMode(QAbstractItemView::NoSelection); // the model's selectedID is drawn
    m_list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    ThinScrollBar::install(m_list);
    m_list->viewport()->setAutoFillBackground(false);
    connect(m_list, &QListView::clicked, this, [this](const QModelIndex &index) {
        m_model.setSelectedID(index.data(Qt::UserRole).toUuid());
    });
    connect(m_list, &QListView::doubleClicked, this, [this](const QModelIndex &index) {
        if (onActivate && index.row() < m_model.visible().size())
            onActivate(m_model.visible()[index.row()]);
    });
    auto *split = new QWidget(this);
    auto *splitLayout = new QHBoxLayout(split);
    splitLayout->setContentsMargins(0, 0, 0, 0);
    splitLayout->setSpacing(0);
    splitLayout->addWidget(m_list, 11);
    splitLayout->addWidget(hairline(this, QFrame::VLine));
    splitLayout->addWidget(m_preview, 9);
    m_body->addWidget(state);
    m_body->addWidget(split);

    // 6. Hints.
    auto *hintRow = new QHBoxLayout;
    hintRow->setContentsMargins(14, 6, 14, 8);
    hintRow->setSpacing(16);
    for (int i = 0; i < 6; ++i) {
        auto *hint = new QLabel(this);
        hint->setForegroundRole(QPalette::PlaceholderText);
        hintRow->addWidget(hint);
        m_hints << hint;
    }
    hintRow->addStretch();

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(1, 1, 1, 1);
    layout->setSpacing(0);
    layout->addLayout(searchRow);
    layout->addWidget(hairline(this));
    layout->addLayout(chipRow);
    layout->addWidget(m_body, 1);
    layout->addWidget(hairline(this));
    layout->addLayout(hintRow);

    connect(m_search, &QLineEdit::textEdited, &m_model, &PaletteModel::setQuery);
    connect(&m_model, &PaletteModel::queryChanged, this, [this] {
        if (m_search->text() != m_model.query())
            m_search->setText(m_model.query());
    });
    connect(&m_model, &PaletteModel::visibleChanged, this, &PaletteView::updateBody);
    connect(&m_model, &PaletteModel::filterChanged, this, &PaletteView::updateChips);
    connect(&m_model, &PaletteModel::selectionChanged, this, &PaletteView::updateSelection);
    connect(&m_model, &PaletteModel::focusRequested, this, [this] {
        QTimer::singleShot(50, m_search, [this] { m_search->setFocus(Qt::OtherFocusReason); });
    });
    connect(&m_store, &HistoryStore::itemsChanged, this, &PaletteView::updateChips);
    connect(&m_l10n, &L10n::languageChanged, this, &PaletteView::retranslate);
    connect(&m_settings, &AppSettings::changed, this, [this](const QString &key) {
        if (key == QLatin1String("copyInsteadOfPaste"))
            retranslate();
    });
    updateSymbols();
    retranslate();
    updateBody();
}

void PaletteView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) { // light to dark or back
        updateSymbols();
        updateBody();
    }
}

void PaletteView::updateSymbols()
{
    const QColor secondary = palette().color(QPalette::PlaceholderText);
    m_glass->setPixmap(Symbols::pixmap(QStringLiteral("magnifyingglass"), secondary, 16, devicePixelRatioF()));
    const qsizetype pinned = PaletteModel::Filter::cycle().indexOf(PaletteModel::Filter::pinned());
    m_chips[pinned]->setIcon(Symbols::icon(QStringLiteral("pin.fill"), secondary, m_chips[pinned]->iconSize().width()));
}

void PaletteView::retranslate()
{
    m_search->setPlaceholderText(m_l10n.string(QStringLiteral("palette.searchPlaceholder")));
    const QString paste = m_l10n.string(QStringLiteral("hint.paste"));
    const QString copy = m_l10n.string(QStringLiteral("hint.copy"));
    const bool copyFirst = m_settings.copyInsteadOfPaste();
    const QStringList texts{
        QStringLiteral("↩  ") + (copyFirst ? copy : paste),
        QStringLiteral("Alt+↩  ") + m_l10n.string(QStringLiteral("hint.plain")),
        QStringLiteral("Ctrl+↩  ") + (copyFirst ? paste : copy),
        QStringLiteral("Ctrl+P  ") + m_l10n.string(QStringLiteral("hint.pin")),
        QStringLiteral("Ctrl+⌫  ") + m_l10n.string(QStringLiteral("hint.delete")),
        QStringLiteral("⇥  ") + m_l10n.string(QStringLiteral("hint.filter")),
    };
    for (int i = 0; i < m_hints.size(); ++i)
        m_hints[i]->setText(texts[i]);
    updateChips();
    updateBody();
    m_list->viewport()->update();
    m_preview->setItem(m_model.selectedItem());
}

QString PaletteView::chipText(const PaletteModel::Filter &filter) const
{
    const qsizetype count = m_model.count(filter);
    const QString label = m_l10n.string(filterKey(filter));
    return count >= 1 ? QStringLiteral("%1 %2").arg(label).arg(count) : label;
}

void PaletteView::updateChips()
{
    const QList<PaletteModel::Filter> &order = PaletteModel::Filter::cycle();
    for (int i = 0; i < m_chips.size(); ++i) {
        m_chips[i]->setText(chipText(order[i]));
        m_chips[i]->setChecked(order[i] == m_model.filter());
    }
}

PaletteView::Body PaletteView::body() const
{
    if (m_store.items().isEmpty())
        return Body::empty;
    return m_model.visible().isEmpty() ? Body::noResults : Body::list;
}

QString PaletteView::bodyTitle() const
{
    return m_body->currentIndex() == 0 ? m_stateTitle->text() : QString();
}

void PaletteView::updateBody()
{
    const Body state = body();
    const bool empty = state == Body::empty;
    if (state != Body::list) {
        m_stateSymbol->setPixmap(Symbols::pixmap(empty ? QStringLiteral("doc.on.clipboard") : QStringLiteral("magnifyingglass"),
                                                 palette().color(QPalette::PlaceholderText), 36, devicePixelRatioF()));
        m_stateTitle->setText(m_l10n.string(empty ? QStringLiteral("palette.emptyTitle") : QStringLiteral("palette.noResults")));
        // The empty history names the hot key that is set.
        m_stateText->setText(empty ? m_l10n.format(QStringLiteral("palette.emptyBody"),
                                                   GlobalHotKey::displayText(m_settings.hotKeyCombination()))
                                   : m_l10n.string(QStringLiteral("palette.noResultsBody")));
    }
    m_body->setCurrentIndex(state == Body::list ? 1 : 0);
    updateChips();
    updateSelection();
}

void PaletteView::updateSelection()
{
    if (const auto index = m_model.selectionIndex())
        m_list->scrollTo(m_listModel->index(int(*index)));
    m_list->viewport()->update();
    m_preview->setItem(m_model.selectedItem());
}

void PaletteView::paintEvent(QPaintEvent *)
{
    // The panel is translucent: a rounded, slightly see-through body with a thin border.
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    QPainterPath path;
    path.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 12, 12);
    QColor fill = palette().color(QPalette::Window);
    fill.setAlphaF(0.97f);
    p.fillPath(path, fill);
    p.setPen(QPen(palette().color(QPalette::Mid), 1));
    p.drawPath(path);
}

QStringList PaletteView::hints() const
{
    QStringList texts;
    for (const QLabel *hint : m_hints)
        texts << hint->text();
    return texts;
}

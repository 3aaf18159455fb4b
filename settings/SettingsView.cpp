// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/SettingsView.h"

#include "common/Symbols.h"
#include "common/ThinScrollBar.h"
#include "l10n/L10n.h"
#include "settings/PillControls.h"
#include "settings/SettingsRouter.h"
#include "settings/SettingsTabs.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPainter>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

namespace {
constexpr int chipSide = 24;
constexpr int contentMargin = 28;

QColor sidebarColour(const QPalette &palette)
{
    const QColor window = palette.color(QPalette::Window);
    return window.lightness() > 128 ? window.darker(104) : window.lighter(112);
}
} // namespace

// TesterModeIcon

TesterModeIcon::TesterModeIcon(int side, QWidget *parent)
    : QAbstractButton(parent)
    , m_side(side)
{
    setFixedSize(side, side);
    setFocusPolicy(Qt::NoFocus);
}

void TesterModeIcon::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    QIcon(QStringLiteral(":/com.norvane.Stashwell.svg")).paint(&p, rect());
}

// SidebarRow

SidebarRow::SidebarRow(SettingsTab tab, QWidget *parent)
    : QAbstractButton(parent)
    , m_tab(tab)
{
    setCursor(Qt::PointingHandCursor);
    setObjectName(SettingsTabs::rawValue(tab));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void SidebarRow::setSelected(bool selected)
{
    m_selected = selected;
    update();
}

QSize SidebarRow::sizeHint() const { return {SettingsView::sidebarWidth - 20, qMax(34, fontMetrics().height() + 16)}; }

void SidebarRow::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    if (m_selected) {
        QColor highlight = PillTheme::accent(palette());
        highlight.setAlphaF(0.16f);
        p.setPen(Qt::NoPen);
        p.setBrush(highlight);
        p.drawRoundedRect(QRectF(rect()), 8, 8);
    } else if (underMouse()) {
        QColor hover = palette().color(QPalette::WindowText);
        hover.setAlphaF(0.05f);
        p.setPen(Qt::NoPen);
        p.setBrush(hover);
        p.drawRoundedRect(QRectF(rect()), 8, 8);
    }
    // The chip, as IconChip draws it.
    const QRectF chip(10, (height() - chipSide) / 2.0, chipSide, chipSide);
    const auto [top, bottom] = SettingsTabs::gradient(m_tab);
    QLinearGradient fill(chip.topLeft(), chip.bottomLeft());
    fill.setColorAt(0, top);
    fill.setColorAt(1, bottom);
    p.setPen(Qt::NoPen);
    p.setBrush(fill);
    p.drawRoundedRect(chip, 6, 6);
    const int glyph = 15;
    p.drawPixmap(QPointF(chip.center().x() - glyph / 2.0, chip.center().y() - glyph / 2.0),
                 Symbols::pixmap(SettingsTabs::symbol(m_tab), Qt::white, glyph, devicePixelRatioF()));
    QFont f = font();
    f.setWeight(m_selected ? QFont::DemiBold : QFont::Normal);
    p.setFont(f);
    p.setPen(palette().color(QPalette::WindowText));
    const QRect label = rect().adjusted(10 + chipSide + 10, 0, -8, 0);
    p.drawText(label, Qt::AlignVCenter | Qt::AlignLeft,
               QFontMetrics(f).elidedText(text(), Qt::ElideRight, label.width()));
}

// SettingsView

SettingsView::SettingsView(SettingsServices &services, SettingsRouter &router, QWidget *parent)
    : QWidget(parent)
    , m_services(services)
    , m_router(router)
{
    auto *split = new QHBoxLayout(this);
    split->setContentsMargins(0, 0, 0, 0);
    split->setSpacing(0);
    split->addWidget(buildSidebar());
    split->addWidget(buildContentPane(), 1);
    retranslate();
    showTab(router.selectedTab());
    connect(&router, &SettingsRouter::selectedTabChanged, this, &SettingsView::showTab);
    // Queued: the language picker that caused the change lives in the page being rebuilt.
    connect(&services.l10n, &L10n::languageChanged, this, &SettingsView::retranslate, Qt::QueuedConnection);
}

QWidget *SettingsView::buildSidebar()
{
    auto *sidebar = new QWidget(this);
    sidebar->setObjectName(QStringLiteral("sidebar"));
    sidebar->setFixedWidth(sidebarWidth);
    sidebar->setAutoFillBackground(true);
    QPalette palette = sidebar->palette();
    palette.setColor(QPalette::Window, sidebarColour(palette));
    sidebar->setPalette(palette);

    auto *column = new QVBoxLayout(sidebar);
    column->setContentsMargins(10, 20, 10, 16);
    column->setSpacing(2);
    auto *header = new QHBoxLayout;
    header->setContentsMargins(8, 0, 0, 14);
    header->setSpacing(10);
    m_icon = new TesterModeIcon(32, sidebar);
    connect(m_icon, &QAbstractButton::clicked, this, [this] {
        if (m_services.onIconClicked)
            m_services.onIconClicked();
    });
    m_heading = new QLabel(sidebar);
    m_heading->setFont(SettingsText::scaled(m_heading->font(), 1.25, QFont::Bold));
    header->addWidget(m_icon);
    header->addWidget(m_heading, 1);
    column->addLayout(header);
    for (SettingsTab tab : SettingsTabs::allCases()) {
        auto *row = new SidebarRow(tab, sidebar);
        connect(row, &QAbstractButton::clicked, this, [this, tab] { m_router.setSelectedTab(tab); });
        m_rows.append(row);
        column->addWidget(row);
    }
    column->addStretch(1);
    return sidebar;
}

QWidget *SettingsView::buildContentPane()
{
    auto *pane = new QWidget(this);
    auto *column = new QVBoxLayout(pane);
    column->setContentsMargins(0, 22, 0, 0);
    column->setSpacing(0);
    m_title = new QLabel(pane);
    m_title->setObjectName(QStringLiteral("tabTitle"));
    m_title->setFont(SettingsText::scaled(m_title->font(), 1.6, QFont::Bold));
    m_title->setContentsMargins(contentMargin, 0, contentMargin, 0);
    m_subtitle = SettingsText::secondary(QString(), 0.95, pane);
    m_subtitle->setObjectName(QStringLiteral("tabSubtitle"));
    m_subtitle->setContentsMargins(contentMargin, 2, contentMargin, 14);
    column->addWidget(m_title);
    column->addWidget(m_subtitle);

    m_scroll = new QScrollArea(pane);
    m_scroll->setFrameShape(QFrame::NoFrame);
    m_scroll->setWidgetResizable(true);
    m_scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    ThinScrollBar::install(m_scroll);
    m_scroll->viewport()->setAutoFillBackground(false);
    column->addWidget(m_scroll, 1);
    return pane;
}

void SettingsView::showTab(SettingsTab tab)
{
    m_shownTab = tab;
    for (SidebarRow *row : m_rows)
        row->setSelected(row->tab() == tab);
    m_title->setText(m_services.l10n.string(SettingsTabs::titleKey(tab)));
    m_subtitle->setText(m_services.l10n.string(SettingsTabs::subtitleKey(tab)));

    auto *holder = new QWidget;
    holder->setAutoFillBackground(false);
    auto *margins = new QVBoxLayout(holder);
    margins->setContentsMargins(contentMargin, 0, contentMargin, 24);
    m_page = SettingsTabPages::make(tab, m_services, holder);
    margins->addWidget(m_page);
    const int scrolled = m_scroll->verticalScrollBar()->value();
    const bool sameTab = m_scroll->widget() && m_scroll->widget()->property("tab").toInt() == int(tab);
    holder->setProperty("tab", int(tab));
    if (QWidget *old = m_scroll->takeWidget()) {
        old->hide();
        old->deleteLater(); // a control of the old page may be mid-signal
    }
    m_scroll->setWidget(holder);
    if (sameTab)
        m_scroll->verticalScrollBar()->setValue(scrolled);
}

void SettingsView::retranslate()
{
    L10n &l10n = m_services.l10n;
    m_heading->setText(l10n.string(QStringLiteral("settings.title")));
    window()->setWindowTitle(l10n.string(QStringLiteral("settings.title")));
    for (SidebarRow *row : m_rows) {
        row->setText(l10n.string(SettingsTabs::titleKey(row->tab())));
        row->setAccessibleName(row->text());
    }
    if (m_page)
        showTab(m_shownTab);
}

namespace SettingsTabPages {
SettingsTabPage *make(SettingsTab tab, SettingsServices &services, QWidget *parent)
{
    switch (tab) {
    case SettingsTab::general: return new GeneralTab(services, parent);
    case SettingsTab::history: return new HistoryTab(services, parent);
    case SettingsTab::privacy: return new PrivacyTab(services, parent);
    case SettingsTab::permissions: return new PermissionsTab(services, parent);
    case SettingsTab::account: return new AccountTab(services, parent);
    case SettingsTab::about: return new AboutTab(services, parent);
    }
    Q_UNREACHABLE();
}
} // namespace SettingsTabPages

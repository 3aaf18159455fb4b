// SPDX-License-Identifier: GPL-3.0-or-later
#include "onboarding/OKViews.h"

#include "common/Symbols.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QPainter>
#include <QVBoxLayout>

namespace {

// A page title ("title": tests look for it).
QLabel *centred(const QString &text, qreal scale, QFont::Weight weight, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setObjectName(QStringLiteral("title"));
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignHCenter);
    label->setFont(SettingsText::scaled(label->font(), scale, weight));
    return label;
}

QLabel *centredBody(const QString &text, QWidget *parent)
{
    QLabel *label = SettingsText::secondary(text, 0.98, parent);
    label->setAlignment(Qt::AlignHCenter);
    return label;
}

void paintPanel(QWidget *w)
{
    QPainter p(w);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(PillTheme::outline(w->palette()), 1));
    p.setBrush(PillTheme::fill(w->palette()));
    p.drawRoundedRect(QRectF(w->rect()).adjusted(0.5, 0.5, -0.5, -0.5), 10, 10);
}

} // namespace

OKAppIcon::OKAppIcon(int size, QWidget *parent)
    : QLabel(parent)
{
    setFixedSize(size, size);
    setPixmap(QIcon(QStringLiteral(":/com.norvane.Stashwell.svg")).pixmap(QSize(size, size), devicePixelRatioF()));
}

OKWelcomeHeader::OKWelcomeHeader(const QString &title, const QString &body, QWidget *parent)
    : QWidget(parent)
{
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 12, 0, 0);
    column->setSpacing(10);
    column->addWidget(new OKAppIcon(96, this), 0, Qt::AlignHCenter);
    column->addSpacing(6);
    column->addWidget(centred(title, 1.9, QFont::Bold, this));
    column->addWidget(centredBody(body, this));
}

OKStepHeader::OKStepHeader(const QString &title, const QString &body, QWidget *parent)
    : QWidget(parent)
{
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 8, 0, 0);
    column->setSpacing(8);
    column->addWidget(centred(title, 1.45, QFont::Bold, this));
    if (!body.isEmpty())
        column->addWidget(centredBody(body, this));
}

OKReadyHeader::OKReadyHeader(const QString &title, const QString &body, QWidget *parent)
    : QWidget(parent)
{
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 8, 0, 0);
    column->setSpacing(10);
    auto *check = new QLabel(this);
    check->setPixmap(Symbols::pixmap(QStringLiteral("checkmark.seal.fill"), QColor(0x34, 0xC7, 0x59), 52,
                                     devicePixelRatioF()));
    column->addWidget(check, 0, Qt::AlignHCenter);
    column->addWidget(centred(title, 1.45, QFont::Bold, this));
    if (!body.isEmpty())
        column->addWidget(centredBody(body, this));
}

// OKPermissionRow

OKPermissionRow::OKPermissionRow(const QString &icon, Texts texts, std::function<bool()> granted, QWidget *parent)
    : QFrame(parent)
    , m_texts(std::move(texts))
    , m_granted(std::move(granted))
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(14, 12, 14, 12);
    layout->setSpacing(12);
    layout->addWidget(new IconChip(icon, {QColor(0xFFB340), QColor(0xFF9500)}, 34, this), 0, Qt::AlignTop);
    auto *column = new QVBoxLayout;
    column->setSpacing(2);
    auto *titleLabel = new QLabel(m_texts.title, this);
    titleLabel->setFont(SettingsText::scaled(titleLabel->font(), 1.0, QFont::DemiBold));
    column->addWidget(titleLabel);
    m_body = SettingsText::secondary(m_texts.body, 0.9, this);
    column->addWidget(m_body);
    auto *controls = new QHBoxLayout;
    controls->setContentsMargins(0, 8, 0, 0);
    m_button = new MSPillButton(m_texts.recheck, true, [this] { refresh(); }, this);
    m_button->setObjectName(QStringLiteral("recheckButton"));
    m_badge = new PermissionStatusBadge(true, m_texts.granted, this);
    m_badge->setObjectName(QStringLiteral("grantedBadge"));
    controls->addWidget(m_button);
    controls->addWidget(m_badge);
    controls->addStretch(1);
    column->addLayout(controls);
    layout->addLayout(column, 1);
    refresh();
}

void OKPermissionRow::refresh()
{
    m_showsGranted = m_granted && m_granted();
    m_body->setText(m_showsGranted ? m_texts.body : m_texts.missingBody);
    m_button->setVisible(!m_showsGranted);
    m_badge->setVisible(m_showsGranted);
}

void OKPermissionRow::paintEvent(QPaintEvent *) { paintPanel(this); }

// OKHintRow

OKHintRow::OKHintRow(const QStringList &keys, const QString &label, const QString &icon, QWidget *parent)
    : QWidget(parent)
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    if (!icon.isEmpty()) {
        auto *glyph = new QLabel(this);
        glyph->setPixmap(Symbols::pixmap(icon, PillTheme::secondaryText(palette()), 16, devicePixelRatioF()));
        layout->addWidget(glyph);
    }
    auto *caps = new QWidget(this);
    auto *capsLayout = new QHBoxLayout(caps);
    capsLayout->setContentsMargins(0, 0, 0, 0);
    capsLayout->setSpacing(4);
    for (const QString &key : keys)
        capsLayout->addWidget(new OKKeycap(key, caps));
    capsLayout->addStretch(1);
    caps->setMinimumWidth(128); // labels line up unless a hot key needs more caps
    layout->addWidget(caps);
    auto *text = new QLabel(label, this);
    text->setWordWrap(true);
    layout->addWidget(text, 1);
}

// OKDemoCanvas

OKDemoCanvas::OKDemoCanvas(int height, const QString &searchPlaceholder, QWidget *parent)
    : QWidget(parent)
    , m_placeholder(searchPlaceholder)
{
    setFixedHeight(height);
}

void OKDemoCanvas::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QPalette &pal = palette();
    const QRectF panel = QRectF(rect()).adjusted(6, 4, -6, -6);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0, 0, 0, 30));
    p.drawRoundedRect(panel.translated(0, 3), 12, 12);
    p.setPen(QPen(PillTheme::outline(pal), 1));
    p.setBrush(PillTheme::fill(pal));
    p.drawRoundedRect(panel, 12, 12);

    // Search field.
    const QRectF field(panel.left() + 12, panel.top() + 10, panel.width() - 24, 26);
    QColor fieldColour = pal.color(QPalette::WindowText);
    fieldColour.setAlphaF(0.06f);
    p.setPen(Qt::NoPen);
    p.setBrush(fieldColour);
    p.drawRoundedRect(field, 7, 7);
    const QColor secondary = PillTheme::secondaryText(pal);
    p.drawPixmap(QPointF(field.left() + 8, field.center().y() - 7),
                 Symbols::pixmap(QStringLiteral("magnifyingglass"), secondary, 14, devicePixelRatioF()));
    QFont small = SettingsText::scaled(font(), 0.85);
    p.setFont(small);
    p.setPen(secondary);
    const QRectF placeholder = field.adjusted(28, 0, -8, 0);
    p.drawText(placeholder, Qt::AlignVCenter | Qt::AlignLeft,
               QFontMetrics(small).elidedText(m_placeholder, Qt::ElideRight, int(placeholder.width())));

    // Rows: the first one selected.
    const QStringList symbols{QStringLiteral("doc.text"), QStringLiteral("link"), QStringLiteral("photo")};
    const qreal widths[] = {0.62, 0.48, 0.36};
    qreal y = field.bottom() + 10;
    const qreal rowHeight = qMin<qreal>(30, (panel.bottom() - 8 - y) / 3);
    for (int i = 0; i < 3 && rowHeight > 12; ++i, y += rowHeight) {
        const QRectF row(panel.left() + 8, y, panel.width() - 16, rowHeight - 4);
        if (i == 0) {
            QColor selected = PillTheme::accent(pal);
            selected.setAlphaF(0.18f);
            p.setPen(Qt::NoPen);
            p.setBrush(selected);
            p.drawRoundedRect(row, 6, 6);
        }
        p.drawPixmap(QPointF(row.left() + 8, row.center().y() - 7),
                     Symbols::pixmap(symbols[i], i == 0 ? PillTheme::accent(pal) : secondary, 14, devicePixelRatioF()));
        QColor bar = pal.color(QPalette::WindowText);
        bar.setAlphaF(i == 0 ? 0.45f : 0.22f);
        p.setPen(Qt::NoPen);
        p.setBrush(bar);
        p.drawRoundedRect(QRectF(row.left() + 32, row.center().y() - 3, (row.width() - 48) * widths[i], 6), 3, 3);
    }
}

// OKConsentRow

OKConsentRow::OKConsentRow(const QString &title, const QString &body, bool isOn, std::function<void(bool)> setOn,
                           QWidget *parent)
    : QFrame(parent)
    , m_switch(new PillSwitch(isOn, this))
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(14, 12, 14, 12);
    layout->setSpacing(14);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(2);
    auto *titleLabel = new QLabel(title, this);
    titleLabel->setWordWrap(true);
    titleLabel->setFont(SettingsText::scaled(titleLabel->font(), 1.0, QFont::DemiBold));
    texts->addWidget(titleLabel);
    texts->addWidget(SettingsText::secondary(body, 0.9, this));
    layout->addLayout(texts, 1);
    layout->addWidget(m_switch, 0, Qt::AlignVCenter);
    m_switch->setAccessibleName(title);
    connect(m_switch, &QAbstractButton::toggled, this, [setOn = std::move(setOn)](bool on) { setOn(on); });
}

void OKConsentRow::paintEvent(QPaintEvent *) { paintPanel(this); }

// OKPrimaryButton

OKPrimaryButton::OKPrimaryButton(const QString &title, std::function<void()> action, QWidget *parent)
    : MSPillButton(title, true, std::move(action), parent)
{
}

QSize OKPrimaryButton::sizeHint() const
{
    const QSize hint = MSPillButton::sizeHint();
    return {qMax(hint.width(), 120), hint.height() + 4};
}

// OKWaitingDots

OKWaitingDots::OKWaitingDots(const QString &text, QWidget *parent)
    : QWidget(parent)
    , m_label(SettingsText::secondary(text, 0.88, this))
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(30, 0, 0, 0); // room for the dots
    layout->addWidget(m_label, 1);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        m_phase = (m_phase + 1) % 3;
        update();
    });
    m_timer.start(450);
}

void OKWaitingDots::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const qreal y = height() / 2.0;
    for (int i = 0; i < 3; ++i) {
        QColor dot = PillTheme::accent(palette());
        dot.setAlphaF(i == m_phase ? 1.0f : 0.3f);
        p.setPen(Qt::NoPen);
        p.setBrush(dot);
        p.drawEllipse(QPointF(5 + i * 8, y), 2.6, 2.6);
    }
}

// OKPageDots

OKPageDots::OKPageDots(int index, int count, QWidget *parent)
    : QWidget(parent)
    , m_index(index)
    , m_count(count)
{
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void OKPageDots::set(int index, int count)
{
    m_index = index;
    m_count = count;
    updateGeometry();
    update();
}

QSize OKPageDots::sizeHint() const { return {qMax(0, m_count * 14 - 6), 8}; }

void OKPageDots::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    for (int i = 0; i < m_count; ++i) {
        QColor dot = i == m_index ? PillTheme::accent(palette()) : palette().color(QPalette::WindowText);
        if (i != m_index)
            dot.setAlphaF(0.2f);
        p.setBrush(dot);
        p.drawEllipse(QRectF(i * 14, 0, 8, 8));
    }
}

// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/SettingsWidgets.h"

#include "common/Symbols.h"
#include "settings/PillControls.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>

namespace SettingsText {

QFont scaled(const QFont &font, qreal scale, QFont::Weight weight)
{
    QFont f = font;
    if (f.pointSizeF() > 0)
        f.setPointSizeF(f.pointSizeF() * scale);
    else
        f.setPixelSize(qRound(f.pixelSize() * scale));
    f.setWeight(weight);
    return f;
}

QLabel *secondary(const QString &text, qreal scale, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setWordWrap(true);
    label->setFont(scaled(label->font(), scale));
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, PillTheme::secondaryText(palette));
    label->setPalette(palette);
    label->setTextInteractionFlags(Qt::NoTextInteraction);
    return label;
}

} // namespace SettingsText

// RowDivider

RowDivider::RowDivider(QWidget *parent)
    : QWidget(parent)
{
    setFixedHeight(1);
}

void RowDivider::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    QColor c = palette().color(QPalette::WindowText);
    c.setAlphaF(0.09f);
    p.fillRect(rect().adjusted(SettingsMetrics::rowHorizontal, 0, -SettingsMetrics::rowHorizontal, 0), c);
}

// SettingsCard

SettingsCard::SettingsCard(QWidget *parent)
    : QFrame(parent)
    , m_layout(new QVBoxLayout(this))
{
    m_layout->setContentsMargins(0, 2, 0, 2);
    m_layout->setSpacing(0);
}

void SettingsCard::addRow(QWidget *row)
{
    if (m_rows++ > 0)
        m_layout->addWidget(new RowDivider(this));
    m_layout->addWidget(row);
}

void SettingsCard::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF r = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    p.setPen(QPen(PillTheme::outline(palette()), 1));
    p.setBrush(PillTheme::fill(palette()));
    p.drawRoundedRect(r, SettingsMetrics::cardRadius, SettingsMetrics::cardRadius);
}

// SettingsRow

SettingsRow::SettingsRow(const QString &title, const QString &subtitle, QWidget *control, QFont::Weight titleWeight,
                         QWidget *parent)
    : QWidget(parent)
    , m_layout(new QHBoxLayout(this))
    , m_texts(new QVBoxLayout)
    , m_title(new QLabel(title, this))
    , m_subtitle(SettingsText::secondary(subtitle, 0.92, this))
    , m_control(control)
{
    m_layout->setContentsMargins(SettingsMetrics::rowHorizontal, SettingsMetrics::rowVertical,
                                 SettingsMetrics::rowHorizontal, SettingsMetrics::rowVertical);
    m_layout->setSpacing(SettingsMetrics::controlGap);
    m_title->setWordWrap(true);
    m_title->setFont(SettingsText::scaled(m_title->font(), 1.0, titleWeight));
    m_texts->setSpacing(2);
    m_texts->addWidget(m_title);
    m_texts->addWidget(m_subtitle);
    m_subtitle->setVisible(!subtitle.isEmpty());
    m_layout->addLayout(m_texts, 1);
    if (control) {
        control->setParent(this);
        m_layout->addWidget(control, 0, Qt::AlignVCenter | Qt::AlignRight);
        if (qobject_cast<QAbstractButton *>(control))
            control->setAccessibleName(title);
    }
}

void SettingsRow::setSubtitle(const QString &subtitle)
{
    m_subtitle->setText(subtitle);
    m_subtitle->setVisible(!subtitle.isEmpty());
}

void SettingsRow::setRowEnabled(bool enabled)
{
    setEnabled(enabled);
    // Dim the texts too: a disabled QLabel keeps its colour in many styles.
    for (QLabel *label : {m_title, m_subtitle}) {
        QPalette palette = label->palette();
        QColor c = label == m_title ? this->palette().color(QPalette::WindowText)
                                    : PillTheme::secondaryText(this->palette());
        if (!enabled)
            c.setAlphaF(c.alphaF() * 0.45f);
        palette.setColor(QPalette::Disabled, QPalette::WindowText, c);
        palette.setColor(QPalette::Active, QPalette::WindowText, c);
        palette.setColor(QPalette::Inactive, QPalette::WindowText, c);
        label->setPalette(palette);
    }
}

void SettingsRow::addBelow(QWidget *widget, Qt::Alignment alignment)
{
    widget->setParent(this);
    m_texts->addWidget(widget, 0, alignment);
}

void SettingsRow::setLeading(QWidget *widget)
{
    widget->setParent(this);
    m_layout->insertWidget(0, widget, 0, Qt::AlignVCenter);
    m_layout->setSpacing(12);
}

// FooterNote

FooterNote::FooterNote(const QString &text, const QColor &tint, QWidget *parent)
    : QLabel(text, parent)
{
    setWordWrap(true);
    setFont(SettingsText::scaled(font(), 0.9));
    setContentsMargins(SettingsMetrics::rowHorizontal - 2, 0, SettingsMetrics::rowHorizontal - 2, 0);
    QPalette p = palette();
    p.setColor(QPalette::WindowText, tint.isValid() ? tint : PillTheme::secondaryText(p));
    setPalette(p);
}

// KeyCap

KeyCap::KeyCap(const QString &text, QWidget *parent)
    : QWidget(parent)
    , m_text(text)
{
    setFont(SettingsText::scaled(font(), 0.92, QFont::DemiBold));
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setAccessibleName(text);
}

QSize KeyCap::sizeHint() const
{
    const int h = fontMetrics().height() + 10;
    return {qMax(h, fontMetrics().horizontalAdvance(m_text) + 16), h + 2};
}

void KeyCap::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF body = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -2.5);
    QColor shadow = palette().color(QPalette::WindowText);
    shadow.setAlphaF(0.14f);
    p.setPen(Qt::NoPen);
    p.setBrush(shadow);
    p.drawRoundedRect(body.translated(0, 2), 6, 6);
    p.setPen(QPen(PillTheme::outline(palette()), 1));
    p.setBrush(PillTheme::fill(palette()));
    p.drawRoundedRect(body, 6, 6);
    p.setPen(palette().color(QPalette::WindowText));
    p.drawText(body, Qt::AlignCenter, m_text);
}

// KeyComboChips

KeyComboChips::KeyComboChips(const QStringList &parts, QWidget *parent)
    : QWidget(parent)
    , m_parts(parts)
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    for (const QString &part : parts)
        layout->addWidget(new KeyCap(part, this));
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

// StatusBadge

StatusBadge::StatusBadge(const QString &symbol, const QString &text, const QColor &tint, QWidget *parent)
    : QWidget(parent)
    , m_symbol(symbol)
    , m_text(text)
    , m_tint(tint)
{
    setFont(SettingsText::scaled(font(), 0.92, QFont::DemiBold));
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setAccessibleName(text);
}

QSize StatusBadge::sizeHint() const
{
    const int icon = m_symbol.isEmpty() ? 0 : 14 + 6;
    return {fontMetrics().horizontalAdvance(m_text) + icon + 22, 24};
}

void StatusBadge::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    QColor body = m_tint;
    body.setAlphaF(0.14f);
    const QRectF r = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    p.setPen(Qt::NoPen);
    p.setBrush(body);
    p.drawRoundedRect(r, r.height() / 2, r.height() / 2);
    int x = 11;
    if (!m_symbol.isEmpty()) {
        p.drawPixmap(QPoint(x, (height() - 14) / 2), Symbols::pixmap(m_symbol, m_tint, 14, devicePixelRatioF()));
        x += 14 + 6;
    }
    // The word a shade deeper than the tint on light backgrounds, a shade brighter on dark ones.
    const bool dark = palette().color(QPalette::Window).lightness() < 128;
    p.setPen(dark ? m_tint.lighter(135) : m_tint.darker(115));
    p.drawText(QRect(x, 0, width() - x - 10, height()), Qt::AlignVCenter | Qt::AlignLeft, m_text);
}

PermissionStatusBadge::PermissionStatusBadge(bool granted, const QString &text, QWidget *parent)
    : StatusBadge(granted ? QStringLiteral("checkmark.seal.fill") : QStringLiteral("xmark"), text,
                  granted ? QColor(0x1E, 0x9E, 0x4A) : PillTheme::warning(), parent)
    , m_granted(granted)
{
}

// IconChip

IconChip::IconChip(const QString &symbol, const std::pair<QColor, QColor> &gradient, int side, QWidget *parent)
    : QWidget(parent)
    , m_symbol(symbol)
    , m_gradient(gradient)
{
    setFixedSize(side, side);
}

void IconChip::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    QLinearGradient fill(0, 0, 0, height());
    fill.setColorAt(0, m_gradient.first);
    fill.setColorAt(1, m_gradient.second);
    p.setPen(Qt::NoPen);
    p.setBrush(fill);
    const qreal radius = width() * 0.24;
    p.drawRoundedRect(QRectF(rect()), radius, radius);
    const int glyph = qRound(width() * 0.62);
    p.drawPixmap(QPoint((width() - glyph) / 2, (height() - glyph) / 2),
                 Symbols::pixmap(m_symbol, Qt::white, glyph, devicePixelRatioF()));
}

// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/PillControls.h"

#include "common/Symbols.h"

#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

namespace PillTheme {

QColor accent(const QPalette &palette) { return palette.color(QPalette::Highlight); }

QColor outline(const QPalette &palette)
{
    QColor c = palette.color(QPalette::WindowText);
    c.setAlphaF(0.16f);
    return c;
}

QColor fill(const QPalette &palette)
{
    const QColor base = palette.color(QPalette::Base);
    return base.lightness() > 128 ? base : base.lighter(140);
}

QColor secondaryText(const QPalette &palette)
{
    QColor c = palette.color(QPalette::WindowText);
    c.setAlphaF(0.62f);
    return c;
}

QColor warning() { return QColor(0xC9, 0x6A, 0x00); }

} // namespace PillTheme

namespace {

QRectF capsule(const QWidget *w) { return QRectF(w->rect()).adjusted(0.5, 0.5, -0.5, -0.5); }

void drawOutlinedCapsule(QPainter &p, const QWidget *w, bool hovered)
{
    const QRectF r = capsule(w);
    const qreal radius = r.height() / 2;
    QColor body = PillTheme::fill(w->palette());
    if (hovered && w->isEnabled())
        body = body.darker(104);
    p.setPen(QPen(PillTheme::outline(w->palette()), 1));
    p.setBrush(body);
    p.drawRoundedRect(r, radius, radius);
}

QColor textColour(const QWidget *w)
{
    QColor c = w->palette().color(QPalette::ButtonText);
    if (!w->isEnabled())
        c.setAlphaF(0.4f);
    return c;
}

} // namespace

// PillButton

PillButton::PillButton(const QString &titleText, bool filled, QWidget *parent)
    : QAbstractButton(parent)
    , m_filled(filled)
{
    setText(titleText);
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setAttribute(Qt::WA_Hover);
}

QSize PillButton::sizeHint() const
{
    QFont f = font();
    f.setWeight(QFont::DemiBold);
    return {QFontMetrics(f).horizontalAdvance(text()) + 2 * PillTheme::horizontalPadding, PillTheme::height};
}

void PillButton::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    QFont f = font();
    f.setWeight(QFont::DemiBold);
    p.setFont(f);
    if (m_filled) {
        QColor body = PillTheme::accent(palette());
        if (!isEnabled())
            body.setAlphaF(0.45f);
        else if (isDown())
            body = body.darker(115);
        else if (underMouse())
            body = body.lighter(108);
        const QRectF r = capsule(this);
        p.setPen(Qt::NoPen);
        p.setBrush(body);
        p.drawRoundedRect(r, r.height() / 2, r.height() / 2);
        p.setPen(palette().color(QPalette::HighlightedText));
    } else {
        drawOutlinedCapsule(p, this, underMouse() || isDown());
        p.setPen(textColour(this));
    }
    p.drawText(rect(), Qt::AlignCenter, text());
    if (hasFocus()) {
        p.setPen(QPen(PillTheme::accent(palette()), 2));
        p.setBrush(Qt::NoBrush);
        const QRectF r = QRectF(rect()).adjusted(1, 1, -1, -1);
        p.drawRoundedRect(r, r.height() / 2, r.height() / 2);
    }
}

MSPillButton::MSPillButton(const QString &title, bool filled, std::function<void()> action, QWidget *parent)
    : PillButton(title, filled, parent)
{
    connect(this, &QAbstractButton::clicked, this, [action = std::move(action)] {
        if (action)
            action();
    });
}

// PulldownPill

PulldownPill::PulldownPill(QWidget *parent)
    : QAbstractButton(parent)
{
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setAttribute(Qt::WA_Hover);
}

namespace {
int pulldownWidth(int labelWidth) { return labelWidth + 2 * PillTheme::horizontalPadding + PillTheme::chevronSize + 12; }
} // namespace

QSize PulldownPill::sizeHint() const
{
    return {pulldownWidth(fontMetrics().horizontalAdvance(text())), PillTheme::height};
}

void PulldownPill::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    drawOutlinedCapsule(p, this, underMouse() || isDown());
    const QRect inner = rect().adjusted(PillTheme::horizontalPadding, 0, -PillTheme::horizontalPadding, 0);
    p.setPen(textColour(this));
    const QRect label = inner.adjusted(0, 0, -PillTheme::chevronSize - 8, 0);
    p.drawText(label, Qt::AlignVCenter | Qt::AlignLeft, fontMetrics().elidedText(text(), Qt::ElideRight, label.width() + 1));
    const int s = PillTheme::chevronSize;
    const QPixmap chevron =
        Symbols::pixmap(QStringLiteral("chevron.up.chevron.down"), PillTheme::secondaryText(palette()), s + 2,
                        devicePixelRatioF());
    p.drawPixmap(QPoint(inner.right() - s - 1, (height() - s - 2) / 2), chevron);
    if (hasFocus()) {
        p.setPen(QPen(PillTheme::accent(palette()), 2));
        p.setBrush(Qt::NoBrush);
        const QRectF r = QRectF(rect()).adjusted(1, 1, -1, -1);
        p.drawRoundedRect(r, r.height() / 2, r.height() / 2);
    }
}

// MSDropdown

MSDropdown::MSDropdown(Options options, QVariant selected, std::function<void(const QVariant &)> onSelect,
                       QWidget *parent)
    : PulldownPill(parent)
    , m_options(std::move(options))
    , m_onSelect(std::move(onSelect))
{
    setSelected(selected);
    connect(this, &QAbstractButton::clicked, this, &MSDropdown::openMenu);
}

void MSDropdown::setSelected(const QVariant &value)
{
    m_selected = value;
    QString label;
    for (const auto &[optionValue, optionLabel] : m_options)
        if (optionValue == value)
            label = optionLabel;
    setText(label);
    updateGeometry();
    update();
}

QSize MSDropdown::sizeHint() const
{
    int widest = fontMetrics().horizontalAdvance(text());
    for (const auto &option : m_options)
        widest = qMax(widest, fontMetrics().horizontalAdvance(option.second));
    return {pulldownWidth(widest), PillTheme::height};
}

void MSDropdown::choose(const QVariant &value)
{
    setSelected(value);
    if (m_onSelect)
        m_onSelect(value);
}

void MSDropdown::openMenu()
{
    QMenu menu(this);
    for (const auto &[value, label] : m_options) {
        QAction *action = menu.addAction(label);
        action->setCheckable(true);
        action->setChecked(value == m_selected);
        action->setData(value);
    }
    menu.setMinimumWidth(width());
    if (QAction *chosen = menu.exec(mapToGlobal(QPoint(0, height() + 2))))
        choose(chosen->data());
}

// PillSwitch

PillSwitch::PillSwitch(bool on, QWidget *parent)
    : QAbstractButton(parent)
{
    setCheckable(true);
    setChecked(on);
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void PillSwitch::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF track = QRectF(rect()).adjusted(1, 1, -1, -1);
    QColor trackColour = isChecked() ? PillTheme::accent(palette()) : PillTheme::outline(palette()).darker(110);
    if (!isChecked())
        trackColour.setAlphaF(0.28f);
    if (!isEnabled())
        trackColour.setAlphaF(trackColour.alphaF() * 0.45f);
    p.setPen(Qt::NoPen);
    p.setBrush(trackColour);
    p.drawRoundedRect(track, track.height() / 2, track.height() / 2);
    const qreal d = track.height() - 4;
    const qreal x = isChecked() ? track.right() - 2 - d : track.left() + 2;
    p.setBrush(QColor(0, 0, 0, 40));
    p.drawEllipse(QRectF(x, track.top() + 2.6, d, d)); // soft shadow
    QColor knob(Qt::white);
    if (!isEnabled()) { // halfway to the window colour, so that it fades on dark themes too
        const QColor window = palette().color(QPalette::Window);
        knob.setRgb((255 + window.red()) / 2, (255 + window.green()) / 2, (255 + window.blue()) / 2);
    }
    p.setBrush(knob);
    p.drawEllipse(QRectF(x, track.top() + 2, d, d));
    if (hasFocus()) {
        p.setPen(QPen(PillTheme::accent(palette()), 1.5));
        p.setBrush(Qt::NoBrush);
        p.drawRoundedRect(track, track.height() / 2, track.height() / 2);
    }
}

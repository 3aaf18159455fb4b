// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/ThinScrollBar.h"

#include <QAbstractScrollArea>
#include <QCoreApplication>
#include <QPainter>
#include <QPointer>
#include <QProxyStyle>
#include <QStyleOptionSlider>

namespace {

// The application's style, except that a scroll bar is a knob on a groove as long as the bar:
// no arrow buttons take room or clicks, and the bar is `thickness` wide.
class KnobOnlyStyle : public QProxyStyle {
public:
    static constexpr int knobMinimum = 28;

    int pixelMetric(PixelMetric metric, const QStyleOption *option, const QWidget *widget) const override
    {
        if (metric == PM_ScrollBarExtent)
            return ThinScrollBar::thickness;
        if (metric == PM_ScrollBarSliderMin)
            return knobMinimum;
        return QProxyStyle::pixelMetric(metric, option, widget);
    }

    QRect subControlRect(ComplexControl control, const QStyleOptionComplex *option, SubControl part,
                         const QWidget *widget) const override
    {
        const auto *bar = qstyleoption_cast<const QStyleOptionSlider *>(option);
        if (control != CC_ScrollBar || !bar)
            return QProxyStyle::subControlRect(control, option, part, widget);
        const QRect groove = bar->rect;
        const int length = groove.height();
        const qint64 range = qint64(bar->maximum) - bar->minimum;
        const int knob = range <= 0 ? length
                                    : qBound(qMin(knobMinimum, length),
                                             int(length * qint64(bar->pageStep) / (range + bar->pageStep)), length);
        const int top = sliderPositionFromValue(bar->minimum, bar->maximum, bar->sliderPosition, length - knob,
                                                bar->upsideDown);
        switch (part) {
        case SC_ScrollBarGroove: return groove;
        case SC_ScrollBarSlider: return QRect(groove.left(), groove.top() + top, groove.width(), knob);
        case SC_ScrollBarSubPage: return QRect(groove.left(), groove.top(), groove.width(), top);
        case SC_ScrollBarAddPage:
            return QRect(groove.left(), groove.top() + top + knob, groove.width(), length - top - knob);
        default: return {}; // the arrow buttons and the first/last jumps are not there
        }
    }
};

// One for all bars, over a fresh instance of the application's style. It goes with the
// application, as the application's style does: a bar's own child would be deleted before the
// bar has let go of it.
QStyle *knobOnlyStyle()
{
    static QPointer<KnobOnlyStyle> style;
    if (!style) {
        style = new KnobOnlyStyle;
        style->setParent(QCoreApplication::instance());
    }
    return style;
}

} // namespace

ThinScrollBar::ThinScrollBar(QWidget *parent)
    : QScrollBar(Qt::Vertical, parent)
{
    setStyle(knobOnlyStyle());
    setAttribute(Qt::WA_OpaquePaintEvent, false);
    setAttribute(Qt::WA_Hover);
}

void ThinScrollBar::install(QAbstractScrollArea *area)
{
    area->setVerticalScrollBar(new ThinScrollBar(area));
}

void ThinScrollBar::paintEvent(QPaintEvent *)
{
    if (maximum() <= minimum())
        return;
    QStyleOptionSlider option;
    initStyleOption(&option);
    const QRect slider = style()->subControlRect(QStyle::CC_ScrollBar, &option, QStyle::SC_ScrollBarSlider, this);
    const bool active = underMouse() || isSliderDown();
    const int side = active ? knobWidth + 2 : knobWidth;
    // The knob keeps to the outer edge (right, or left in a right-to-left layout).
    const int left = isRightToLeft() ? edgeGap : width() - edgeGap - side;
    const QRectF knob(left, slider.top() + 2, side, slider.height() - 4);
    QColor c = palette().color(QPalette::WindowText);
    c.setAlphaF(active ? 0.5f : 0.3f);
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    p.setBrush(c);
    p.drawRoundedRect(knob, side / 2.0, side / 2.0);
}

// SPDX-License-Identifier: GPL-3.0-or-later
#include "onboarding/OKRootView.h"

#include "onboarding/OKViews.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

OKRootView::OKRootView(QList<OKStep> steps, OKStrings strings, int startIndex, bool pinned, int maxContentHeight,
                       PollTimerFactory timers, QWidget *parent)
    : QWidget(parent)
    , m_steps(std::move(steps))
    , m_strings(std::move(strings))
    , m_pinned(pinned)
    , m_maxContentHeight(maxContentHeight)
    , m_timer(timers())
    , m_index(qBound(0, startIndex, qMax(0, int(m_steps.size()) - 1)))
{
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(OKMetrics::margin, 40, OKMetrics::margin, 22);
    column->setSpacing(0);
    m_pageArea = new QVBoxLayout;
    m_pageArea->setContentsMargins(0, 0, 0, 0);
    column->addLayout(m_pageArea);
    column->addStretch(1);
    column->addSpacing(22);
    m_footerRow = new QHBoxLayout;
    m_footerRow->setContentsMargins(0, 0, 0, 0);
    column->addLayout(m_footerRow);
    setFixedWidth(OKMetrics::width);

    arrive();
    m_timer->start(tickIntervalMs, [this] { tick(); });
}

bool OKRootView::isWaiting() const
{
    const OKStep &current = step();
    return current.kind == OKStep::Kind::permissions && !m_grantedOnArrival && current.requiredGranted &&
           !current.requiredGranted();
}

void OKRootView::tick()
{
    emit ticked();
    if (m_steps.isEmpty() || step().kind != OKStep::Kind::permissions)
        return;
    ++m_tick;
    if (!m_pinned && !m_grantedOnArrival && step().requiredGranted && step().requiredGranted()) {
        go(m_index + 1);
        return;
    }
    if (isWaiting() != (m_waiting != nullptr))
        rebuildFooter(); // granted or revoked meanwhile
}

void OKRootView::primary()
{
    advanceUnlessHeld(step().primaryAction);
}

void OKRootView::later()
{
    advanceUnlessHeld(step().secondaryAction);
}

void OKRootView::advanceUnlessHeld(const std::function<bool()> &action)
{
    if (action && !action())
        return;
    if (m_index + 1 >= count()) {
        if (onFinish)
            onFinish();
        return;
    }
    go(m_index + 1);
}

void OKRootView::back()
{
    if (m_index > 0)
        go(m_index - 1);
}

void OKRootView::go(int index)
{
    m_index = qBound(0, index, count() - 1);
    arrive();
}

void OKRootView::arrive()
{
    if (m_steps.isEmpty())
        return;
    const OKStep &current = step();
    if (current.kind == OKStep::Kind::permissions)
        m_grantedOnArrival = !current.requiredGranted || current.requiredGranted();
    refresh();
}

void OKRootView::refresh()
{
    if (m_steps.isEmpty())
        return;
    if (m_page) {
        m_page->hide();
        m_page->deleteLater(); // a control of the old page may be mid-signal
    }
    m_page = step().content ? step().content() : new QWidget;
    m_pageArea->addWidget(m_page);
    // A widget added to a shown window stays hidden until the next turn of the event loop, and
    // the layout leaves it out: shown now, it counts in the height reported below.
    m_page->show();
    for (auto *row : m_page->findChildren<OKPermissionRow *>())
        connect(this, &OKRootView::ticked, row, &OKPermissionRow::refresh);
    rebuildFooter();
}

QString OKRootView::primaryTitle() const
{
    if (step().primaryTitle)
        return step().primaryTitle();
    return step().kind == OKStep::Kind::consent ? m_strings.startTitle() : m_strings.continueTitle();
}

void OKRootView::rebuildFooter()
{
    if (m_footer) {
        m_footer->hide();
        m_footer->deleteLater();
    }
    m_footer = new QWidget(this);
    m_footerRow->addWidget(m_footer);
    auto *column = new QVBoxLayout(m_footer);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(14);
    const bool waiting = isWaiting();
    m_waiting = waiting ? new OKWaitingDots(m_strings.waiting(), m_footer) : nullptr;
    if (m_waiting) {
        m_waiting->setObjectName(QStringLiteral("waiting"));
        column->addWidget(m_waiting);
    }

    m_dots = new OKPageDots(m_index, count(), m_footer);
    column->addWidget(m_dots, 0, Qt::AlignHCenter);

    auto *row = new QHBoxLayout;
    row->setSpacing(10);
    m_back = nullptr;
    if (m_index > 0) {
        auto *back = new QPushButton(m_strings.back(), m_footer);
        back->setObjectName(QStringLiteral("back"));
        back->setFlat(true);
        back->setCursor(Qt::PointingHandCursor);
        connect(back, &QPushButton::clicked, this, &OKRootView::back);
        m_back = back;
        row->addWidget(back);
    }
    row->addStretch(1);
    m_primary = nullptr;
    m_later = nullptr;
    if (waiting && step().skippable) {
        const QString title = step().secondaryTitle ? step().secondaryTitle() : m_strings.later();
        m_later = new MSPillButton(title, false, [this] { later(); }, m_footer);
        m_later->setObjectName(QStringLiteral("later"));
        row->addWidget(m_later);
    } else if (!waiting) {
        m_primary = new OKPrimaryButton(primaryTitle(), [this] { primary(); }, m_footer);
        m_primary->setObjectName(QStringLiteral("primary"));
        row->addWidget(m_primary);
        m_primary->setFocus();
    }
    column->addLayout(row);
    m_footer->show(); // filled: counts in the height at once, as the page does
    reportHeight();
}

int OKRootView::measuredHeight() const
{
    QLayout *root = layout();
    root->activate();
    const int height = root->hasHeightForWidth() ? root->totalHeightForWidth(OKMetrics::width)
                                                 : root->totalSizeHint().height();
    return qMin(height, m_maxContentHeight);
}

bool OKRootView::event(QEvent *event)
{
    const bool handled = QWidget::event(event);
    // The layout has taken in a change of its widgets (a new page polished, a row's button
    // swapped for its badge): the window follows the height it now needs.
    if (event->type() == QEvent::LayoutRequest)
        reportHeight();
    return handled;
}

void OKRootView::reportHeight()
{
    const int height = measuredHeight();
    if (height != m_reportedHeight && onHeight) {
        m_reportedHeight = height;
        onHeight(height);
    }
}

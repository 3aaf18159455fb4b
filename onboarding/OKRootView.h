// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// Hosts the current page with its footer (back, page dots, primary
// button, or the waiting notice with `later`), advances on its own once a permission is
// granted, and reports its measured height.
#include "onboarding/OKStep.h"
#include "settings/PollTimer.h"

#include <QPointer>
#include <QWidget>

class OKPageDots;
class OKWaitingDots;
class PillButton;
class QHBoxLayout;
class QVBoxLayout;

class OKRootView : public QWidget {
    Q_OBJECT
public:
    static constexpr int tickIntervalMs = 1000;

    OKRootView(QList<OKStep> steps, OKStrings strings, int startIndex, bool pinned, int maxContentHeight,
               PollTimerFactory timers, QWidget *parent = nullptr);

    std::function<void(double height)> onHeight;
    std::function<void()> onFinish;

    int index() const { return m_index; }
    int count() const { return int(m_steps.size()); }
    const OKStep &step() const { return m_steps[m_index]; }
    bool pinned() const { return m_pinned; }
    bool grantedOnArrival() const { return m_grantedOnArrival; }
    int tickCount() const { return m_tick; }
    bool isWaiting() const;
    QWidget *page() const { return m_page; }
    // Footer controls (tests press them).
    PillButton *primaryButton() const { return m_primary; }
    PillButton *laterButton() const { return m_later; }
    QWidget *backButton() const { return m_back; }
    OKWaitingDots *waitingDots() const { return m_waiting; }
    OKPageDots *pageDots() const { return m_dots; }

    // The one-second tick (run by the timer).
    void tick();
    void primary();
    void later();
    void back();
    // Rebuilds the page and the footer (for a new interface language).
    void refresh();
    // The height the view needs at the guide's width.
    int measuredHeight() const;

signals:
    void ticked();

protected:
    bool event(QEvent *event) override;

private:
    // The page's button action runs first; unless it returns false, on to the next page (or done).
    void advanceUnlessHeld(const std::function<bool()> &action);
    void go(int index);
    void arrive();
    void rebuildFooter();
    void reportHeight();
    QString primaryTitle() const;

    QList<OKStep> m_steps;
    OKStrings m_strings;
    bool m_pinned;
    int m_maxContentHeight;
    std::unique_ptr<PollTimer> m_timer;
    int m_index = 0;
    bool m_grantedOnArrival = false;
    int m_tick = 0;
    int m_reportedHeight = 0;

    QVBoxLayout *m_pageArea;
    QHBoxLayout *m_footerRow;
    QPointer<QWidget> m_page;
    QPointer<QWidget> m_footer;
    PillButton *m_primary = nullptr;
    PillButton *m_later = nullptr;
    QWidget *m_back = nullptr;
    OKWaitingDots *m_waiting = nullptr;
    OKPageDots *m_dots = nullptr;
};

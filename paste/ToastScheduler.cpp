// SPDX-License-Identifier: GPL-3.0-or-later
#include "paste/ToastScheduler.h"

#include <QPropertyAnimation>
#include <QWidget>

ToastScheduler::Job QtToastScheduler::schedule(int ms, std::function<void()> job)
{
    const Job id = m_next++;
    auto *timer = new QTimer(this);
    timer->setSingleShot(true);
    timer->setTimerType(Qt::PreciseTimer);
    connect(timer, &QTimer::timeout, this, [this, id, timer, job = std::move(job)] {
        m_timers.remove(id);
        timer->deleteLater();
        job();
    });
    m_timers.insert(id, timer);
    timer->start(ms);
    return id;
}

void QtToastScheduler::cancel(Job job)
{
    if (QTimer *timer = m_timers.take(job)) {
        timer->stop();
        timer->deleteLater();
    }
}

void QtToastScheduler::fade(QWidget *window, qreal opacity, int ms, std::function<void()> completion)
{
    // Owned by the window, so it ends with it and its completion never sees a dead window.
    auto *animation = new QPropertyAnimation(window, "windowOpacity", window);
    animation->setDuration(ms);
    animation->setEndValue(opacity);
    if (completion)
        connect(animation, &QPropertyAnimation::finished, window, std::move(completion));
    animation->start(QAbstractAnimation::DeleteWhenStopped);
}

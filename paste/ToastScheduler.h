// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The timers and animations of the HUD toast, behind a seam so tests can drive them.
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <functional>

class QWidget;

class ToastScheduler {
public:
    using Job = quint64;
    virtual ~ToastScheduler() = default;
    // Runs `job` on the main thread `ms` from now, unless cancelled first.
    virtual Job schedule(int ms, std::function<void()> job) = 0;
    virtual void cancel(Job job) = 0;
    // Animates `window`'s opacity to `opacity` over `ms`, then runs `completion` (if the
    // window still exists).
    virtual void fade(QWidget *window, qreal opacity, int ms, std::function<void()> completion) = 0;
};

// QTimer and QPropertyAnimation on the main event loop.
class QtToastScheduler final : public QObject, public ToastScheduler {
    Q_OBJECT
public:
    using QObject::QObject;
    Job schedule(int ms, std::function<void()> job) override;
    void cancel(Job job) override;
    void fade(QWidget *window, qreal opacity, int ms, std::function<void()> completion) override;

private:
    QHash<Job, QPointer<QTimer>> m_timers;
    Job m_next = 1;
};

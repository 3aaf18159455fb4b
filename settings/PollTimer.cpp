// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/PollTimer.h"

#include <QTimer>

namespace {

class QtPollTimer final : public PollTimer {
public:
    QtPollTimer() { QObject::connect(&m_timer, &QTimer::timeout, [this] { if (m_tick) m_tick(); }); }
    void start(int intervalMs, std::function<void()> tick) override
    {
        m_tick = std::move(tick);
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.start(intervalMs);
    }
    void stop() override { m_timer.stop(); }
    bool isActive() const override { return m_timer.isActive(); }

private:
    QTimer m_timer;
    std::function<void()> m_tick;
};

} // namespace

namespace PollTimers {
PollTimerFactory qt()
{
    return [] { return std::make_unique<QtPollTimer>(); };
}
} // namespace PollTimers

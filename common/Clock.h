// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QDateTime>
#include <chrono>

// Two clocks: wall time for dates that are stored,
// and the monotonic uptime clock for intervals (burst coalescing).
class Clock {
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;  // UTC wall time
    virtual double uptime() const = 0;  // seconds, monotonic

    static Clock &system();
};

class SystemClock final : public Clock {
public:
    QDateTime now() const override { return QDateTime::currentDateTimeUtc(); }
    double uptime() const override
    {
        using namespace std::chrono;
        return duration<double>(steady_clock::now().time_since_epoch()).count();
    }
};

inline Clock &Clock::system()
{
    static SystemClock clock;
    return clock;
}

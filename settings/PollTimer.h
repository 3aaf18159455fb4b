// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
// The one-second accessibility polling of the permissions tab and of the guide's
// permission page, behind a seam so that tests fire the ticks themselves.
#include <functional>
#include <memory>

class PollTimer {
public:
    virtual ~PollTimer() = default;
    // Calls `tick` every `intervalMs` until stop(); starting again replaces the callback.
    virtual void start(int intervalMs, std::function<void()> tick) = 0;
    virtual void stop() = 0;
    virtual bool isActive() const = 0;
};

using PollTimerFactory = std::function<std::unique_ptr<PollTimer>()>;

namespace PollTimers {
// Real timers on the main event loop (they also fire while a menu or a drag is tracking).
PollTimerFactory qt();
}

// Monotonic time as ticks since a start.
#pragma once

#include <chrono>

#include "timer/timer_wheel.h"

namespace tarn::host {

class TickClock {
 public:
    using Time = std::chrono::steady_clock::time_point; // CLOCK_MONOTONIC

    TickClock() = default;
    TickClock(Time start, std::chrono::microseconds tick) : start_(start), tick_(tick) {}

    // The last tick that has begun.
    Tick at(Time time) const { return time < start_ ? 0 : static_cast<Tick>((time - start_) / tick_); }

    Time begin(Tick tick) const { return start_ + tick_ * static_cast<int64_t>(tick); }

    // The first tick that begins at least `ticks` ticks after `time`, and after `time` in any case.
    Tick after(Time time, uint32_t ticks) const { return at(time) + ticks + 1; }

 private:
    Time start_;
    std::chrono::nanoseconds tick_{1};
};

} // namespace tarn::host

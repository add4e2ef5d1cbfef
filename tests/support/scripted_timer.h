// The timer service of the scripted platform: timers that expire when a test says so, and the signal mask that their
// thread inherits, noted instead of set. The time is what a test says, too.
#pragma once

#include <array>
#include <csignal>
#include <deque>
#include <functional>

#include "scripted_platform.h"
#include "tarn_platform/os_time.h"
#include "tarn_platform/os_timer.h"

namespace tarn::test {

struct ScriptedTimer {
    OsTimerParam param;
    uint32_t ticks;
    bool deleted;
};

struct ScriptedTimers {
    std::array<uint32_t, 3> managerInit = {}; // arguments of the last OsTmrManagerInit
    int maskHow = -1;                         // of the last change
    sigset_t mask = {};
    std::deque<ScriptedTimer> created;

    // Whether creations succeed without a handle.
    bool noHandle = false;
    // Runs in the middle of each creation, as an early expiry would.
    std::function<void(ScriptedTimer&)> whileCreating;
    // Runs in each deletion of a timer.
    std::function<void(ScriptedTimer&)> whileDeleting;

    // Calls the callback of the n-th created timer, with a copy of its creation record.
    void fire(size_t index);
};

inline constexpr auto scriptedTimers = stateOf<ScriptedTimers>;

struct ScriptedTime {
    OsTimeEx calendar = {};
    uint32_t seconds = 0;
};

inline constexpr auto scriptedTime = stateOf<ScriptedTime>;

} // namespace tarn::test

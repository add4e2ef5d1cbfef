#include "scripted_timer.h"

#include <mutex>

#include "scripted_platform.h"
#include "tarn_platform/os_signal.h"

using tarn::test::ScriptedPlatform;
using tarn::test::scriptedTime;
using tarn::test::ScriptedTimer;
using tarn::test::scriptedTimers;

namespace {

std::mutex timersMutex;

} // namespace

tarn::test::ScriptedTimers& tarn::test::scriptedTimers() {
    static ScriptedTimers timers;
    return timers;
}

void tarn::test::ScriptedTimers::fire(size_t index) {
    OsTimerParam param = {};
    {
        const std::lock_guard lock(timersMutex);
        param = created.at(index).param;
    }
    EXPECT_EQ(param.callback(&param), 0U);
}

tarn::test::ScriptedTime& tarn::test::scriptedTime() {
    static ScriptedTime time;
    return time;
}

uint32_t OsTmrManagerInit(uint32_t first, uint32_t tickMicroseconds, uint32_t third) {
    if (ScriptedPlatform::get().enter("OsTmrManagerInit")) {
        return 0x80;
    }
    scriptedTimers().managerInit = {first, tickMicroseconds, third};
    return 0;
}

uint32_t OsTmrCreate(const OsTimerParam* param, void** handle, uint32_t ticks) {
    if (ScriptedPlatform::get().enter("OsTmrCreate")) {
        return 0x81;
    }
    auto& timers = scriptedTimers();
    ScriptedTimer* created = nullptr;
    {
        const std::lock_guard lock(timersMutex);
        created = &timers.created.emplace_back(ScriptedTimer{*param, ticks, false});
    }
    if (timers.whileCreating) {
        timers.whileCreating(*created);
    }
    *handle = timers.noHandle ? nullptr : created;
    return 0;
}

uint32_t OsTmrDelete(void* handle) {
    if (ScriptedPlatform::get().enter("OsTmrDelete")) {
        return 0x82;
    }
    auto& timer = *static_cast<ScriptedTimer*>(handle);
    if (scriptedTimers().whileDeleting) {
        scriptedTimers().whileDeleting(timer);
    }
    const std::lock_guard lock(timersMutex);
    if (timer.deleted) {
        return 0x82;
    }
    timer.deleted = true;
    return 0;
}

uint32_t OsSigEmptySet(sigset_t* set) {
    return ScriptedPlatform::get().enter("OsSigEmptySet") ? 0x90 : static_cast<uint32_t>(sigemptyset(set));
}

uint32_t OsSigAddSet(sigset_t* set, int signal) {
    return ScriptedPlatform::get().enter("OsSigAddSet") ? 0x91 : static_cast<uint32_t>(sigaddset(set, signal));
}

uint32_t OsPthreadSigmask(int how, const sigset_t* set, sigset_t*) {
    if (ScriptedPlatform::get().enter("OsPthreadSigmask")) {
        return 0x92;
    }
    scriptedTimers().maskHow = how;
    scriptedTimers().mask = *set;
    return 0;
}

uint32_t OsGetTimeEx(OsTimeEx* out) {
    if (ScriptedPlatform::get().enter("OsGetTimeEx")) {
        return 0xA0;
    }
    *out = scriptedTime().calendar;
    return 0;
}

uint32_t OsGetSysTimeSec(void) {
    ScriptedPlatform::get().enterInfallible("OsGetSysTimeSec");
    return scriptedTime().seconds;
}

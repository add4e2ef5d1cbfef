#include "scripted_timer.h"

#include <mutex>

#include "scripted_platform.h"

using tarn::test::ScriptedPlatform;
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

uint32_t OsTmrManagerInit(uint32_t first, uint32_t tickMicroseconds, uint32_t third) {
    if (ScriptedPlatform::get().enter("OsTmrManagerInit")) {
        return 0x80;
    }
    scriptedTimers().managerInits.push_back({first, tickMicroseconds, third});
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

#include "scripted_timer.h"

#include <mutex>
#include <utility>

#include "tarn_platform/os_signal.h"

using namespace tarn::test;

namespace {

std::mutex timersMutex;

} // namespace

void ScriptedTimers::fire(size_t index) {
    std::unique_lock lock(timersMutex);
    OsTimerParam param = created.at(index).param;
    lock.unlock();
    EXPECT_EQ(param.callback(&param), 0U);
}

uint32_t OsTmrManagerInit(uint32_t first, uint32_t tickMicroseconds, uint32_t third) {
    return scriptedCall(__func__, 0x80U, [=] { scriptedTimers().managerInit = {first, tickMicroseconds, third}; });
}

uint32_t OsTmrCreate(const OsTimerParam* param, void** handle, uint32_t ticks) {
    return scriptedCall(__func__, 0x81U, [=] {
        auto& timers = scriptedTimers();
        std::unique_lock lock(timersMutex);
        ScriptedTimer& created = timers.created.emplace_back(ScriptedTimer{*param, ticks, false});
        lock.unlock();
        if (timers.whileCreating) {
            timers.whileCreating(created);
        }
        *handle = timers.noHandle ? nullptr : &created;
    });
}

uint32_t OsTmrDelete(void* handle) {
    return scriptedCall(__func__, 0x82U, [=] {
        auto& timer = *static_cast<ScriptedTimer*>(handle);
        if (scriptedTimers().whileDeleting) {
            scriptedTimers().whileDeleting(timer);
        }
        const std::lock_guard lock(timersMutex);
        return std::exchange(timer.deleted, true) ? 0x82 : 0;
    });
}

uint32_t OsSigEmptySet(sigset_t* set) {
    return scriptedCall(__func__, 0x90U, [=] { return sigemptyset(set); });
}

uint32_t OsSigAddSet(sigset_t* set, int signal) {
    return scriptedCall(__func__, 0x91U, [=] { return sigaddset(set, signal); });
}

uint32_t OsPthreadSigmask(int how, const sigset_t* set, sigset_t*) {
    return scriptedCall(__func__, 0x92U, [=] {
        scriptedTimers().maskHow = how;
        scriptedTimers().mask = *set;
    });
}

uint32_t OsGetTimeEx(OsTimeEx* out) {
    return scriptedCall(__func__, 0xA0U, [=] { *out = scriptedTime().calendar; });
}

uint32_t OsGetSysTimeSec(void) {
    ScriptedPlatform::get().enterInfallible(__func__);
    return scriptedTime().seconds;
}

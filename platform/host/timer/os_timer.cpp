// The timer calls of the platform contract.
#include "tarn_platform/os_timer.h"

#include <cerrno>

#include "base/guarded.h"
#include "timer/timer_manager.h"

using tarn::host::TimerHandle;
using tarn::host::TimerManager;

static_assert(sizeof(void*) >= sizeof(TimerHandle), "a handle travels as a pointer");

namespace {

template <typename Operation>
uint32_t withManager(Operation operation) {
    return tarn::host::guarded([&] { return operation(TimerManager::get()); });
}

} // namespace

uint32_t OsTmrManagerInit(uint32_t, uint32_t tickMicroseconds, uint32_t) {
    return withManager([&](TimerManager& manager) { return manager.start(tickMicroseconds); });
}

uint32_t OsTmrCreate(const OsTimerParam* param, void** handle, uint32_t ticks) {
    if (param == nullptr || handle == nullptr || param->callback == nullptr) {
        return EINVAL;
    }
    return withManager([&](TimerManager& manager) -> uint32_t {
        TimerHandle made = 0;
        const uint32_t result = manager.create(*param, ticks, made);
        if (result == 0) {
            *handle = reinterpret_cast<void*>(made); // NOLINT(performance-no-int-to-ptr): a number on purpose
        }
        return result;
    });
}

uint32_t OsTmrDelete(void* handle) {
    return withManager([&](TimerManager& manager) { return manager.remove(reinterpret_cast<TimerHandle>(handle)); });
}

uint32_t TarnHostTimerGetInfo(TarnHostTimerInfo* info) {
    if (info == nullptr) {
        return EINVAL;
    }
    return withManager([&](TimerManager& manager) -> uint32_t {
        *info = manager.info();
        return 0;
    });
}

uint32_t TarnHostTimerManagerStop(void) {
    return withManager([](TimerManager& manager) { return manager.stop(); });
}

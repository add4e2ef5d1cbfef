// The free-standing timers. The platform timer carries the record's address, so the record stays in place while the
// timer runs.
#include <cstring>

#include "base/log.h"
#include "base/platform_lock.h"
#include "msg/timer_record.h"
#include "tarn_conference/conf_timer.h"
#include "tarn_platform/bounds_checked.h"

namespace {

using tarn::detail::AtomicHandle;
using tarn::detail::kNullPointerText;
using tarn::detail::kSecureFunctionText;
using tarn::detail::PlatformLock;
using tarn::detail::sharedFields;
using tarn::detail::timerContentMutex;
using tarn::detail::TimerFamily;
using tarn::detail::timerMutex;
using tarn::detail::TimerUserData;

constexpr const char* kLogName = "conf_timer";
constexpr uint32_t kAddressInUserData = 8;

uint32_t ConfCommTimerIDOut(void* param);

void logSendFailure(uint32_t result) {
    TARN_LOG_AS("ConfCommTimerIDOut", CONF_LOG_ERROR, "ConfCommTimerIDOut send msg fail! ret:%x", result);
}

constexpr TimerFamily kFreeStandingTimers = {
    .startFunction = "ConfTimerStart",
    .callback = ConfCommTimerIDOut,
    .userDataMarker = kAddressInUserData,
    .noMemoryText = "TARN_CONF_LOG_ERROR: CONF_MALLOC failed, timer->data is NULL!",
    .expiredOneShotIsIdle = true,
    .logSendFailure = logSendFailure,
};

uint32_t ConfCommTimerIDOut(void* param) {
    if (param == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullPointerText);
        return 0;
    }
    void* address = nullptr;
    const errno_t copied =
        memcpy_s(&address, sizeof address, static_cast<const OsTimerParam*>(param)->userData, sizeof address);
    if (copied != 0) {
        TARN_LOG(CONF_LOG_ERROR, kSecureFunctionText, copied);
    }
    if (address == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "timer is NULL");
        return 0;
    }
    expireTimer(kFreeStandingTimers, sharedFields(*static_cast<ConfTimer*>(address)));
    return 0;
}

} // namespace

uint32_t ConfTimerInit(ConfTimer* timer, uint32_t id, uint32_t mode, const char* recvProcName,
                       ConfCommMsgHandler handler) {
    if (timer == nullptr || recvProcName == nullptr || handler == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullPointerText);
        return 1;
    }
    const std::lock_guard lock(timerContentMutex);
    timer->id = id;
    timer->mode = mode;
    timer->recvProcName = recvProcName;
    timer->handler = handler;
    return 0;
}

uint32_t ConfTimerStart(ConfTimer* timer, uint32_t durationMs, uint32_t msgId, const void* data, uint32_t dataLen) {
    if (timer == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullPointerText);
        return 1;
    }
    const void* const address = timer;
    TimerUserData userData = {};
    std::memcpy(userData, &address, sizeof address);
    return startTimer(kFreeStandingTimers, sharedFields(*timer), userData, durationMs, {msgId, data, dataLen});
}

uint32_t ConfTimerStop(ConfTimer* timer) {
    if (timer == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullPointerText);
        return 1;
    }
    const PlatformLock lock(timerMutex);
    stopTimer(sharedFields(*timer));
    return 0;
}

uint32_t ConfTimerFree(ConfTimer* timer) {
    return ConfTimerStop(timer);
}

bool ConfTimerIsVaild(const ConfTimer* timer) {
    if (timer == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullPointerText);
        return false;
    }
    // Only read; the type wants a variable it could write.
    const AtomicHandle handle(const_cast<ConfTimer*>(timer)->platformTimer);
    return handle.load(std::memory_order_acquire) != nullptr;
}

// The table timers, with the init that both families need. An expired one-shot timer of the table counts as running
// until it is stopped.
#include <csignal>
#include <cstring>
#include <span>

#include "base/log.h"
#include "base/platform_lock.h"
#include "msg/timer_record.h"
#include "tarn_conference/conf_timer.h"
#include "tarn_platform/os_signal.h"

namespace {

using tarn::detail::kNullPointerText;
using tarn::detail::PlatformLock;
using tarn::detail::sharedFields;
using tarn::detail::timerContentMutex;
using tarn::detail::TimerFamily;
using tarn::detail::timerMutex;
using tarn::detail::TimerUserData;

constexpr const char* kLogName = "conf_timer";
constexpr uint32_t kTickMicroseconds = CONF_TIMER_TICK_MS * 1000;
constexpr uint32_t kIdInUserData = 1;
constexpr int kBlockSignals = 0;

std::span<ConfCommTimerEntry> timerTable; // guarded by the content lock

void setTable(ConfCommTimerEntry* table, int32_t count) {
    const std::lock_guard lock(timerContentMutex);
    timerTable = {table, static_cast<size_t>(count < 0 ? 0 : count)};
}

std::span<ConfCommTimerEntry> currentTable() {
    const std::lock_guard lock(timerContentMutex);
    return timerTable;
}

// The row of an id; null, which is logged for `function`, without one.
ConfCommTimerEntry* findRow(const char* function, uint32_t timerId) {
    for (ConfCommTimerEntry& row : currentTable()) {
        if (row.timerId == timerId) {
            return &row;
        }
    }
    TARN_LOG_AS(function, CONF_LOG_ERROR, "timerId:%d invalid", static_cast<int>(timerId));
    return nullptr;
}

uint32_t ConfCommTimerOut(void* param);

void logSendFailure(uint32_t) {
    // Names the other family's callback; readers of the log know the text like this.
    TARN_LOG_AS("ConfCommTimerOut", CONF_LOG_ERROR, "ConfCommTimerIDOut send msg fail");
}

constexpr TimerFamily kTableTimers = {
    .startFunction = "ConfCommTimerStartEx",
    .callback = ConfCommTimerOut,
    .userDataMarker = kIdInUserData,
    .noMemoryText = nullptr,
    .expiredOneShotIsIdle = false,
    .logSendFailure = logSendFailure,
};

uint32_t ConfCommTimerOut(void* param) {
    if (param == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullPointerText);
        return 0;
    }
    uint32_t timerId = 0;
    std::memcpy(&timerId, static_cast<const OsTimerParam*>(param)->userData, sizeof timerId);
    ConfCommTimerEntry* const row = findRow(__func__, timerId);
    if (row != nullptr) {
        expireTimer(kTableTimers, sharedFields(*row));
    }
    return 0;
}

// The timer manager's thread, started last, inherits the signal mask: it never takes the signals that the processes
// wait for in their own threads.
uint32_t InitTimer() {
    sigset_t signals = {};
    uint32_t result = OsSigEmptySet(&signals);
    if (result != 0) {
        TARN_LOG(CONF_LOG_ERROR, "SigEmptySet fail:%d", static_cast<int>(result));
        return 1;
    }
    for (const int signal : {SIGCHLD, SIGUSR1}) {
        result = OsSigAddSet(&signals, signal);
        if (result != 0) {
            TARN_LOG(CONF_LOG_ERROR, "OsSigAddSet fail:%d", static_cast<int>(result));
            return 1;
        }
    }
    sigset_t old = {};
    result = OsPthreadSigmask(kBlockSignals, &signals, &old);
    if (result != 0) {
        TARN_LOG(CONF_LOG_ERROR, "OsPthreadSigmask fail:%d", static_cast<int>(result));
        return 1;
    }
    result = OsTmrManagerInit(0, kTickMicroseconds, 0);
    if (result != 0) {
        TARN_LOG(CONF_LOG_ERROR, "Init 10ms tiemr failed:%d", static_cast<int>(result));
        return 1;
    }
    return 0;
}

} // namespace

uint32_t ConfCommTimerFuncInit(ConfCommTimerEntry* table, int32_t count) {
    return table == nullptr ? 1 : ConfCommTimerInit(table, count);
}

uint32_t ConfCommTimerInit(ConfCommTimerEntry* table, int32_t count) {
    const uint32_t made = OsMutexInit(&timerMutex);
    if (made != 0) {
        TARN_LOG(CONF_LOG_ERROR, "OsSemInit fail! ret:%d", static_cast<int>(made));
        return 1;
    }
    if (table == nullptr) {
        return 1;
    }
    const uint32_t result = InitTimer();
    setTable(table, count);
    return result;
}

uint32_t ConfCommTimerFuncDeInit(void) {
    return ConfCommTimerDeInit();
}

uint32_t ConfCommTimerDeInit(void) {
    OsMutexDestroy(&timerMutex);
    for (ConfCommTimerEntry& row : currentTable()) {
        stopTimer(sharedFields(row));
    }
    setTable(nullptr, 0);
    return 0;
}

uint32_t ConfCommTimerStartEx(uint32_t timerId, uint32_t durationMs, uint32_t msgId, const void* data,
                              uint32_t dataLen) {
    ConfCommTimerEntry* const row = findRow(__func__, timerId);
    if (row == nullptr) {
        return 1;
    }
    TimerUserData userData = {};
    std::memcpy(userData, &timerId, sizeof timerId);
    return startTimer(kTableTimers, sharedFields(*row), userData, durationMs == 0 ? row->defaultDurationMs : durationMs,
                      {msgId, data, dataLen});
}

uint32_t ConfCommTimerStart(uint32_t timerId, uint32_t msgId, const void* data, uint32_t dataLen) {
    return ConfCommTimerStartEx(timerId, 0, msgId, data, dataLen);
}

uint32_t ConfCommTimerStop(uint32_t timerId) {
    ConfCommTimerEntry* const row = findRow(__func__, timerId);
    if (row == nullptr) {
        return 1;
    }
    const PlatformLock lock(timerMutex);
    stopTimer(sharedFields(*row));
    return 0;
}

uint32_t ConfCommTimerFree(uint32_t timerId) {
    return ConfCommTimerStop(timerId);
}

// What both families of timers do with their records: start, stop, expiry.
//
// Two locks. The platform mutex makes starts and stops follow each other; a stop holds it while it waits for a running
// expiry, so expiries never take it. The content lock guards what expiries read of a record (receiver, handler, mode,
// message id, data) and the table; it is held for copies only, never around a call that may wait for an expiry or for a
// receiver. The handle of the platform timer is atomic, for those who only ask whether a timer runs.
#pragma once

#include <atomic>
#include <mutex>

#include "tarn_conference/conf_timer.h"
#include "tarn_platform/os_mutex.h"

namespace tarn::detail {

extern OsMutex timerMutex;
extern std::mutex timerContentMutex;

// How the handle of a platform timer is read and written.
using AtomicHandle = std::atomic_ref<void*>;

// A record of either family, as the fields that they share. A view: const does not protect what it refers to.
struct TimerView {
    const uint32_t& mode;
    const char* const& recvProcName;
    const ConfCommMsgHandler& handler;
    void*& platformTimer;
    uint32_t& msgId;
    void*& data;
    uint32_t& dataLen;
};

template <typename Record>
TimerView sharedFields(Record& record) {
    return {record.mode,  record.recvProcName, record.handler, record.platformTimer,
            record.msgId, record.data,         record.dataLen};
}

// In what the families differ.
struct TimerFamily {
    const char* startFunction;
    OsTimerCallback callback;
    uint32_t userDataMarker;
    const char* noMemoryText; // null: a start without memory for its data logs nothing
    bool expiredOneShotIsIdle;
    void (*logSendFailure)(uint32_t result);
};

// What an expiry of a timer sends.
struct TimerContent {
    uint32_t msgId;
    const void* data;
    uint32_t dataLen;
};

// Bytes of the creation record's user data.
using TimerUserData = uint8_t[sizeof(OsTimerParam::userData)];

uint32_t startTimer(const TimerFamily& family, const TimerView& record, const TimerUserData& userData,
                    uint32_t durationMs, const TimerContent& content);

// Without the platform mutex, which the caller holds if others may run.
void stopTimer(const TimerView& record);

// On the timer thread.
void expireTimer(const TimerFamily& family, const TimerView& record);

} // namespace tarn::detail

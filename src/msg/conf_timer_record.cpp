// Start, stop and expiry of one timer. Expiries come at any moment, also in the middle of the start that made the timer
// or while the handler of the last expiry starts it anew; both are settled here, under the content lock.
#include <cstring>
#include <new>
#include <utility>

#include "base/accounted.h"
#include "base/fork_handlers.h"
#include "base/log.h"
#include "base/platform_lock.h"
#include "msg/asynchronous_message.h"
#include "msg/timer_record.h"
#include "tarn_platform/bounds_checked.h"

namespace tarn::detail {

OsMutex timerMutex;
constinit std::mutex timerContentMutex;

namespace {

constexpr const char* kLogName = "conf_timer";

// The start that is under way. An expiry of its timer leaves a note instead of sending: it came before the start's
// message id and data were in place, and the start sends it with them. The platform mutex lets one start in at a time.
struct StartUnderWay {
    const void* timer = nullptr; // the record's platformTimer field
    bool expired = false;
};

// An expiry of a one-shot timer that is sending. As soon as the message is out, its handler may start the timer anew,
// before the timer thread has come to mark the timer idle. Such a start takes that over by clearing `timer`, and the
// expiry no longer touches the record.
struct Sending {
    void** timer = nullptr; // the record's platformTimer field
    Sending* next = nullptr;
};

StartUnderWay startUnderWay; // guarded by the content lock
Sending* expiriesSending;    // likewise

// In a child there is neither a thread that holds the content lock nor one that starts a timer or sends an expiry. The
// lock is made anew: to hold it over the fork could end in a deadlock with the locks of the platform, which holds its
// own, as a start or an expiry calls the platform for memory.
void forgetParent() {
    new (&timerContentMutex) std::mutex;
    startUnderWay = {};
    expiriesSending = nullptr;
}

const ForkHandlers forkHandlers(nullptr, nullptr, forgetParent);

bool returnsToIdle(const TimerFamily& family, const TimerView& record) {
    return family.expiredOneShotIsIdle && record.mode == CONF_TIMER_ONE_SHOT;
}

void prepareExpiry(const TimerView& record, AsynchronousMessage& message) {
    message.prepare(record.recvProcName, record.handler, record.msgId, record.data, record.dataLen);
}

void sendExpiry(const TimerFamily& family, const AsynchronousMessage& message) {
    const uint32_t sent = message.send();
    if (sent != 0) {
        family.logSendFailure(sent);
    }
}

void beginSending(Sending& sending, const TimerView& record) {
    sending = {&record.platformTimer, expiriesSending};
    expiriesSending = &sending;
}

void endSending(const Sending& sending) {
    Sending** link = &expiriesSending;
    while (*link != &sending) {
        link = &(*link)->next;
    }
    *link = sending.next;
    if (sending.timer != nullptr) {
        AtomicHandle(*sending.timer).store(nullptr, std::memory_order_release);
    }
}

// Marks a timer idle whose last expiry is sending.
void takeOverFromSending(const TimerView& record) {
    for (Sending* sending = expiriesSending; sending != nullptr; sending = sending->next) {
        if (sending->timer == &record.platformTimer) {
            sending->timer = nullptr;
            AtomicHandle(record.platformTimer).store(nullptr, std::memory_order_release);
        }
    }
}

void dropData(const TimerView& record) {
    // Out of the record first: a child that another thread forks now must not find a block that is gone.
    void* const data = std::exchange(record.data, nullptr);
    if (data != nullptr) {
        TARN_FREE(data);
    }
}

// From here on expiries of the timer are put off. Says whether the timer is idle.
bool beginStart(const TimerView& record) {
    const std::lock_guard lock(timerContentMutex);
    startUnderWay = {&record.platformTimer, false};
    takeOverFromSending(record);
    return AtomicHandle(record.platformTimer).load(std::memory_order_acquire) == nullptr;
}

// Ends what `beginStart` began. Says whether an expiry was put off.
bool endStart() {
    const bool expired = startUnderWay.expired;
    startUnderWay = {};
    return expired;
}

// The new platform timer, or null, which is logged.
void* createPlatformTimer(const TimerFamily& family, const TimerView& record, const TimerUserData& userData,
                          uint32_t durationMs) {
    OsTimerParam param = {};
    const errno_t copied = strcpy_s(param.name, sizeof param.name, record.recvProcName);
    if (copied != 0) {
        // The timer runs without a name then; only its expiries will fail.
        TARN_LOG_AS(family.startFunction, CONF_LOG_ERROR, kSecureFunctionText, copied);
    }
    std::memcpy(param.userData, userData, sizeof param.userData);
    param.userDataMarker = family.userDataMarker;
    param.periodTicks = durationMs / CONF_TIMER_TICK_MS;
    param.repeat = record.mode == CONF_TIMER_ONE_SHOT ? 0 : 1;
    param.callback = family.callback;

    void* timer = nullptr;
    const uint32_t created = OsTmrCreate(&param, &timer, param.periodTicks);
    if (created != 0 || timer == nullptr) {
        TARN_LOG_AS(family.startFunction, CONF_LOG_ERROR, "OsTmrCreate fail! ret:%d", static_cast<int>(created));
        return nullptr;
    }
    return timer;
}

uint32_t replaceContent(const TimerFamily& family, const TimerView& record, const TimerContent& content) {
    dropData(record);
    record.msgId = content.msgId;
    record.dataLen = content.dataLen;
    if (content.data == nullptr || content.dataLen == 0) {
        return 0;
    }
    // A failure leaves a length without data: the expiries fail then, instead of coming without their data.
    auto data = TARN_ALLOCATE(void, content.dataLen);
    if (data == nullptr) {
        if (family.noMemoryText != nullptr) {
            TARN_LOG_AS(family.startFunction, CONF_LOG_ERROR, "%s", family.noMemoryText);
        }
        return 1;
    }
    const errno_t copied = memcpy_s(data.get(), content.dataLen, content.data, content.dataLen);
    if (copied != 0) {
        TARN_LOG_AS(family.startFunction, CONF_LOG_ERROR, kSecureFunctionText, copied);
        return 1;
    }
    record.data = data.release();
    return 0;
}

} // namespace

uint32_t startTimer(const TimerFamily& family, const TimerView& record, const TimerUserData& userData,
                    uint32_t durationMs, const TimerContent& content) {
    AsynchronousMessage putOff;
    bool expired = false;
    uint32_t result = 0;
    {
        const PlatformLock oneStart(timerMutex);
        const bool idle = beginStart(record);
        void* const created = idle ? createPlatformTimer(family, record, userData, durationMs) : nullptr;

        const std::lock_guard lock(timerContentMutex);
        expired = endStart();
        if (idle && created == nullptr) {
            return 1;
        }
        const bool idleAgain = expired && returnsToIdle(family, record);
        if (idle || idleAgain) {
            AtomicHandle(record.platformTimer).store(idleAgain ? nullptr : created, std::memory_order_release);
        }
        result = replaceContent(family, record, content);
        if (expired) {
            prepareExpiry(record, putOff);
        }
    }
    if (expired) {
        sendExpiry(family, putOff);
    }
    return result;
}

void stopTimer(const TimerView& record) {
    const AtomicHandle handle(record.platformTimer);
    void* const timer = handle.load(std::memory_order_acquire);
    if (timer != nullptr) {
        // Waits for a running expiry. The platform does not know an expired one-shot timer any more, which is as well.
        OsTmrDelete(timer);
        handle.store(nullptr, std::memory_order_release);
    }
    const std::lock_guard lock(timerContentMutex);
    dropData(record);
}

void expireTimer(const TimerFamily& family, const TimerView& record) {
    AsynchronousMessage message;
    Sending sending;
    bool idleAfterwards = false;
    {
        const std::lock_guard lock(timerContentMutex);
        if (startUnderWay.timer == &record.platformTimer) {
            startUnderWay.expired = true;
            return;
        }
        prepareExpiry(record, message);
        idleAfterwards = returnsToIdle(family, record);
        if (idleAfterwards) {
            beginSending(sending, record);
        }
    }
    sendExpiry(family, message);
    if (idleAfterwards) {
        const std::lock_guard lock(timerContentMutex);
        endSending(sending);
    }
}

} // namespace tarn::detail

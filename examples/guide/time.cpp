// Timers of both families, and the system time.
#include <atomic>
#include <chrono>
#include <cstring>

#include "promise.h"
// [includes]
#include "tarn_conference/conf_msg.h"
#include "tarn_conference/conf_timer.h"
#include "tarn_host/host_message.h"
// [/includes]

namespace {

std::atomic<uint32_t> ticks = 0;
std::atomic<uint32_t> ringsForCall = 0;

// [handlers]
uint32_t onHeartbeat(uint32_t, void*, uint32_t) {
    ++ticks;
    return 0;
}

uint32_t onNoAnswer(uint32_t, void* data, uint32_t length) {
    uint32_t call = 0;
    if (length == sizeof call) {
        std::memcpy(&call, data, sizeof call);
        ringsForCall = call;
    }
    return 0;
}
// [/handlers]

// [table]
enum { kHeartbeat = 1 };
constexpr uint32_t kPeriodic = 2; // any mode but CONF_TIMER_ONE_SHOT

ConfCommTimerEntry timers[] = {
    {kHeartbeat, kPeriodic, 20, "meeting", onHeartbeat, nullptr, 0, nullptr, 0},
};
// [/table]

void onRecord(OsMsgRecord* record) {
    ConfCommMsgProcess(record);
}

void tableTimer() {
    // [periodic]
    ConfCommTimerStart(kHeartbeat, 1, nullptr, 0); // every 20 ms, as the table says
    // [/periodic]
    guide::promise(guide::comesTrue([] { return ticks >= 3; }), "a periodic timer expires again and again");

    // [stop]
    ConfCommTimerStop(kHeartbeat);
    // [/stop]
    // Once the messages that were on their way are handled, nothing comes any more.
    const auto isSilent = [] {
        const uint32_t before = ticks;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        return ticks == before;
    };
    guide::promise(guide::comesTrue(isSilent), "a stopped timer is silent");
}

void freeTimer() {
    // [one-shot]
    ConfTimer timer = {};
    const uint32_t call = 4711;
    ConfTimerInit(&timer, 0, CONF_TIMER_ONE_SHOT, "meeting", onNoAnswer);
    ConfTimerStart(&timer, 50, 1, &call, sizeof call); // the data are copied
    // [/one-shot]
    guide::promise(guide::comesTrue([] { return ringsForCall == 4711; }), "a one-shot timer brings its data");
    guide::promise(guide::comesTrue([&] { return !ConfTimerIsVaild(&timer); }), "it is idle again by itself");
    // [release]
    ConfTimerStop(&timer); // before the record goes
    // [/release]
}

void systemTime() {
    // [time]
    ConfSysTime now = {};
    if (ConfBasicGetSysTime(&now) == 0) {
        std::printf("%04d-%02d-%02d %02d:%02d:%02d\n", now.year, now.month, now.day, now.hour, now.minute, now.second);
    }
    // [/time]
    guide::promise(now.year >= 2024 && ConfGetSysTimeSec() > 1700000000, "the time");
}

} // namespace

int main() {
    // [start]
    if (OsMsgReceiverStart("meeting", onRecord) != 0 || ConfCommTimerInit(timers, 1) != 0) {
        return 1;
    }
    // [/start]
    tableTimer();
    freeTimer();
    systemTime();
    // [end]
    ConfCommTimerDeInit();
    OsMsgReceiverStop("meeting");
    // [/end]
    return guide::result();
}

#include "processes/common_orders.h"

#include <array>
#include <cstring>
#include <thread>

#include "processes/certificates.h"
#include "processes/handlers.h"
#include "processes/inbox.h"
#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_system.h"
#include "tarn_conference/conf_timer.h"
#include "tarn_host/host_memory.h"
#include "tarn_host/host_process.h"

namespace tarn::demo {
namespace {

constexpr const char* kLogName = "common_orders";
constexpr uint32_t kPeriodic = 2;
constexpr uint32_t kOneShotRow = 1;
constexpr uint32_t kPeriodicRow = 2;

std::array<ConfCommTimerEntry, 2> timerTable = {};
ConfTimer freeTimer = {};

TimerData timerData(const std::string& name) {
    TimerData data = {{}, monotonicNs()};
    std::strncpy(data.name.data(), name.c_str(), data.name.size() - 1);
    return data;
}

// log LEVEL TEXT...
Reply writeLog(const Arguments& arguments) {
    std::string message;
    for (size_t i = 1; i < arguments.size(); ++i) {
        message += (i > 1 ? " " : "") + arguments[i];
    }
    ConfLogPrintf(static_cast<int>(number(arguments, 0)), __func__, kLogName, __LINE__, "%s", message.c_str());
    return {{"level", std::to_string(GetLogLevel())}};
}

// level LEVEL
Reply setLevel(const Arguments& arguments) {
    return {{"result", std::to_string(SetLogLevel(static_cast<uint8_t>(number(arguments, 0))))}};
}

// inbox KIND COUNT MS: waits for that many arrivals.
Reply readInbox(const Arguments& arguments) {
    const auto arrivals =
        inbox().take(arguments.at(0), number(arguments, 1), std::chrono::milliseconds(number(arguments, 2)));
    Reply reply = {{"count", std::to_string(arrivals.size())}};
    if (!arrivals.empty()) {
        reply["first"] = arrivals.front().text;
        reply["last"] = arrivals.back().text;
    }
    return reply;
}

// timer-table ROW MS NAME
Reply startTableTimer(const Arguments& arguments) {
    const TimerData data = timerData(arguments.at(2));
    const uint32_t result =
        ConfCommTimerStartEx(number(arguments, 0), number(arguments, 1), kMsgTimer, &data, sizeof data);
    return {{"result", std::to_string(result)}};
}

// timer-free MODE MS NAME
Reply startFreeTimer(const Arguments& arguments) {
    const TimerData data = timerData(arguments.at(2));
    uint32_t result = ConfTimerInit(&freeTimer, 7, number(arguments, 0), TarnHostProcessName(), timerExpired);
    if (result == 0) {
        result = ConfTimerStart(&freeTimer, number(arguments, 1), kMsgTimer, &data, sizeof data);
    }
    return {{"result", std::to_string(result)}};
}

// Whether the free-standing timer still runs. A one-shot becomes idle a moment after its expiry was posted.
bool freeTimerRuns() {
    for (int i = 0; i < 100 && freeTimer.mode == CONF_TIMER_ONE_SHOT && ConfTimerIsVaild(&freeTimer); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return ConfTimerIsVaild(&freeTimer);
}

// timer-stop
Reply stopTimers(const Arguments&) {
    const bool valid = freeTimerRuns();
    ConfCommTimerStop(kOneShotRow);
    ConfCommTimerStop(kPeriodicRow);
    ConfTimerStop(&freeTimer);
    return {{"valid-before", valid ? "1" : "0"}};
}

} // namespace

uint32_t startTimerTable() {
    const char* const self = TarnHostProcessName();
    timerTable[0] = {kOneShotRow, CONF_TIMER_ONE_SHOT, 200, self, timerExpired, nullptr, 0, nullptr, 0};
    timerTable[1] = {kPeriodicRow, kPeriodic, 50, self, timerExpired, nullptr, 0, nullptr, 0};
    return ConfCommTimerFuncInit(timerTable.data(), static_cast<int32_t>(timerTable.size()));
}

void stopTimerTable() {
    ConfTimerStop(&freeTimer);
    ConfCommTimerFuncDeInit();
}

Reply liveMemory() {
    TarnHostMemoryStatus status = {};
    if (ConfMemGetMemStatus(&status, 0, 0) != 0) {
        return {{"error", "no memory statistics"}};
    }
    return {{"live-blocks", std::to_string(status.liveBlocks)},
            {"live-bytes", std::to_string(status.liveBytes)},
            {"peak-bytes", std::to_string(status.peakBytes)},
            {"total-blocks", std::to_string(status.totalBlocks)}};
}

Orders commonOrders() {
    return {{"log", writeLog},
            {"level", setLevel},
            {"inbox", readInbox},
            {"timer-table", startTableTimer},
            {"timer-free", startFreeTimer},
            {"timer-stop", stopTimers},
            {"cert-start", startCertificates}};
}

} // namespace tarn::demo

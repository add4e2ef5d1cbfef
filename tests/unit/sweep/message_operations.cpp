// Messages, notifications and timers.
#include <cstring>
#include <numeric>

#include "scripted_message.h"
#include "scripted_platform.h"
#include "scripted_timer.h"
#include "sweep.h"
#include "tarn_conference/conf_msg.h"
#include "tarn_conference/conf_notify.h"
#include "tarn_conference/conf_timer.h"
#include "tarn_platform/os_memory.h"

namespace tarn::test {

namespace {

constexpr char kReceiver[] = "meeting";
constexpr char kData[] = "sixteen letters.";
constexpr uint32_t kHandled = 0x1234;

uint32_t handler(uint32_t, void*, uint32_t) {
    return kHandled;
}

std::vector<uint32_t> delivered; // lengths of notifications
ConfCommTimerEntry table[1];
ConfTimer freeTimer;

// The answer raises each byte of the data and carries the handler's result.
std::vector<uint8_t> answered(std::vector<uint8_t> payload) {
    std::memcpy(payload.data() + offsetof(ConfCommMsgPayload, result), &kHandled, sizeof kHandled);
    payload[offsetof(ConfCommMsgPayload, data)] = 'A';
    return payload;
}

// A received call that wants an answer.
uint64_t process() {
    std::vector<uint8_t> bytes(CONF_MSG_PAYLOAD_OVERHEAD + 4);
    const ConfCommMsgHandler wanted = handler;
    const uint32_t length = 4;
    std::memcpy(bytes.data(), &wanted, sizeof(void*));
    std::memcpy(bytes.data() + offsetof(ConfCommMsgPayload, dataLength), &length, sizeof length);
    OsMsgRecord record = {};
    record.kind = 1;
    record.responseWanted = 1;
    record.payload = bytes.data();
    record.payloadLength = static_cast<uint32_t>(bytes.size());
    return ConfCommMsgProcess(&record);
}

std::string shownTimers() {
    std::string shown;
    for (const ScriptedTimer& timer : scriptedTimers().created) {
        shown += timer.deleted ? "" : timer.param.name + std::string(";");
    }
    for (void* const data : {table[0].data, freeTimer.data}) {
        shown += data == nullptr ? "-" : static_cast<const char*>(data);
    }
    return shown + (table[0].platformTimer != nullptr ? "t" : "") + (ConfTimerIsVaild(&freeTimer) ? "f" : "");
}

uint64_t startTable() {
    return ConfCommTimerStart(70, 5, kData, sizeof kData);
}

uint64_t startFree() {
    return ConfTimerStart(&freeTimer, 10, 5, kData, sizeof kData);
}

Subject messages() {
    Subject subject;
    subject.prepare = [] {
        scriptedMessages() = {};
        scriptedMessages().answer = answered;
        delivered.clear();
        ConfRegisterNotifyFunc([](uint32_t, void*, uint32_t length, uint32_t) {
            delivered.push_back(length);
            return 0U;
        });
    };
    subject.state = [] {
        return outputs().shown() + std::to_string(scriptedMessages().asynchronous.size()) +
               std::to_string(scriptedMessages().responses.size()) + std::to_string(delivered.size());
    };
    const auto send = [](const char* name, auto call, const std::string& receiver) {
        return op(name, [=] { return call(kReceiver, handler, 1, outputs().text(), 8, 1); },
                  {kHandled, CONF_MSG_ERR_SEND}, nullptr,
                  {"ConfCommMsgSynSend memcpy_s fail!", "ConfCommMsgSynSend memcpy_s fail, ret:400 [8, 8]",
                   "ConfCommMsgSynSend OsMsgSynSend fail 0x77 " + receiver + " meeting."});
    };
    subject.operations = {
        send("ConfCommMsgSynSendImpl", ConfCommMsgSynSendImpl, "recvProcName"),
        send("ConfCommMsgSynSendImplHaveResp", ConfCommMsgSynSendImplHaveResp, "recvTaskName"),
        op("ConfCommMsgAsynSend", [] { return ConfCommMsgAsynSend(kReceiver, handler, 1, kData, sizeof kData); },
           {0, CONF_MSG_ERR_SEND}, nullptr, {"ConfCommMsgAsynSend OsMsgAsynSend fail 0x78 recvProcName meeting"}),
        op("ConfCommMsgProcess", process, {0, 1, {{"OsMsgSynSendResp", 0}}},
           "the handler has run; only its answer is missing", {"ConfCommMsgProcess Resp fail! msgId:1, ret:0x79"}),
        op("ConfCommSendMultiPackNotifyToApp", [] { return ConfCommSendMultiPackNotifyToApp(1, nullptr, 3); },
           {0, 1, {{"OsMutexLock", 0}}}),
        op("GenerateMeetingServerMsgBlock",
           [] { return (outputs().block = GenerateMeetingServerMsgBlock(kData, sizeof kData)) != nullptr; }, {1, 0},
           nullptr, {"Null ptr.", "conf secure func failed, err = 400!\n"}),
    };
    return subject;
}

Subject timers() {
    Subject subject;
    subject.prepare = [] {
        scriptedTimers() = {};
        scriptedMessages() = {};
        freeTimer = {};
        table[0] = {};
        table[0].timerId = 70;
        table[0].mode = CONF_TIMER_ONE_SHOT;
        table[0].defaultDurationMs = 25;
        table[0].recvProcName = kReceiver;
        table[0].handler = handler;
        ConfCommTimerFuncInit(table, 1);
        ConfTimerInit(&freeTimer, 9, CONF_TIMER_ONE_SHOT, kReceiver, handler);
    };
    subject.state = [] { return shownTimers() + std::to_string(scriptedMessages().asynchronous.size()); };
    subject.finish = [] {
        ConfCommTimerInit(table, 1);
        ConfTimerStop(&freeTimer);
        ConfCommTimerFuncDeInit();
    };
    constexpr const char* kRuns = "a timer that has no data or no name runs all the same";
    const Answers alone = {0, 1, {{"OsMutexLock", 0}, {"strcpy_s", 0}}};
    Answers expiring = alone;
    // Memory and copies may be those of the expiry's message.
    expiring.results.insert({{"OsMsgAsynSend", 0}, {"OsMemMallocSetCharMon", kEither}, {"memcpy_s", kEither}});
    const auto withExpiry = [](uint64_t (*start)()) {
        return [=] {
            const uint64_t result = start();
            if (!scriptedTimers().created.empty()) {
                scriptedTimers().fire(0);
            }
            return result;
        };
    };
    subject.operations = {
        op("ConfCommTimerInit", [] { return ConfCommTimerInit(table, 1); }, {}, nullptr,
           {"OsSemInit fail! ret:1", "[InitTimer]SigEmptySet fail:144", "[InitTimer]OsSigAddSet fail:145",
            "[InitTimer]OsPthreadSigmask fail:146", "[InitTimer]Init 10ms tiemr failed:128"}),
        op("ConfCommTimerStartEx", [] { return ConfCommTimerStartEx(70, 0, 5, kData, sizeof kData); }, alone, kRuns,
           {"OsTmrCreate fail! ret:129", "conf secure func failed, err = 400!\n"}),
        op("ConfCommTimerStart", withExpiry(startTable), expiring, kRuns,
           {"[ConfCommTimerOut]ConfCommTimerIDOut send msg fail"}),
        op("ConfTimerStart", startFree, alone, kRuns,
           {"OsTmrCreate fail! ret:129", "conf secure func failed, err = 400!\n",
            "TARN_CONF_LOG_ERROR: CONF_MALLOC failed, timer->data is NULL!"}),
        op("ConfTimerStart/expiring", withExpiry(startFree), expiring, kRuns,
           {"[ConfCommTimerIDOut]ConfCommTimerIDOut send msg fail! ret:989a6c", "[ConfCommTimerIDOut]timer is NULL",
            "[ConfCommTimerIDOut]conf secure func failed, err = 400!\n"}),
        op("ConfBasicGetSysTime", [] { return ConfBasicGetSysTime(reinterpret_cast<ConfSysTime*>(outputs().text())); }),
    };
    return subject;
}

Subject runningTimers() {
    Subject subject = timers();
    subject.prepare = [prepare = subject.prepare] {
        prepare();
        startTable();
        startFree();
    };
    const auto stop = [](const char* name, auto call) {
        return op(
            name, [=] { return call(); }, {0, 1, {{kEveryCall, 0}}},
            "a timer that the platform does not delete runs on");
    };
    subject.operations = {
        stop("ConfCommTimerDeInit", ConfCommTimerDeInit),
        stop("ConfCommTimerStop", [] { return ConfCommTimerStop(70); }),
        stop("ConfTimerStop", [] { return ConfTimerStop(&freeTimer); }),
    };
    return subject;
}

} // namespace

std::vector<Subject> messageSubjects() {
    return {messages(), timers(), runningTimers()};
}

} // namespace tarn::test

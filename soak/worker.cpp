// Handlers and callbacks have no argument of their own, so what they work on stands in one place of the process.
#include "worker.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "holdings.h"
#include "tarn_conference/conf_cert.h"
#include "tarn_conference/conf_config.h"
#include "tarn_conference/conf_config_value.h"
#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_msg.h"
#include "tarn_conference/conf_notify.h"
#include "tarn_conference/conf_timer.h"
#include "tarn_host/host_message.h"
#include "tarn_platform/os_memory.h"

namespace tarn::soak {
namespace {

using namespace std::chrono_literals;

constexpr const char* kLogName = "soak_worker";
constexpr const char* kConfigKey = "Conf.Soak.value";
constexpr uint32_t kTimeoutMs = 10000;
constexpr uint32_t kTimerMs = 20;
constexpr uint32_t kPeriodic = CONF_TIMER_ONE_SHOT + 1;
constexpr uint32_t kQuestion = 1;
constexpr uint32_t kEvent = 2;
constexpr uint32_t kTick = 3;
constexpr uint32_t kEventsPerRound = 4;
constexpr uint64_t kRoundsPerConfigChange = 50;
constexpr auto kArrival = 1s;
constexpr auto kPause = 2ms; // so that five processes leave a core to others

WorkerPlace place;
int32_t configVariable = 0;
std::array<ConfCommTimerEntry, 1> timerTable = {}; // without rows: the timers here are free-standing

struct Question {
    uint64_t number;
    uint64_t answer;
    std::array<uint8_t, 240> filling;
};

struct Event {
    uint32_t sender;
    uint32_t receiver;
    uint32_t era;
    uint32_t reserved;
};

ProcessAccount& own() {
    return place.account->processes[place.index];
}

uint64_t answerOf(uint64_t number, size_t index) {
    return number * 0x9E3779B97F4A7C15U + index;
}

void expectSuccess(uint32_t result) {
    if (result != 0) {
        ++own().troubles;
    }
}

// --- what others ask of this process

uint32_t onQuestion(uint32_t, void* data, uint32_t length) {
    Question question;
    if (data == nullptr || length != sizeof question) {
        return 1;
    }
    std::memcpy(&question, data, sizeof question);
    question.answer = answerOf(question.number, place.index);
    std::memcpy(data, &question, sizeof question);
    return 0;
}

// An event comes as a notification: the message's handler hands it to the callback that is registered for those.
uint32_t onEvent(uint32_t id, void* data, uint32_t length) {
    return ConfCommSendNotifyToApp(id, data, length);
}

uint32_t onNotification(uint32_t, void* data, uint32_t length, uint32_t) {
    Event event;
    if (data == nullptr || length != sizeof event) {
        ++own().troubles;
        return 1;
    }
    std::memcpy(&event, data, sizeof event);
    if (event.era >= kEras || event.sender >= kProcesses || event.receiver != place.index) {
        ++own().troubles;
        return 1;
    }
    ++place.account->received[event.era][event.sender][event.receiver];
    return 0;
}

uint32_t onTick(uint32_t, void*, uint32_t) {
    ++own().expiries;
    return 0;
}

void onRecord(OsMsgRecord* record) {
    ConfCommMsgProcess(record);
}

void onConfigChange(ConfConfigKeyValue* items, uint8_t count) {
    ConfConfigSetList(items, count, 0);
    own().configChanges += count;
}

void bindConfig() {
    ConfConfigBind(kConfigKey, CONF_CONFIG_TYPE_INT, &configVariable, sizeof configVariable, onConfigChange);
}

void onCertificateChange() {
    ++own().certificateChanges;
}

// --- what this process asks of others

// Whether a failed message has its reason: the receiver was not there before or after, or was killed in between.
class ReasonToFail {
 public:
    explicit ReasonToFail(size_t receiver)
        : receiver_(receiver), era_(place.account->era), wasUp_(place.account->processes[receiver].isUp != 0) {}

    bool applies() const {
        if (!wasUp_ || place.account->processes[receiver_].isUp == 0) {
            return true;
        }
        for (uint32_t era = era_ + 1; era <= place.account->era; ++era) {
            if (place.account->killedAtStart[era] == receiver_) {
                return true;
            }
        }
        return false;
    }

 private:
    size_t receiver_;
    uint32_t era_;
    bool wasUp_;
};

void ask(size_t receiver, uint64_t number) {
    Question question = {};
    question.number = number;
    const ReasonToFail reason(receiver);
    ++own().calls;
    const uint32_t result =
        ConfCommMsgSynSendImpl(kNames[receiver], onQuestion, kQuestion, &question, sizeof question, kTimeoutMs);
    if (result == 0 && question.answer == answerOf(number, receiver)) {
        ++own().answered;
    } else if (result == CONF_MSG_ERR_SEND && reason.applies()) {
        ++own().failedCalls;
    } else {
        ++own().lostCalls;
    }
}

void tell(size_t receiver) {
    const Event event = {static_cast<uint32_t>(place.index), static_cast<uint32_t>(receiver), place.account->era, 0};
    std::atomic<uint32_t>& sent = place.account->sent[event.era][place.index][receiver];
    const ReasonToFail reason(receiver);
    ++sent;
    if (ConfCommMsgAsynSend(kNames[receiver], onEvent, kEvent, &event, sizeof event) != 0) {
        --sent;
        ++(reason.applies() ? own().refusedEvents : own().lostEvents);
    }
}

void changeConfig() {
    const int32_t next = place.account->configWritten + 1;
    expectSuccess(ConfConfigSetIntValue(kConfigKey, next));
    place.account->configWritten = next;
}

void oneRound(uint64_t round) {
    for (size_t receiver = 0; receiver < kProcesses; ++receiver) {
        if (receiver == place.index) {
            continue;
        }
        ask(receiver, round);
        for (uint32_t i = 0; i < kEventsPerRound; ++i) {
            tell(receiver);
        }
    }
    ConfLogPrintf(CONF_LOG_INFO, __func__, kLogName, __LINE__, "round %llu", static_cast<unsigned long long>(round));
    if (place.index == kConfigWriter && round % kRoundsPerConfigChange == 0) {
        changeConfig();
    }
}

// A second thread calls too: several calls of a process are on their way at once.
void askBeside() {
    for (uint64_t round = 1; place.account->order != Order::kEnd; ++round) {
        if (place.account->order == Order::kWork) {
            ask((place.index + 1 + round % (kProcesses - 1)) % kProcesses, round);
        }
        std::this_thread::sleep_for(kPause);
    }
}

// --- its life

// The platform's table of live blocks grows with the most that ever lived at once, part by part. Grown ahead, it has
// its size before the warm-up ends.
bool growBlockTable() {
    std::array<void*, 512> blocks = {};
    for (void*& block : blocks) {
        block = OsMemMallocSetCharMon(1, 0, 0, 0, __LINE__, kLogName);
    }
    const bool complete = std::find(blocks.begin(), blocks.end(), nullptr) == blocks.end();
    for (void* block : blocks) {
        OSMemTypeFreeMon(block, 0, 0, __LINE__, kLogName);
    }
    return complete;
}

uint32_t startAll(ConfTimer& timer) {
    ConfRegisterNotifyFunc(onNotification);
    uint32_t failures = ConfLogInit() != 0 ? 1 : 0;
    failures += growBlockTable() ? 0 : 1;
    failures += ConfCommTimerFuncInit(timerTable.data(), 0) != 0 ? 1 : 0;
    failures += ConfConfigInit(bindConfig, kNames[place.index], "Conf") != 0 ? 1 : 0;
    ConfConfigInitOmCfg();
    ConfCertInit(nullptr);
    ConfCertUpdateNotifyCallback(onCertificateChange);
    failures += OsMsgReceiverStart(kNames[place.index], onRecord) != 0 ? 1 : 0;
    failures += ConfTimerInit(&timer, 1, kPeriodic, kNames[place.index], onTick) != 0 ? 1 : 0;
    failures += ConfTimerStart(&timer, kTimerMs, kTick, nullptr, 0) != 0 ? 1 : 0;
    return failures;
}

void tellHoldings() {
    std::array<ConfCaCertEntry, CONF_CERT_MAX_CA_FILES> files = {};
    uint32_t count = 0;
    expectSuccess(ConfCertGetCaCertList(files.data(), &count));
    own().caFiles = count;
    own().configValue = configVariable;
    holdingsNow(); // the first time costs some memory for good
    own().holdings = holdingsNow();
}

// Once a rest: lets what is on its way arrive, then tells what is held.
void rest(uint32_t& restsSeen) {
    if (place.account->rests != restsSeen) {
        restsSeen = place.account->rests;
        std::this_thread::sleep_for(kArrival);
        tellHoldings();
        ++own().resting;
    }
    std::this_thread::sleep_for(kPause);
}

} // namespace

int runWorker(void* argument) {
    place = *static_cast<WorkerPlace*>(argument);
    ConfTimer timer = {};
    if (startAll(timer) != 0) {
        return 1;
    }
    own().isUp = 1;
    ++own().starts;
    std::thread beside(askBeside);
    uint32_t restsSeen = 0;
    for (uint64_t round = 1; place.account->order != Order::kEnd; ++round) {
        if (place.account->order == Order::kRest) {
            rest(restsSeen);
            continue;
        }
        oneRound(round);
        std::this_thread::sleep_for(kPause);
    }
    beside.join();
    ConfTimerStop(&timer);
    OsMsgReceiverStop(kNames[place.index]);
    ConfConfigUnInit();
    ConfConfigDeInit();
    ConfLogUnInit();
    return 0;
}

} // namespace tarn::soak

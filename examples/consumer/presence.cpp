// Two processes of an endpoint: "presence" knows who is there, "door" asks it who is.
//
// Both run from this one program, because a call carries the address of the function that answers it.
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_msg.h"
#include "tarn_host/host_launcher.h"
#include "tarn_host/host_message.h"

namespace {

constexpr const char* kLogName = "presence";
constexpr uint32_t kWhoIsThere = 1;
constexpr uint32_t kUnknownRoom = 404;
constexpr uint32_t kTimeoutMs = 5000;

struct Question {
    char room[16];
    uint32_t people;
};

// Runs in the process that was asked. The data are copied, since they need not be aligned.
uint32_t answer(uint32_t, void* data, uint32_t length) {
    Question question = {};
    if (length != sizeof question) {
        return kUnknownRoom;
    }
    std::memcpy(&question, data, sizeof question);
    question.people = std::strcmp(question.room, "garden") == 0 ? 3 : 0;
    std::memcpy(data, &question, sizeof question);
    ConfLogPrintf(CONF_LOG_INFO, __func__, kLogName, __LINE__, "%u in the %s", question.people, question.room);
    return question.people == 0 ? kUnknownRoom : 0;
}

void onRecord(OsMsgRecord* record) {
    ConfCommMsgProcess(record);
}

// Both ends of a pipe over which "presence" says that it can be asked.
struct Ready {
    int reader = -1;
    int writer = -1;
};

// Receives until the launcher ends it.
int runPresence(void* argument) {
    const Ready& ready = *static_cast<Ready*>(argument);
    if (ConfLogInit() != 0 || OsMsgReceiverStart("presence", onRecord) != 0 || write(ready.writer, "!", 1) != 1) {
        return 1;
    }
    for (;;) {
        pause();
    }
}

int runDoor(void* argument) {
    const Ready& ready = *static_cast<Ready*>(argument);
    char sign = 0;
    if (ConfLogInit() != 0 || read(ready.reader, &sign, 1) != 1) {
        return 1;
    }
    Question garden = {"garden", 0};
    Question cellar = {"cellar", 0};
    const uint32_t inGarden =
        ConfCommMsgSynSendImpl("presence", answer, kWhoIsThere, &garden, sizeof garden, kTimeoutMs);
    const uint32_t inCellar =
        ConfCommMsgSynSendImpl("presence", answer, kWhoIsThere, &cellar, sizeof cellar, kTimeoutMs);
    std::printf("door: %u people in the garden, none in the cellar\n", garden.people);
    std::fflush(stdout);
    ConfLogUnInit();
    return inGarden == 0 && garden.people == 3 && inCellar == kUnknownRoom ? 0 : 1;
}

} // namespace

int main() {
    Ready ready;
    int ends[2];
    TarnHostLauncher* launcher = TarnHostLauncherCreate();
    if (launcher == nullptr || pipe(ends) != 0) {
        return 1;
    }
    ready.reader = ends[0];
    ready.writer = ends[1];

    const TarnHostProcess presence = {"presence", runPresence, &ready};
    const TarnHostProcess door = {"door", runDoor, &ready};
    const bool started = TarnHostLauncherStart(launcher, &presence) == 0 && TarnHostLauncherStart(launcher, &door) == 0;
    TarnHostProcessState ended = {};
    const bool answered = started && TarnHostLauncherWait(launcher, 2 * kTimeoutMs, &ended) == 0 &&
                          std::strcmp(ended.name, "door") == 0 && ended.exitCode == 0 && ended.signal == 0;
    TarnHostLauncherDestroy(launcher);
    return answered ? 0 : 1;
}

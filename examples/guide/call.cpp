// Calls from one process to another: with and without waiting, and what comes back when it fails.
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

#include "promise.h"
// [includes]
#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_msg.h"
#include "tarn_host/host_launcher.h"
#include "tarn_host/host_message.h"
// [/includes]

namespace {

constexpr uint32_t kRefused = 400;

// [request]
struct Stream {
    uint32_t width;
    uint32_t height;
    uint32_t grantedKbps; // filled by the media process
};
// [/request]

// [handler]
// Runs in the media process.
uint32_t openStream(uint32_t, void* data, uint32_t length) {
    Stream stream;
    if (data == nullptr || length != sizeof stream) {
        return kRefused;
    }
    std::memcpy(&stream, data, sizeof stream); // the data are not aligned
    stream.grantedKbps = stream.width * stream.height / 500;
    std::memcpy(data, &stream, sizeof stream);
    return 0;
}
// [/handler]

uint32_t holdStream(uint32_t, void*, uint32_t) {
    usleep(500000);
    return 0;
}

std::atomic<uint32_t> counted = 0;

// [count]
uint32_t countEvent(uint32_t, void*, uint32_t) {
    ++counted;
    return 0;
}

uint32_t tellCount(uint32_t, void*, uint32_t) {
    return counted;
}
// [/count]

// [receive]
void onRecord(OsMsgRecord* record) {
    ConfCommMsgProcess(record);
}

int media(void*) {
    ConfLogInit();
    if (OsMsgReceiverStart("media", onRecord) != 0) {
        return 1;
    }
    pause(); // until the launcher ends it
    return 0;
}
// [/receive]

void waitForMedia() {
    // [absent]
    while (ConfCommMsgSynSend("media", tellCount, 0, nullptr, 0) == CONF_MSG_ERR_SEND) {
        usleep(10000);
    }
    // [/absent]
}

void callAndWait() {
    // [call]
    Stream stream = {1920, 1080, 0};
    const uint32_t result = ConfCommMsgSynSend("media", openStream, 1, &stream, sizeof stream);
    if (result == CONF_MSG_ERR_SEND) {
        ConfLogPrintf(CONF_LOG_ERROR, __func__, "meeting", __LINE__, "media does not answer");
    }
    // [/call]
    guide::promise(result == 0 && stream.grantedKbps == 4147, "the answer in the caller's own data");
}

void callWithTimeout() {
    // [timeout]
    const uint32_t result = ConfCommMsgSynSendImpl("media", holdStream, 2, nullptr, 0, 100);
    // [/timeout]
    guide::promise(result == CONF_MSG_ERR_SEND, "a call that takes longer than its timeout fails");
}

void sendWithoutWaiting() {
    // [send]
    for (uint32_t i = 0; i < 100; ++i) {
        ConfCommMsgAsynSend("media", countEvent, 3, nullptr, 0);
    }
    // [/send]
    const uint32_t count = ConfCommMsgSynSend("media", tellCount, 4, nullptr, 0);
    guide::promise(count == 100, "all events handled before a later call");
}

int meeting(void*) {
    ConfLogInit();
    waitForMedia();
    callAndWait();
    callWithTimeout();
    sendWithoutWaiting();
    return guide::result();
}

} // namespace

// [launch]
int main() {
    TarnHostLauncher* const launcher = TarnHostLauncherCreate();
    const TarnHostProcess processes[] = {{"media", media, nullptr}, {"meeting", meeting, nullptr}};
    for (const TarnHostProcess& process : processes) {
        if (TarnHostLauncherStart(launcher, &process) != 0) {
            return 1;
        }
    }
    TarnHostProcessState ended = {};
    const uint32_t waited = TarnHostLauncherWait(launcher, 30000, &ended); // here the meeting process ends first
    TarnHostLauncherDestroy(launcher);                                     // and this takes media down
    return waited == 0 && ended.signal == 0 ? ended.exitCode : 1;
}
// [/launch]

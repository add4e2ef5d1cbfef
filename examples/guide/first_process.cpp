// An image with two processes: a greeter, which answers calls until it is told to end, and a guest, which calls it.
#include <signal.h>
#include <unistd.h>

#include <cstdio>

// [includes]
#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_msg.h"
#include "tarn_host/host_launcher.h"
#include "tarn_host/host_message.h"
// [/includes]

namespace {

// [handler]
// Runs in the greeter, on its message thread, whoever calls.
uint32_t greet(uint32_t msgId, void* data, uint32_t length) {
    ConfLogPrintf(CONF_LOG_INFO, __func__, "greeter", __LINE__, "call %u", msgId);
    std::snprintf(static_cast<char*>(data), length, "good morning");
    return 0;
}
// [/handler]

// [greeter]
void onRecord(OsMsgRecord* record) {
    ConfCommMsgProcess(record);
}

int greeter(void*) {
    // Before any thread starts, so that none of them takes the signal.
    sigset_t end;
    sigemptyset(&end);
    sigaddset(&end, SIGTERM);
    sigprocmask(SIG_BLOCK, &end, nullptr);

    if (ConfLogInit() != 0) {
        return 1;
    }
    ConfLogPrintf(CONF_LOG_INFO, __func__, "greeter", __LINE__, "up");
    if (OsMsgReceiverStart("greeter", onRecord) != 0) {
        return 1;
    }
    int signal = 0;
    sigwait(&end, &signal);

    OsMsgReceiverStop("greeter");
    ConfLogPrintf(CONF_LOG_INFO, __func__, "greeter", __LINE__, "down");
    ConfLogUnInit();
    return 0;
}
// [/greeter]

// [guest]
int guest(void*) {
    if (ConfLogInit() != 0) {
        return 1;
    }
    char answer[32] = "";
    // The greeter may not receive yet.
    for (int i = 0; i < 500 && ConfCommMsgSynSend("greeter", greet, 7, answer, sizeof answer) != 0; ++i) {
        usleep(10000);
    }
    std::printf("the greeter says: %s\n", answer);
    ConfLogUnInit();
    return answer[0] == '\0' ? 1 : 0;
}
// [/guest]

// [table]
constexpr TarnHostProcess kProcesses[] = {{"greeter", greeter, nullptr}, {"guest", guest, nullptr}};
// [/table]

} // namespace

// [image]
extern "C" __attribute__((visibility("default"))) const TarnHostImage tarnHostImage;
const TarnHostImage tarnHostImage = {TARN_HOST_IMAGE_VERSION, 2, kProcesses};
// [/image]

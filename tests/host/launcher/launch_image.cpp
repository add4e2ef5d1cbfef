// An image for tarn_launch: processes that call each other through a function's address, as one image allows.
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <iterator>

#include "tarn_host/host_launcher.h"
#include "tarn_host/host_message.h"
#include "tarn_host/host_process.h"

namespace {

int served[2] = {-1, -1};

uint32_t twice(uint32_t number) {
    return number * 2;
}

struct Request {
    uint32_t (*handler)(uint32_t number);
    uint32_t number;
};

void run(OsMsgRecord* record) {
    Request request = {};
    std::memcpy(&request, record->payload, sizeof request);
    request.number = request.handler(request.number);
    OsMsgSynSendResp(record, &request, sizeof request);
    [[maybe_unused]] const ssize_t written = write(served[1], "s", 1);
}

// Serves one call.
int server(void* /*argument*/) {
    char byte = 0;
    if (pipe(served) != 0 || OsMsgReceiverStart(TarnHostProcessName(), run) != 0 || read(served[0], &byte, 1) != 1) {
        return 1;
    }
    return static_cast<int>(OsMsgReceiverStop(TarnHostProcessName()));
}

int client(void* /*argument*/) {
    Request request = {twice, 21};
    OsMsgRecord record = {};
    record.kind = 1;
    std::strcpy(record.senderName, "client");
    std::strcpy(record.receiverName, "server");
    record.payload = &request;
    record.payloadLength = sizeof request;
    OsMsgRecord* answer = nullptr;
    // The server may not be up yet.
    for (int i = 0; i < 1000 && answer == nullptr; i++) {
        OsMsgSynSend(&record, &answer, 20000);
        usleep(10000);
    }
    if (answer == nullptr) {
        return 1;
    }
    std::memcpy(&request, answer->payload, sizeof request);
    OsMsgSynRespFree(answer);
    std::puts(request.number == 42 ? "the client got its answer" : "a wrong answer");
    return request.number == 42 ? 0 : 1;
}

int failing(void* /*argument*/) {
    return 5;
}

// Stops its launcher, and so itself.
int stopper(void* /*argument*/) {
    kill(getppid(), SIGTERM);
    sleep(60);
    return 0;
}

constexpr TarnHostProcess kProcesses[] = {
    {"server", server, nullptr},
    {"client", client, nullptr},
    {"failing", failing, nullptr},
    {"stopper", stopper, nullptr},
};

} // namespace

extern "C" __attribute__((visibility("default"))) const TarnHostImage tarnHostImage;
const TarnHostImage tarnHostImage = {TARN_HOST_IMAGE_VERSION, std::size(kProcesses), kProcesses};

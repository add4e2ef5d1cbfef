// A program of its own, started by the message tests: another image than theirs.
//   message_stranger call NAME    calls NAME and ends with the code
//   message_stranger post NAME    sends to NAME until it is refused, and ends with the code
//   message_stranger alone        receives and calls itself: a whole round in a host directory of its own
#include <unistd.h>

#include <cstring>
#include <string_view>

#include "tarn_host/host_message.h"

namespace {

void echo(OsMsgRecord* record) {
    OsMsgSynSendResp(record, record->payload, record->payloadLength);
}

OsMsgRecord recordFor(const char* name) {
    static char text[] = "hello";
    OsMsgRecord record = {};
    record.kind = 1;
    std::strncpy(record.senderName, "stranger", sizeof record.senderName - 1);
    std::strncpy(record.receiverName, name, sizeof record.receiverName - 1);
    record.payload = text;
    record.payloadLength = sizeof text;
    return record;
}

uint32_t callOnce(const char* name) {
    OsMsgRecord record = recordFor(name);
    OsMsgRecord* answer = nullptr;
    const uint32_t code = OsMsgSynSend(&record, &answer, 10000);
    OsMsgSynRespFree(answer);
    return code;
}

uint32_t postOften(const char* name) {
    const OsMsgRecord record = recordFor(name);
    uint32_t code = 0;
    for (int i = 0; i < 1000 && code == 0; i++) {
        code = OsMsgAsynSend(&record);
        usleep(1000);
    }
    return code;
}

uint32_t aloneOnce() {
    const uint32_t started = OsMsgReceiverStart("alone", echo);
    return started != 0 ? started : callOnce("alone") | OsMsgReceiverStop("alone");
}

} // namespace

int main(int argc, char** argv) {
    const std::string_view what = argc > 1 ? argv[1] : "";
    if (what == "call" && argc == 3) {
        return static_cast<int>(callOnce(argv[2]));
    }
    if (what == "post" && argc == 3) {
        return static_cast<int>(postOften(argv[2]));
    }
    return what == "alone" ? static_cast<int>(aloneOnce()) : 255;
}

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

uint32_t callOnce(OsMsgRecord record) {
    OsMsgRecord* answer = nullptr;
    const uint32_t code = OsMsgSynSend(&record, &answer, 10000);
    OsMsgSynRespFree(answer);
    return code;
}

uint32_t postOften(const OsMsgRecord& record) {
    uint32_t code = 0;
    for (int i = 0; i < 1000 && code == 0; i++) {
        code = OsMsgAsynSend(&record);
        usleep(1000);
    }
    return code;
}

} // namespace

int main(int argc, char** argv) {
    const std::string_view way = argc > 1 ? argv[1] : "";
    char text[] = "hello";
    OsMsgRecord record = {};
    record.kind = 1;
    std::strcpy(record.senderName, "stranger");
    std::strncpy(record.receiverName, way == "alone" || argc < 3 ? "alone" : argv[2], sizeof record.receiverName - 1);
    record.payload = text;
    record.payloadLength = sizeof text;
    if (way == "post") {
        return static_cast<int>(postOften(record));
    }
    const uint32_t started = way == "alone" ? OsMsgReceiverStart("alone", echo) : 0;
    return static_cast<int>(started != 0 ? started : callOnce(record));
}

// A program of its own, started by the message tests: another image than theirs. Calls the receiver that is named, or,
// without a name, one of its own, which takes a whole round in its host directory; ends with the code.
#include <cstring>

#include "tarn_host/host_message.h"

namespace {

void echo(OsMsgRecord* record) {
    OsMsgSynSendResp(record, record->payload, record->payloadLength);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2 && OsMsgReceiverStart("alone", echo) != 0) {
        return 1;
    }
    char text[] = "hello";
    OsMsgRecord record = {};
    record.kind = 1;
    std::strcpy(record.senderName, "stranger");
    std::strncpy(record.receiverName, argc < 2 ? "alone" : argv[1], sizeof record.receiverName - 1);
    record.payload = text;
    record.payloadLength = sizeof text;
    OsMsgRecord* answer = nullptr;
    const uint32_t code = OsMsgSynSend(&record, &answer, 10000);
    OsMsgSynRespFree(answer);
    return static_cast<int>(code);
}

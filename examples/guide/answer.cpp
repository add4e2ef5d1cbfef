// A call whose answer is longer than its request: the handler attaches a block.
#include <unistd.h>

#include <cstring>
#include <string>

#include "promise.h"
// [includes]
#include "tarn_conference/conf_msg.h"
#include "tarn_conference/conf_notify.h"
#include "tarn_platform/os_memory.h"
// [/includes]
#include "tarn_host/host_message.h"

namespace {

constexpr const char* kFile = "participants";

// [handler]
uint32_t listParticipants(uint32_t, void* data, uint32_t length) {
    ConfMeetingServerMsgBlock block;
    if (length < sizeof block) {
        return 400;
    }
    std::memcpy(&block, data, sizeof block);
    const std::string answer = "Ada, Grace, Edsger, Barbara";
    block.resultLength = static_cast<uint32_t>(answer.size());
    block.result = OsMemMallocSetCharMon(block.resultLength, 0, 0, 0, __LINE__, kFile);
    if (block.result == nullptr) {
        return 500;
    }
    std::memcpy(block.result, answer.data(), answer.size()); // the block now belongs to the answer
    std::memcpy(data, &block, sizeof block);
    return 0;
}
// [/handler]

// [call]
std::string participants() {
    ConfMeetingServerMsgBlock* const block = GenerateMeetingServerMsgBlock("room 7", 6);
    if (block == nullptr) {
        return {};
    }
    std::string answer;
    const uint32_t bytes = GetMeetingServerMsgBlockSize(block);
    if (ConfCommMsgSynSendImplHaveResp("application", listParticipants, 1, block, bytes, 3000) == 0) {
        answer.assign(static_cast<const char*>(block->result), block->resultLength);
        OSMemTypeFreeMon(block->result, 0, 0, __LINE__, kFile);
    }
    OSMemTypeFreeMon(block, 0, 0, __LINE__, kFile);
    return answer;
}
// [/call]

void onRecord(OsMsgRecord* record) {
    ConfCommMsgProcess(record);
}

} // namespace

// A process may call itself from any thread but its message thread.
int main() {
    if (OsMsgReceiverStart("application", onRecord) != 0) {
        return 1;
    }
    guide::promise(participants() == "Ada, Grace, Edsger, Barbara", "a long answer");
    OsMsgReceiverStop("application");
    return guide::result();
}

// Incoming message records: a record whose every field a sender chooses, with a payload of exactly its length. A sender
// of the same image names only functions that exist, so the handler is one of a few.
#include <cstring>

#include "input.h"
#include "scripted_run.h"
#include "tarn_conference/conf_config.h"
#include "tarn_conference/conf_msg.h"
#include "tarn_conference/conf_notify.h"
#include "tarn_platform/os_memory.h"

namespace {

using tarn::fuzz::ScriptedRun;

constexpr size_t kDataOffset = offsetof(ConfCommMsgPayload, data);

struct Call {
    uint32_t count = 0;
    uint32_t msgId = 0;
    void* data = nullptr;
    uint32_t length = 0;
};

Call seen;

void note(uint32_t msgId, void* data, uint32_t length) {
    FUZZ_CHECK((data == nullptr) == (length == 0));
    seen = {seen.count + 1, msgId, data, length};
}

// Changes all of the data, so that a length that is too long is seen; but not the data of a call that may attach a
// block to them, where the platform looks for it.
bool mayAttach = false;

uint32_t invert(uint32_t msgId, void* data, uint32_t length) {
    note(msgId, data, length);
    auto* const bytes = static_cast<uint8_t*>(data);
    for (uint32_t i = 0; i < length && !mayAttach; ++i) {
        bytes[i] = static_cast<uint8_t>(~bytes[i]);
    }
    return msgId ^ 0x55U;
}

// Attaches a result block wherever the data have room for the pointer. What a sender put there counts for nothing.
uint32_t attach(uint32_t msgId, void* data, uint32_t length) {
    note(msgId, data, length);
    constexpr size_t kPointerOffset = offsetof(ConfMeetingServerMsgBlock, result);
    if (length >= kPointerOffset + sizeof(void*)) {
        void* const block = OsMemMallocSetCharMon(8, 0, 0, 0, __LINE__, "fuzz");
        std::memcpy(static_cast<uint8_t*>(data) + kPointerOffset, &block, sizeof block);
    }
    return 0;
}

// As a process answers the reading of configuration values.
uint32_t readConfig(uint32_t msgId, void* data, uint32_t length) {
    note(msgId, data, length);
    void* const none = nullptr;
    constexpr size_t kPointerOffset = offsetof(ConfMeetingServerMsgBlock, result);
    if (length < kPointerOffset + sizeof none) {
        return 1;
    }
    std::memcpy(static_cast<uint8_t*>(data) + kPointerOffset, &none, sizeof none);
    return ConfConfigGetConfConfig(0, static_cast<ConfMeetingServerMsgBlock*>(data), length);
}

constexpr ConfCommMsgHandler kHandlers[] = {nullptr, invert, attach, readConfig};

// The block that the handler attached, when the answer could be sent or no one waited for it.
void releaseAttached(const ConfCommMsgPayload& payload) {
    void* block = nullptr;
    if (payload.dataLength >= offsetof(ConfMeetingServerMsgBlock, result) + sizeof block) {
        const auto* const data = reinterpret_cast<const uint8_t*>(&payload) + kDataOffset;
        std::memcpy(&block, data + offsetof(ConfMeetingServerMsgBlock, result), sizeof block);
        OSMemTypeFreeMon(block, 0, 0, __LINE__, "fuzz");
    }
}

// As a platform delivers it: where a block may be attached there is no pointer of the sender's.
void clearPointer(const OsMsgRecord& record, uint8_t* payload) {
    constexpr size_t kPointerOffset = offsetof(ConfMeetingServerMsgBlock, result);
    constexpr size_t kPointerEnd = kPointerOffset + sizeof(void*);
    uint32_t dataLength = 0;
    if (record.kind != CONF_MSG_KIND_ANSWER_BLOCK || record.payloadLength < kDataOffset + kPointerEnd) {
        return;
    }
    std::memcpy(&dataLength, payload + offsetof(ConfCommMsgPayload, dataLength), sizeof dataLength);
    if (dataLength >= kPointerEnd) {
        std::memset(payload + kDataOffset + kPointerOffset, 0, sizeof(void*));
    }
}

uint32_t expected(const OsMsgRecord& record, const ConfCommMsgPayload* payload, ConfCommMsgHandler handler) {
    if (record.kind != CONF_MSG_KIND_PLAIN && record.kind != CONF_MSG_KIND_ANSWER_BLOCK) {
        return 1;
    }
    if (payload == nullptr || record.payloadLength < CONF_MSG_PAYLOAD_OVERHEAD) {
        return CONF_MSG_ERR_PAYLOAD;
    }
    if (handler == nullptr) {
        return 1;
    }
    return payload->dataLength > record.payloadLength - kDataOffset ? CONF_MSG_ERR_PAYLOAD : 0;
}

void fuzzMessageRecord(std::span<const uint8_t> bytes) {
    const ScriptedRun run;
    tarn::fuzz::Input input(bytes);
    const uint8_t choice = input.byte();
    const ConfCommMsgHandler handler = kHandlers[choice & 3U];
    const bool attaches = handler == attach || handler == readConfig;
    const bool refused = (choice & 4U) != 0;
    OsMsgRecord record = {};
    // Who attaches a block is called with the kind that says so.
    record.kind = attaches ? CONF_MSG_KIND_ANSWER_BLOCK : input.byte();
    record.responseWanted = (choice & 8U) != 0 ? 1 : input.byte();
    const std::span<const uint8_t> content = input.rest();
    std::vector<uint8_t> payload(content.begin(), content.end());
    auto* const call = content.empty() ? nullptr : reinterpret_cast<ConfCommMsgPayload*>(payload.data());
    record.payload = call;
    record.payloadLength = static_cast<uint32_t>(content.size());
    if (content.size() >= sizeof handler) {
        std::memcpy(payload.data(), &handler, sizeof handler);
    }
    clearPointer(record, payload.data());
    mayAttach = record.kind == CONF_MSG_KIND_ANSWER_BLOCK;
    const std::vector<uint8_t> delivered = payload;
    const uint32_t result = expected(record, call, handler);
    if (refused) {
        ScriptedRun::platform().failNth("OsMsgSynSendResp", 1);
    }
    seen = {};
    FUZZ_CHECK(ConfCommMsgProcess(&record) == result);
    const auto& responses = tarn::test::scriptedMessages().responses;
    const bool answered = result == 0 && record.responseWanted == 1;
    FUZZ_CHECK(seen.count == (result == 0 ? 1U : 0U));
    FUZZ_CHECK(responses.size() == (answered && !refused ? 1U : 0U));
    if (result != 0 || call == nullptr) {
        FUZZ_CHECK(delivered == payload);
        return;
    }
    FUZZ_CHECK(seen.msgId == call->msgId && seen.length == call->dataLength);
    FUZZ_CHECK(seen.length == 0 || seen.data == payload.data() + kDataOffset);
    FUZZ_CHECK(responses.empty() || responses[0] == payload);
    if (attaches && !(answered && refused)) {
        releaseAttached(*call);
    }
}

const tarn::fuzz::Target target("message_record", fuzzMessageRecord);

} // namespace

#include "scripted_message.h"

#include <algorithm>
#include <mutex>

#include "scripted_platform.h"

using tarn::test::scriptedMessages;
using tarn::test::ScriptedPlatform;

namespace {

std::mutex messagesMutex;

tarn::test::SentMessage copyOf(const OsMsgRecord& record, uint32_t timeoutMs) {
    const auto* bytes = static_cast<const uint8_t*>(record.payload);
    return {record, {bytes, bytes + record.payloadLength}, timeoutMs};
}

struct AnswerRecord {
    OsMsgRecord record;
    std::vector<uint8_t> payload;
};

} // namespace

tarn::test::ScriptedMessages& tarn::test::scriptedMessages() {
    static ScriptedMessages messages;
    return messages;
}

uint32_t OsMsgSynSend(OsMsgRecord* record, OsMsgRecord** answer, uint32_t timeoutMs) {
    if (ScriptedPlatform::get().enter("OsMsgSynSend")) {
        return 0x77;
    }
    const std::lock_guard lock(messagesMutex);
    auto& messages = scriptedMessages();
    messages.synchronous.push_back(copyOf(*record, timeoutMs));
    if (messages.noAnswerRecord) {
        return 0;
    }
    auto payload = messages.synchronous.back().payload;
    if (messages.answer) {
        payload = messages.answer(payload);
    }
    auto* given = new AnswerRecord{*record, std::move(payload)};
    given->record.payload = given->payload.empty() ? nullptr : given->payload.data();
    given->record.payloadLength = static_cast<uint32_t>(given->payload.size());
    ScriptedPlatform::get().blockMade();
    *answer = &given->record;
    return 0;
}

void OsMsgSynRespFree(OsMsgRecord* answer) {
    ScriptedPlatform::get().enterInfallible("OsMsgSynRespFree");
    if (answer != nullptr) {
        ScriptedPlatform::get().blockFreed();
        delete reinterpret_cast<AnswerRecord*>(answer);
    }
}

uint32_t OsMsgAsynSend(const OsMsgRecord* record) {
    if (ScriptedPlatform::get().enter("OsMsgAsynSend")) {
        return 0x78;
    }
    if (scriptedMessages().whileSending) {
        scriptedMessages().whileSending();
    }
    const std::lock_guard lock(messagesMutex);
    scriptedMessages().asynchronous.push_back(copyOf(*record, 0));
    return 0;
}

uint32_t OsMsgSynSendResp(const OsMsgRecord*, const void* payload, uint32_t payloadLength) {
    if (ScriptedPlatform::get().enter("OsMsgSynSendResp")) {
        return 0x79;
    }
    const std::lock_guard lock(messagesMutex);
    const auto* bytes = static_cast<const uint8_t*>(payload);
    scriptedMessages().responses.emplace_back(bytes, bytes + payloadLength);
    return 0;
}

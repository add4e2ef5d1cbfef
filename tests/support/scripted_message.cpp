#include "scripted_message.h"

#include <algorithm>
#include <mutex>

using namespace tarn::test;

namespace {

std::mutex messagesMutex;

SentMessage copyOf(const OsMsgRecord& record, uint32_t timeoutMs) {
    const auto* bytes = static_cast<const uint8_t*>(record.payload);
    return {record, {bytes, bytes + record.payloadLength}, timeoutMs};
}

struct AnswerRecord {
    OsMsgRecord record;
    std::vector<uint8_t> payload;
};

} // namespace

uint32_t OsMsgSynSend(OsMsgRecord* record, OsMsgRecord** answer, uint32_t timeoutMs) {
    return scriptedCall(__func__, 0x77U, [=] {
        const std::lock_guard lock(messagesMutex);
        auto& messages = scriptedMessages();
        messages.synchronous.push_back(copyOf(*record, timeoutMs));
        if (messages.noAnswerRecord) {
            return;
        }
        const auto& payload = messages.synchronous.back().payload;
        auto* given = new AnswerRecord{*record, messages.answer ? messages.answer(payload) : payload};
        given->record.payload = given->payload.empty() ? nullptr : given->payload.data();
        given->record.payloadLength = static_cast<uint32_t>(given->payload.size());
        ScriptedPlatform::get().blockMade();
        *answer = &given->record;
    });
}

void OsMsgSynRespFree(OsMsgRecord* answer) {
    ScriptedPlatform::get().enterInfallible(__func__);
    if (answer != nullptr) {
        ScriptedPlatform::get().blockFreed();
        delete reinterpret_cast<AnswerRecord*>(answer);
    }
}

uint32_t OsMsgAsynSend(const OsMsgRecord* record) {
    return scriptedCall(__func__, 0x78U, [=] {
        if (scriptedMessages().whileSending) {
            scriptedMessages().whileSending();
        }
        const std::lock_guard lock(messagesMutex);
        scriptedMessages().asynchronous.push_back(copyOf(*record, 0));
    });
}

uint32_t OsMsgSynSendResp(const OsMsgRecord*, const void* payload, uint32_t payloadLength) {
    return scriptedCall(__func__, 0x79U, [=] {
        const std::lock_guard lock(messagesMutex);
        const auto* bytes = static_cast<const uint8_t*>(payload);
        scriptedMessages().responses.emplace_back(bytes, bytes + payloadLength);
    });
}

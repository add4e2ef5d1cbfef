// The message service of the scripted platform: what was sent, and what a test wants answered.
#pragma once

#include <functional>

#include "scripted_platform.h"
#include "tarn_platform/os_message.h"

namespace tarn::test {

// A record that was sent, with a copy of its payload.
struct SentMessage {
    OsMsgRecord record;
    std::vector<uint8_t> payload;
    uint32_t timeoutMs; // of a synchronous send
};

struct ScriptedMessages {
    std::vector<SentMessage> synchronous;
    std::vector<SentMessage> asynchronous;
    std::vector<std::vector<uint8_t>> responses;

    // Makes the payload of the answer to a synchronous send out of the sent payload; without one the sent payload comes
    // back. An empty result is an answer without a payload.
    std::function<std::vector<uint8_t>(std::vector<uint8_t>)> answer;
    // Whether a synchronous send succeeds with no answer record at all.
    bool noAnswerRecord = false;
    // Runs in the middle of each asynchronous send.
    std::function<void()> whileSending;
};

inline constexpr auto scriptedMessages = stateOf<ScriptedMessages>;

} // namespace tarn::test

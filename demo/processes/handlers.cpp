#include "processes/handlers.h"

#include <cJSON.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "processes/inbox.h"
#include "tarn_conference/conf_config.h"
#include "tarn_conference/conf_json.h"
#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_notify.h"
#include "tarn_platform/os_memory.h"

namespace tarn::demo {
namespace {

constexpr const char* kLogName = "handlers";
constexpr uint32_t kRefused = 400;
constexpr std::string_view kParticipants = "Ada, Grace, Edsger, Barbara";

} // namespace

// Data arrive behind a 20-byte header and so unaligned: they are copied out and back.
uint32_t openStream(uint32_t, void* data, uint32_t length) {
    StreamRequest request;
    if (data == nullptr || length != sizeof request) {
        return kRefused;
    }
    std::memcpy(&request, data, sizeof request);
    request.grantedKbps = request.width * request.height / 500;
    std::memcpy(data, &request, sizeof request);
    return kStreamAccepted + request.streamId;
}

uint32_t holdStream(uint32_t msgId, void* data, uint32_t length) {
    StreamRequest request = {};
    std::memcpy(&request, data, std::min<size_t>(length, sizeof request));
    ConfLogPrintf(CONF_LOG_INFO, __func__, kLogName, __LINE__, "stream %u held for %u ms", request.streamId,
                  request.holdMs);
    inbox().note("held", std::to_string(request.streamId));
    std::this_thread::sleep_for(std::chrono::milliseconds(request.holdMs));
    return openStream(msgId, data, length);
}

uint32_t noteStreamEvent(uint32_t, void* data, uint32_t length) {
    const std::string text(static_cast<const char*>(data), length);
    ConfLogPrintf(CONF_LOG_INFO, __func__, kLogName, __LINE__, "event: %s", text.c_str());
    inbox().note("stream-event", text);
    return 0;
}

uint32_t listParticipants(uint32_t, void* data, uint32_t length) {
    ConfMeetingServerMsgBlock block;
    if (length < sizeof block) {
        return kRefused;
    }
    std::memcpy(&block, data, sizeof block);
    block.resultLength = static_cast<uint32_t>(kParticipants.size());
    block.result = OsMemMallocSetCharMon(block.resultLength, 0, 0, 0, __LINE__, kLogName);
    if (block.result == nullptr) {
        return kRefused;
    }
    std::memcpy(block.result, kParticipants.data(), kParticipants.size());
    std::memcpy(data, &block, sizeof block);
    return 0;
}

uint32_t readInvitation(uint32_t, void* data, uint32_t length) {
    const std::string text(static_cast<const char*>(data), length);
    cJSON* const root = ConfJsonParse(text.c_str());
    if (root == nullptr) {
        return kRefused;
    }
    const std::string action = ConfJsonGetString(root, "action", "none");
    const int participants = ConfJsonGetInt(root, "maxParticipants", 2);
    const int bandwidth = ConfJsonGetInt(root, "bandwidth", 1920);
    const bool encrypted = ConfJsonGetBool(root, "encrypted", false);
    cJSON_Delete(root);
    inbox().note("invitation", action + ", " + std::to_string(participants) + " participants, " +
                                   std::to_string(bandwidth) + " kbit/s, " +
                                   (encrypted ? "encrypted" : "in the clear"));
    return 0;
}

uint32_t serveConfigGet(uint32_t, void* data, uint32_t length) {
    return ConfConfigGetConfConfig(0, static_cast<ConfMeetingServerMsgBlock*>(data), length);
}

uint32_t serveConfigSet(uint32_t, void* data, uint32_t length) {
    auto* const block = static_cast<ConfMeetingServerMsgBlock*>(data);
    if (length < sizeof *block || GetMeetingServerMsgBlockSize(block) > length) {
        return kRefused;
    }
    return ConfConfigSetConfConfig(0, block);
}

uint32_t timerExpired(uint32_t, void* data, uint32_t length) {
    TimerData timer;
    if (data == nullptr || length != sizeof timer) {
        return kRefused;
    }
    std::memcpy(&timer, data, sizeof timer);
    inbox().note(std::string("timer:") + timer.name.data(), std::to_string(monotonicNs() - timer.startedNs));
    return 0;
}

} // namespace tarn::demo

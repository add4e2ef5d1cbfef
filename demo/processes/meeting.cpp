// The meeting service: it is the one that calls the others.
#include <algorithm>
#include <chrono>
#include <cstring>
#include <string_view>
#include <vector>

#include "processes/certificates.h"
#include "processes/handlers.h"
#include "processes/inbox.h"
#include "processes/meeting_orders.h"
#include "processes/notification_bridge.h"
#include "processes/service_process.h"
#include "tarn_conference/conf_msg.h"
#include "tarn_conference/conf_notify.h"
#include "tarn_platform/os_memory.h"

namespace tarn::demo {
namespace {

constexpr const char* kLogName = "meeting";

StreamRequest makeRequest(uint32_t streamId, uint32_t holdMs) {
    StreamRequest request = {streamId, 1920, 1080, 0, holdMs, {}};
    constexpr std::string_view kLabel = "main camera";
    std::copy(kLabel.begin(), kLabel.end(), request.label.begin());
    return request;
}

std::string elapsedUs(uint64_t sinceNs) {
    return std::to_string((monotonicNs() - sinceNs) / 1000);
}

// open-streams COUNT: that many synchronous calls, each answered with a bit rate in its own data.
Reply openStreams(const Arguments& arguments) {
    const uint32_t count = std::max(number(arguments, 0), 1U);
    std::vector<uint64_t> durations;
    uint32_t wrong = 0;
    StreamRequest request = {};
    for (uint32_t id = 0; id < count; ++id) {
        request = makeRequest(id, 0);
        const uint64_t start = monotonicNs();
        const uint32_t result = ConfCommMsgSynSend(kMedia, openStream, kMsgOpenStream, &request, sizeof request);
        durations.push_back(monotonicNs() - start);
        wrong += result == kStreamAccepted + id && request.grantedKbps == 1920 * 1080 / 500 ? 0 : 1;
    }
    std::sort(durations.begin(), durations.end());
    return {{"calls", std::to_string(count)},
            {"wrong", std::to_string(wrong)},
            {"kbps", std::to_string(request.grantedKbps)},
            {"median_ns", std::to_string(durations[durations.size() / 2])},
            {"p99_ns", std::to_string(durations[durations.size() * 99 / 100])}};
}

// hold-stream HOLD_MS TIMEOUT_MS: one call that the media service holds.
Reply callHolding(const Arguments& arguments) {
    StreamRequest request = makeRequest(9, number(arguments, 0));
    const uint64_t start = monotonicNs();
    const uint32_t result =
        ConfCommMsgSynSendImpl(kMedia, holdStream, kMsgHoldStream, &request, sizeof request, number(arguments, 1));
    return {{"result", std::to_string(result)}, {"elapsed_us", elapsedUs(start)}};
}

// ask-participants: a call whose handler attaches an answer block of its own.
Reply askParticipants(const Arguments&) {
    ConfMeetingServerMsgBlock* block = GenerateMeetingServerMsgBlock("who?", 4);
    if (block == nullptr) {
        return {{"error", "no memory"}};
    }
    const uint32_t result = ConfCommMsgSynSendImplHaveResp(kApplication, listParticipants, kMsgListParticipants, block,
                                                           GetMeetingServerMsgBlockSize(block), 1000);
    Reply reply = {{"result", std::to_string(result)}, {"length", std::to_string(block->resultLength)}};
    if (block->result != nullptr) {
        reply["participants"] = std::string(static_cast<const char*>(block->result), block->resultLength);
    }
    OSMemTypeFreeMon(block->result, 0, 0, __LINE__, kLogName);
    OSMemTypeFreeMon(block, 0, 0, __LINE__, kLogName);
    return reply;
}

// send-events COUNT: that many messages nobody waits for, each with a text.
Reply sendEvents(const Arguments& arguments) {
    uint32_t sent = 0;
    const uint64_t start = monotonicNs();
    for (uint32_t i = 0; i < number(arguments, 0); ++i) {
        const std::string text = "frame " + std::to_string(i);
        const uint32_t result = ConfCommMsgAsynSend(kMedia, noteStreamEvent, kMsgStreamEvent, text.data(),
                                                    static_cast<uint32_t>(text.size()));
        sent += result == 0 ? 1 : 0;
    }
    return {{"sent", std::to_string(sent)}, {"elapsed_us", elapsedUs(start)}};
}

} // namespace

Orders meetingOrders() {
    registerForwarding();
    return {{"open-streams", openStreams}, {"hold-stream", callHolding},    {"ask-participants", askParticipants},
            {"send-events", sendEvents},   {"notify-single", notifySingle}, {"notify-large", notifyLarge},
            {"json-request", jsonRequest}, {"log-masked", logMasked},       {"config-get", getConfigList},
            {"config-set", setConfigList}, {"xml-message", sendXmlMessage}, {"tls-talk", talkOverTls}};
}

} // namespace tarn::demo

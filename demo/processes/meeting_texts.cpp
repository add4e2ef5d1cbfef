// The meeting service's notifications, its JSON request and its masked log lines.
#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>
#include <thread>
#include <vector>

#include "processes/handlers.h"
#include "processes/meeting_orders.h"
#include "processes/notification_bridge.h"
#include "tarn_conference/conf_filter.h"
#include "tarn_conference/conf_json.h"
#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_msg.h"
#include "tarn_conference/conf_notify.h"
#include "tarn_platform/os_memory.h"

namespace tarn::demo {
namespace {

constexpr const char* kLogName = "meeting";

std::vector<uint8_t> pattern(uint32_t length, uint32_t seed) {
    std::vector<uint8_t> bytes(length);
    uint32_t state = seed;
    std::generate(bytes.begin(), bytes.end(), [&] {
        state = state * 1664525U + 1013904223U;
        return static_cast<uint8_t>(state >> 24U);
    });
    return bytes;
}

uint32_t sendInPackets(uint32_t id, std::vector<uint8_t>& bytes) {
    return ConfCommSendMultiPackNotifyToApp(id, bytes.data(), static_cast<uint32_t>(bytes.size()));
}

// A log line with every occurrence of the stored device address masked; the text itself on failure.
std::string withoutAddress(const std::string& text, const char* address) {
    char* replaced = nullptr;
    uint32_t length = 0;
    if (ConfFilterSetIPStr(address) != 0 || ConfReplaceIPAddrStr(text.c_str(), &replaced, &length) != 0) {
        return text;
    }
    std::string result(replaced, length);
    OSMemTypeFreeMon(replaced, 0, 0, __LINE__, kLogName);
    return result;
}

} // namespace

// notify-single TEXT
Reply notifySingle(const Arguments& arguments) {
    std::string text = arguments.at(0);
    const uint32_t result = ConfCommSendNotifyToApp(kNotifySingle, text.data(), static_cast<uint32_t>(text.size()));
    return {{"result", std::to_string(result)}, {"sha256", sha256(text.data(), static_cast<uint32_t>(text.size()))}};
}

// notify-large RECORDING_BYTES SLIDES_BYTES: both at once, from two threads.
Reply notifyLarge(const Arguments& arguments) {
    std::vector<uint8_t> recording = pattern(number(arguments, 0), 1);
    std::vector<uint8_t> slides = pattern(number(arguments, 1), 2);
    uint32_t slidesResult = 0;
    std::thread other([&] { slidesResult = sendInPackets(kNotifySlides, slides); });
    const uint32_t recordingResult = sendInPackets(kNotifyRecording, recording);
    other.join();
    return {{"result", std::to_string(recordingResult + slidesResult)},
            {"recording", sha256(recording.data(), static_cast<uint32_t>(recording.size()))},
            {"slides", sha256(slides.data(), static_cast<uint32_t>(slides.size()))}};
}

// json-request: a request built as JSON text, answered by the application.
Reply jsonRequest(const Arguments&) {
    std::array<ConfJsonItem, 4> items = {};
    items[0].type = CONF_JSON_TYPE_STRING;
    items[0].key = "action";
    items[0].string = "invite";
    items[1].type = CONF_JSON_TYPE_NUMBER;
    items[1].key = "maxParticipants";
    items[1].number = 25;
    items[2].type = CONF_JSON_TYPE_NUMBER;
    items[2].key = "bandwidth";
    items[2].number = 4e9; // more than an int holds
    items[3].type = CONF_JSON_TYPE_BOOL;
    items[3].key = "encrypted";
    items[3].boolean = true;
    std::string request;
    if (ConfJsonCreateAndPrintMultipleItems(request, items.data(), static_cast<unsigned int>(items.size())) != 0) {
        return {{"error", "no request"}};
    }
    Reply reply = {{"request-bytes", std::to_string(request.size())}};
    reply["result"] = std::to_string(ConfCommMsgSynSend(kApplication, readInvitation, kMsgInvitation, request.data(),
                                                        static_cast<uint32_t>(request.size())));
    return reply;
}

// log-masked: one line for the log with everything in it that must not get there whole.
Reply logMasked(const Arguments&) {
    std::string text =
        "call tel:13812345678\r from user-eid=aaaa;bbbbbb;cc\"; device 192.168.1.100 and fe80::1:2:3:4 registered";
    ConfFilterNonSecurityWordEx(text.data(), "tel:", "\r");
    ConfFilterNonSecurityWordEx(text.data(), "user-eid=", "\"");
    text = withoutAddress(text, "192.168.1.100");
    text = withoutAddress(text, "fe80::1:2:3:4");
    ConfLogPrintf(CONF_LOG_INFO, __func__, kLogName, __LINE__, "%s", text.c_str());
    return {{"result", "0"}};
}

} // namespace tarn::demo

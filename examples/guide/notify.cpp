// Notifications: a small one, and a large one that comes in packets.
#include <cstring>
#include <string>
#include <vector>

#include "promise.h"
// [includes]
#include "tarn_conference/conf_notify.h"
// [/includes]

namespace {

constexpr uint32_t kCallEnded = 12;
constexpr uint32_t kRecording = 30;

std::string lastText;
std::vector<char> recording;

// [assemble]
std::vector<char> assembly;
uint32_t packetsLeft = 0;

// What belongs to a recording: first the header, then as many packets as it says.
void takePacket(const void* data, uint32_t length) {
    ConfMultiPacketHeader header = {};
    if (packetsLeft == 0 && length == sizeof header) {
        std::memcpy(&header, data, sizeof header);
        if (header.marker == CONF_NOTIFY_PACKET_MARKER) {
            packetsLeft = header.packetCount;
            assembly.clear();
            assembly.reserve(header.totalLength);
        }
        return;
    }
    const char* const bytes = static_cast<const char*>(data);
    assembly.insert(assembly.end(), bytes, bytes + length);
    if (--packetsLeft == 0) {
        recording = assembly;
    }
}
// [/assemble]

// [callback]
uint32_t onNotify(uint32_t id, void* data, uint32_t length, uint32_t) {
    if (id == kRecording) {
        takePacket(data, length);
    } else {
        lastText.assign(static_cast<const char*>(data), length);
    }
    return 0;
}
// [/callback]

} // namespace

int main() {
    char early[] = "nobody listens";
    guide::promise(ConfCommSendNotifyToApp(kCallEnded, early, 14) == 1, "without a callback the sender gets 1");

    // [register]
    ConfRegisterNotifyFunc(onNotify);
    // [/register]

    // [small]
    char text[] = "call 7 ended";
    const uint32_t result = ConfCommSendNotifyToApp(kCallEnded, text, sizeof text - 1);
    // [/small]
    guide::promise(result == 0 && lastText == "call 7 ended", "a notification, and the callback's result");

    // [large]
    std::vector<char> bytes(10000000, 'r');
    const uint32_t sent = ConfCommSendMultiPackNotifyToApp(kRecording, bytes.data(), 10000000);
    // [/large]
    guide::promise(sent == 0 && recording == bytes, "ten million bytes put together again");

    guide::promise(ConfCommSendMultiPackNotifyToApp(kRecording, bytes.data(), 0) == 1, "an empty one is refused");
    return guide::result();
}

#include "processes/notification_bridge.h"

#include <array>
#include <cstring>
#include <map>
#include <vector>

#include "processes/inbox.h"
#include "processes/service_process.h"
#include "tarn_conference/conf_digest.h"
#include "tarn_conference/conf_msg.h"
#include "tarn_conference/conf_notify.h"

namespace tarn::demo {
namespace {

constexpr uint32_t kSha256 = 1;
constexpr uint32_t kForwardTimeoutMs = 5000;

// A notification that is being put together, by the header that announced it.
struct Assembly {
    uint32_t packetsLeft = 0;
    uint32_t totalLength = 0;
    std::vector<uint8_t> bytes;
};

// Runs in the application: hands the notification to the callback registered there.
uint32_t deliver(uint32_t id, void* data, uint32_t length) {
    return ConfCommSendNotifyToApp(id, data, length);
}

// The meeting service's callback.
uint32_t forward(uint32_t id, void* data, uint32_t length, uint32_t) {
    return ConfCommMsgSynSendImpl(kApplication, deliver, id, data, length, kForwardTimeoutMs);
}

void announce(uint32_t id, const std::vector<uint8_t>& bytes) {
    inbox().note("notification:" + std::to_string(id),
                 std::to_string(bytes.size()) + ":" + sha256(bytes.data(), static_cast<uint32_t>(bytes.size())));
}

// The application's callback. Calls come one after the other on its message thread, so the state needs no lock. Packets
// of one notification stand together: while one is being put together, no packet of another may come in between.
uint32_t reassemble(uint32_t id, void* data, uint32_t length, uint32_t) {
    static std::map<uint32_t, Assembly> assemblies;
    static uint32_t openId = 0;
    const auto* bytes = static_cast<const uint8_t*>(data);
    const bool large = id == kNotifyRecording || id == kNotifySlides;
    if (!large) {
        announce(id, {bytes, bytes + length});
        return 0;
    }
    if (openId != 0 && openId != id) {
        inbox().note("mixed-packets", std::to_string(id));
        return 1;
    }
    Assembly& assembly = assemblies[id];
    ConfMultiPacketHeader header = {};
    if (assembly.packetsLeft == 0 && length == sizeof header) {
        std::memcpy(&header, data, sizeof header);
        if (header.marker != CONF_NOTIFY_PACKET_MARKER) {
            return 1;
        }
        assembly = {header.packetCount, header.totalLength, {}};
        openId = id;
        return 0;
    }
    if (assembly.packetsLeft == 0) {
        return 1;
    }
    assembly.bytes.insert(assembly.bytes.end(), bytes, bytes + length);
    if (--assembly.packetsLeft == 0) {
        openId = 0;
        if (assembly.bytes.size() == assembly.totalLength) {
            announce(id, assembly.bytes);
        }
        assemblies.erase(id);
    }
    return 0;
}

} // namespace

void registerForwarding() {
    ConfRegisterNotifyFunc(forward);
}

void registerReassembly() {
    ConfRegisterNotifyFunc(reassemble);
}

std::string sha256(const void* data, uint32_t length) {
    std::array<unsigned char, 32> digest;
    uint32_t digestLength = 0;
    EVP_MD_CTX* context = nullptr;
    if (ZOR_CRYPT_digestInit(&context, kSha256) != 1 || ZOR_CRYPT_digestUpdate(context, data, length) != 1 ||
        ZOR_CRYPT_digestFinal(&context, digest.data(), &digestLength) != 1) {
        return {};
    }
    std::string text;
    for (uint32_t i = 0; i < digestLength; ++i) {
        constexpr const char* kHex = "0123456789abcdef";
        text += kHex[digest[i] >> 4U];
        text += kHex[digest[i] & 0xFU];
    }
    return text;
}

} // namespace tarn::demo

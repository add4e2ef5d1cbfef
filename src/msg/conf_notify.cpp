// Notifications to the application, all through one callback slot on the sender's thread.
#include "tarn_conference/conf_notify.h"

#include <atomic>

#include "base/log.h"
#include "base/platform_lock.h"
#include "tarn_platform/os_message.h"

namespace {

constexpr const char* kLogName = "conf_msg_api";

constexpr uint32_t kLargestMessageBytes = 4U * 1024 * 1024;
static_assert(CONF_NOTIFY_PACKET_BYTES == kLargestMessageBytes - sizeof(OsMsgRecord), "a packet fills a message");

std::atomic<ConfNotifyFunc> notifyFunc{nullptr};

// The part of `data` at `offset`. Null data stay null: a packet without data must not come with an invented address.
void* partOf(void* data, uint32_t offset) {
    return data == nullptr ? nullptr : static_cast<uint8_t*>(data) + offset;
}

} // namespace

OsMutex g_multiPktNotifyMutex;

void ConfRegisterNotifyFunc(ConfNotifyFunc func) {
    if (func != nullptr) {
        notifyFunc.store(func, std::memory_order_release);
    }
}

uint32_t ConfCommSendNotifyToApp(uint32_t id, void* data, uint32_t len) {
    return ConfCommSendNotifyAndResultToApp(id, data, len, 0);
}

uint32_t ConfCommSendNotifyAndResultToApp(uint32_t id, void* data, uint32_t len, uint32_t result) {
    const ConfNotifyFunc notify = notifyFunc.load(std::memory_order_acquire);
    return notify == nullptr ? 1 : notify(id, data, len, result);
}

uint32_t ConfCommSendMultiPackNotifyToApp(uint32_t id, void* data, uint32_t len) {
    if (data == nullptr) {
        // And on with the packets: applications count on both.
        ConfCommSendNotifyToApp(id, nullptr, len);
    }
    if (len == 0 || len > CONF_NOTIFY_MAX_BYTES) {
        TARN_LOG(CONF_LOG_ERROR, "dataLen error .%u", len);
        return 1;
    }
    const uint32_t remainder = len % CONF_NOTIFY_PACKET_BYTES;
    const uint32_t packetCount = len / CONF_NOTIFY_PACKET_BYTES + (remainder != 0 ? 1 : 0);
    TARN_LOG(CONF_LOG_INFO, "MultiPackNotify,pktnum:%u, len:%u", packetCount, len);
    {
        const tarn::detail::PlatformLock packetsTogether(g_multiPktNotifyMutex);
        ConfMultiPacketHeader header = {CONF_NOTIFY_PACKET_MARKER, packetCount, len};
        ConfCommSendNotifyToApp(id, &header, sizeof header);
        uint32_t offset = 0;
        for (; len - offset >= CONF_NOTIFY_PACKET_BYTES; offset += CONF_NOTIFY_PACKET_BYTES) {
            ConfCommSendNotifyToApp(id, partOf(data, offset), CONF_NOTIFY_PACKET_BYTES);
        }
        if (remainder != 0) {
            ConfCommSendNotifyToApp(id, partOf(data, offset), remainder);
        }
    }
    TARN_LOG(CONF_LOG_INFO, "MultiPackNotify Over");
    return 0;
}

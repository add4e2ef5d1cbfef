// Notifications, the packets of large ones, and the meeting-server block.
#include <cstring>
#include <mutex>
#include <thread>
#include <utility>

#include "tarn_conference/conf_notify.h"
#include "tarn_platform/os_memory.h"
#include "told.h"

namespace tarn::test {
namespace {

using namespace testing;

constexpr uint32_t kPacket = 4194136;
constexpr uint32_t kMost = 33554432;
constexpr uint32_t kNotifyId = 5;
constexpr uint32_t kAnswer = 0xABC;

struct Delivery {
    uint32_t id;
    const void* data;
    uint32_t len;
    uint32_t result = 0;
    std::vector<uint32_t> header = {}; // of a delivery that is as long as one

    bool operator==(const Delivery&) const = default;
};

std::mutex deliveriesMutex;
std::vector<Delivery> deliveries;

uint32_t application(uint32_t id, void* data, uint32_t len, uint32_t result) {
    Delivery delivery = {id, data, len, result};
    if (data != nullptr && len == 12) {
        delivery.header.resize(3);
        std::memcpy(delivery.header.data(), std::exchange(delivery.data, nullptr), len);
    }
    std::unique_lock lock(deliveriesMutex);
    deliveries.push_back(delivery);
    lock.unlock();
    std::this_thread::yield(); // so that packets of two threads would meet
    return kAnswer;
}

Delivery header(uint32_t packets, uint32_t total) {
    return {kNotifyId, nullptr, 12, 0, {0x12345, packets, total}};
}

class NotificationTest : public ScriptedPlatformTest {
 protected:
    void SetUp() override {
        ScriptedPlatformTest::SetUp();
        deliveries.clear();
    }
};

// First in this program: the slot cannot be emptied again.
TEST_F(NotificationTest, NobodyIsToldBeforeRegistration) {
    ConfRegisterNotifyFunc(nullptr);
    uint8_t data = 0;
    EXPECT_EQ(ConfCommSendNotifyToApp(kNotifyId, &data, 1), 1U);
    EXPECT_EQ(ConfCommSendMultiPackNotifyToApp(kNotifyId, &data, 1), 0U);

    ConfRegisterNotifyFunc(application);
    ConfRegisterNotifyFunc(nullptr);
    EXPECT_EQ(ConfCommSendNotifyToApp(kNotifyId, &data, 1), kAnswer);
    EXPECT_EQ(ConfCommSendNotifyAndResultToApp(6, nullptr, 3, 44), kAnswer);
    EXPECT_THAT(deliveries, ElementsAre(Delivery{kNotifyId, &data, 1}, Delivery{6, nullptr, 3, 44}));
    // Without data in packets: plain, and then in packets.
    deliveries.clear();
    EXPECT_EQ(ConfCommSendMultiPackNotifyToApp(kNotifyId, nullptr, kPacket + 2), 0U);
    EXPECT_THAT(deliveries, ElementsAre(Delivery{kNotifyId, nullptr, kPacket + 2}, header(2, kPacket + 2),
                                        Delivery{kNotifyId, nullptr, kPacket}, Delivery{kNotifyId, nullptr, 2}));
}

TEST_F(NotificationTest, LargeNotificationGoesInPacketsOfTheSendersOwnBytes) {
    ConfRegisterNotifyFunc(application);
    // Never touched: the packets are parts of the caller's bytes, not copies.
    std::vector<uint8_t> storage(kMost);
    uint8_t* const data = storage.data();
    const auto send = [&](uint32_t len) {
        deliveries.clear();
        platform.clearLogs();
        EXPECT_EQ(ConfCommSendMultiPackNotifyToApp(kNotifyId, data, len), 0U);
    };
    send(kPacket);
    EXPECT_THAT(deliveries, ElementsAre(header(1, kPacket), Delivery{kNotifyId, data, kPacket}));
    send(kPacket + 1);
    EXPECT_THAT(deliveries, ElementsAre(header(2, kPacket + 1), Delivery{kNotifyId, data, kPacket},
                                        Delivery{kNotifyId, data + kPacket, 1}));
    send(kMost);
    ASSERT_EQ(deliveries.size(), 10U);
    EXPECT_EQ(deliveries[0], header(9, kMost));
    EXPECT_EQ(deliveries[9], (Delivery{kNotifyId, data + 8 * size_t{kPacket}, 1344}));
    const std::string function = "3 [ConfCommSendMultiPackNotifyToApp]";
    EXPECT_THAT(takeLogs(),
                ElementsAre(function + "MultiPackNotify,pktnum:9, len:33554432", function + "MultiPackNotify Over"));

    deliveries.clear();
    EXPECT_EQ(ConfCommSendMultiPackNotifyToApp(kNotifyId, data, kMost + 1), 1U);
    EXPECT_EQ(ConfCommSendMultiPackNotifyToApp(kNotifyId, data, 0), 1U);
    EXPECT_THAT(deliveries, IsEmpty());
    EXPECT_THAT(takeLogs("ConfCommSendMultiPackNotifyToApp"),
                ElementsAre("dataLen error .33554433", "dataLen error .0"));
}

TEST_F(NotificationTest, PacketsOfTwoThreadsNeverInterleave) {
    ConfRegisterNotifyFunc(application);
    constexpr int kRounds = 200;
    constexpr uint32_t kPackets = 8;
    std::vector<uint8_t> storage(kMost);
    const auto sender = [&](uint32_t id) {
        for (int round = 0; round < kRounds; ++round) {
            ConfCommSendMultiPackNotifyToApp(id, storage.data(), kPackets * kPacket);
        }
    };
    std::thread first(sender, 1);
    std::thread second(sender, 2);
    first.join();
    second.join();
    ASSERT_EQ(deliveries.size(), size_t{2} * kRounds * (kPackets + 1));
    for (size_t at = 0; at < deliveries.size(); ++at) {
        const Delivery& leader = deliveries[at - at % (kPackets + 1)];
        EXPECT_EQ(deliveries[at].id, leader.id) << at;
        EXPECT_EQ(deliveries[at].header.empty(), at % (kPackets + 1) != 0) << at;
    }
}

TEST_F(NotificationTest, MeetingBlockIsZeroButForItsDataAndHasALimit) {
    for (const auto& [len, size] : {std::pair{0U, 96U}, {1U, 96U}, {10U, 105U}}) {
        const std::vector<char> data(len, 'd');
        for (const bool given : {true, false}) {
            ConfMeetingServerMsgBlock* const block = GenerateMeetingServerMsgBlock(given ? data.data() : nullptr, len);
            ASSERT_NE(block, nullptr);
            EXPECT_EQ(GetMeetingServerMsgBlockSize(block), size);
            EXPECT_EQ(platform.allocations().back().size, size);
            std::string expected(size, '\0');
            std::memcpy(expected.data() + 84, &len, sizeof len);
            expected.replace(88, given ? len : 0, given ? len : 0, 'd');
            EXPECT_EQ(std::memcmp(block, expected.data(), size), 0) << len;
            OSMemTypeFreeMon(block, 0, 0, 1, "test");
        }
    }
    EXPECT_EQ(GenerateMeetingServerMsgBlock("data", 0xFFFFFFFF - 94), nullptr);
    EXPECT_EQ(GetMeetingServerMsgBlockSize(nullptr), 0U);
    EXPECT_THAT(takeLogs("GenerateMeetingServerMsgBlock"),
                ElementsAre("Null ptr.", "1 [GetMeetingServerMsgBlockSize]msg is nullptr!"));
    // A length that cannot be must not pass for a small block.
    ConfMeetingServerMsgBlock broken = {};
    broken.dataLength = 0xFFFFFFFF;
    EXPECT_EQ(GetMeetingServerMsgBlockSize(&broken), 0xFFFFFFFFU);
}

} // namespace
} // namespace tarn::test

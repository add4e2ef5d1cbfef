// Asynchronous messages: they never wait, and stay in order with the calls of the same thread.
#include <errno.h>

#include <cstring>
#include <thread>

#include "message/message_support.h"

namespace {

using namespace message_test;

constexpr size_t kMiB = size_t{1} << 20;

bool receive() {
    return OsMsgReceiverStart("listener", obey) == 0;
}

std::vector<uint32_t> recall() {
    const Bytes bytes = call("listener", order(kRecall)).bytes();
    std::vector<uint32_t> numbers(bytes.size() / sizeof(uint32_t));
    if (!numbers.empty()) {
        std::memcpy(numbers.data(), bytes.data(), bytes.size());
    }
    return numbers;
}

std::vector<uint32_t> countTo(uint32_t end) {
    std::vector<uint32_t> numbers;
    for (uint32_t i = 0; i < end; i++) {
        numbers.push_back(i);
    }
    return numbers;
}

TEST(MessagePost, StaysInOrderWithCalls) {
    const Child listener(receive);
    uint32_t next = 0;
    for (int round = 0; round < 8; round++) {
        for (const size_t size : {size_t{8}, 3 * kMiB, size_t{100}, 5 * kMiB}) {
            EXPECT_EQ(post("listener", order(kRemember, next++, size)), 0U);
        }
        EXPECT_EQ(call("listener", order(kEcho)).code, 0U);
        EXPECT_EQ(post("listener", order(kRemember, next++)), 0U);
    }
    EXPECT_EQ(recall(), countTo(next));
}

TEST(MessagePost, NeverWaitsForAStuckReceiver) {
    const Child listener(receive);
    ASSERT_EQ(call("listener", order(kEcho)).code, 0U);
    listener.signal(SIGSTOP);
    uint32_t sent = 0;
    uint32_t code = 0;
    // The bound is what ends this; a sender that waited would hang here.
    while ((code = post("listener", order(kRemember, sent, 16 * kMiB))) == 0) {
        sent++;
    }
    EXPECT_EQ(code, uint32_t{ENOBUFS});
    EXPECT_GE(sent, 15U);
    EXPECT_EQ(call("listener", order(kEcho), 100).code, uint32_t{ETIMEDOUT}) << "it goes after what waits";
    listener.signal(SIGCONT);
    EXPECT_EQ(recall(), countTo(sent));
    EXPECT_EQ(post("listener", order(kRemember, 7)), 0U) << "the room is free again";
    EXPECT_EQ(recall(), std::vector<uint32_t>{7});
}

TEST(MessagePost, IsDeliveredThoughItsSenderEnds) {
    const Child listener(receive);
    EXPECT_EQ(runForked([] {
                  uint32_t failed = post("listener", order(kSleepThenEcho, 300));
                  for (uint32_t i = 0; i < 4; i++) {
                      failed |= post("listener", order(kRemember, i, 8 * kMiB));
                  }
                  return static_cast<int>(failed);
              }),
              0);
    std::thread([] { EXPECT_EQ(post("listener", order(kRemember, 4, 16 * kMiB)), 0U); }).join();
    // Other connections may still be read when this one is.
    std::vector<uint32_t> all;
    for (int i = 0; i < 100 && all.size() < 5; i++) {
        const std::vector<uint32_t> more = recall();
        all.insert(all.end(), more.begin(), more.end());
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    std::sort(all.begin(), all.end());
    EXPECT_EQ(all, countTo(5));
}

TEST(MessagePost, FailsOverToTheNextReceiver) {
    Child first(receive);
    EXPECT_EQ(post("listener", order(kRemember, 1)), 0U);
    first.end();
    EXPECT_EQ(post("listener", order(kRemember, 2)), uint32_t{ECONNREFUSED});
    const Child next(receive);
    EXPECT_EQ(post("listener", order(kRemember, 3)), 0U);
    EXPECT_EQ(recall(), std::vector<uint32_t>{3});
}

// Each sends the other a large message for every large message it gets, from its message thread.
void bounce(OsMsgRecord* record) {
    Order head = {};
    std::memcpy(&head, record->payload, sizeof head);
    if (record->responseWanted == 1) {
        obey(record);
    } else if (head.argument != 0) {
        const char* other = std::strcmp(record->receiverName, "ping") == 0 ? "pong" : "ping";
        post(other, order(kEcho, head.argument - 1, 9 * kMiB));
    } else {
        post("listener", order(kRemember, 1));
    }
}

TEST(MessagePost, LargeMessagesBothWaysDoNotBlock) {
    const Child listener(receive);
    const Child ping([] { return OsMsgReceiverStart("ping", bounce) == 0; });
    const Child pong([] { return OsMsgReceiverStart("pong", bounce) == 0; });
    for (int ball = 0; ball < 2; ball++) {
        EXPECT_EQ(post("ping", order(kEcho, 4, 9 * kMiB)), 0U);
        EXPECT_EQ(post("pong", order(kEcho, 4, 9 * kMiB)), 0U);
    }
    size_t arrived = 0;
    for (int i = 0; i < 1000 && arrived < 4; i++) {
        arrived += recall().size();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(arrived, 4U);
}

} // namespace

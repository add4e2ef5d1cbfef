// Asynchronous messages: they never wait, and stay in order with the calls of the same thread.
#include <numeric>

#include "message/message_support.h"

namespace {

using namespace message_test;
Numbers countTo(uint32_t end) {
    Numbers numbers(end);
    std::iota(numbers.begin(), numbers.end(), 0U);
    return numbers;
}

TEST(MessagePost, StaysInOrderWithCalls) {
    const Receiver listener("listener");
    uint32_t next = 0;
    for (int round = 0; round < 8; round++) {
        for (const size_t size : {size_t{8}, 3 * kMiB, size_t{100}, 5 * kMiB}) {
            EXPECT_EQ(remember("listener", next++, size), 0U);
        }
        EXPECT_EQ(call("listener", order(kEcho)).code, 0U);
        EXPECT_EQ(remember("listener", next++), 0U);
    }
    EXPECT_EQ(recall("listener"), countTo(next));
}

TEST(MessagePost, NeverWaitsForAStuckReceiver) {
    const Receiver listener("listener");
    ASSERT_EQ(call("listener", order(kEcho)).code, 0U);
    listener.signal(SIGSTOP);
    uint32_t sent = 0;
    uint32_t code = 0;
    // The bound is what ends this; a sender that waited would hang here.
    while ((code = remember("listener", sent, 16 * kMiB)) == 0) {
        sent++;
    }
    EXPECT_EQ(code, uint32_t{ENOBUFS});
    EXPECT_GE(sent, 15U);
    EXPECT_EQ(call("listener", order(kEcho), 100).code, uint32_t{ETIMEDOUT}) << "it goes after what waits";
    listener.signal(SIGCONT);
    EXPECT_EQ(recall("listener"), countTo(sent));
    EXPECT_EQ(remember("listener", 7), 0U) << "the room is free again";
    EXPECT_EQ(recall("listener"), Numbers{7});
}

TEST(MessagePost, IsDeliveredThoughItsSenderEnds) {
    const Receiver listener("listener");
    inFork([] {
        EXPECT_EQ(post("listener", order(kSleepThenEcho, 300)), 0U);
        for (uint32_t i = 0; i < 4; i++) {
            EXPECT_EQ(remember("listener", i, 8 * kMiB), 0U);
        }
        std::exit(testing::Test::HasFailure() ? 1 : 0); // As a normal process ends.
    });
    inThreads(1, [](size_t /*thread*/) { EXPECT_EQ(remember("listener", 4, 16 * kMiB), 0U); });
    // Other connections may still be read when this one is.
    Numbers all;
    EXPECT_TRUE(comesTrue([&] {
        const Numbers more = recall("listener");
        all.insert(all.end(), more.begin(), more.end());
        return all.size() >= 5;
    }));
    std::sort(all.begin(), all.end());
    EXPECT_EQ(all, countTo(5));
}

} // namespace

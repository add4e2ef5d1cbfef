// Asynchronous messages: they never wait, and stay in order with the calls of the same thread.
#include <numeric>

#include "message/message_support.h"

namespace {

using namespace message_test;
using Numbers = std::vector<uint32_t>;

uint32_t remember(uint32_t number, size_t size = sizeof(Order)) {
    return post("listener", order(kRemember, number, size));
}

Numbers recall() {
    const Bytes bytes = call("listener", order(kRecall)).bytes;
    Numbers numbers(bytes.size() / sizeof(uint32_t));
    std::copy_n(bytes.begin(), bytes.size(), reinterpret_cast<uint8_t*>(numbers.data()));
    return numbers;
}

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
            EXPECT_EQ(remember(next++, size), 0U);
        }
        EXPECT_EQ(call("listener", order(kEcho)).code, 0U);
        EXPECT_EQ(remember(next++), 0U);
    }
    EXPECT_EQ(recall(), countTo(next));
}

TEST(MessagePost, NeverWaitsForAStuckReceiver) {
    const Receiver listener("listener");
    ASSERT_EQ(call("listener", order(kEcho)).code, 0U);
    listener.signal(SIGSTOP);
    uint32_t sent = 0;
    uint32_t code = 0;
    // The bound is what ends this; a sender that waited would hang here.
    while ((code = remember(sent, 16 * kMiB)) == 0) {
        sent++;
    }
    EXPECT_EQ(code, uint32_t{ENOBUFS});
    EXPECT_GE(sent, 15U);
    EXPECT_EQ(call("listener", order(kEcho), 100).code, uint32_t{ETIMEDOUT}) << "it goes after what waits";
    listener.signal(SIGCONT);
    EXPECT_EQ(recall(), countTo(sent));
    EXPECT_EQ(remember(7), 0U) << "the room is free again";
    EXPECT_EQ(recall(), Numbers{7});
}

TEST(MessagePost, IsDeliveredThoughItsSenderEnds) {
    const Receiver listener("listener");
    EXPECT_EQ(runForked([] {
                  EXPECT_EQ(post("listener", order(kSleepThenEcho, 300)), 0U);
                  for (uint32_t i = 0; i < 4; i++) {
                      EXPECT_EQ(remember(i, 8 * kMiB), 0U);
                  }
                  std::exit(HasFailure() ? 1 : 0); // As a normal process ends.
                  return 1;
              }),
              0);
    inThreads(1, [](size_t /*thread*/) { EXPECT_EQ(remember(4, 16 * kMiB), 0U); });
    // Other connections may still be read when this one is.
    Numbers all;
    EXPECT_TRUE(comesTrue([&] {
        const Numbers more = recall();
        all.insert(all.end(), more.begin(), more.end());
        return all.size() >= 5;
    }));
    std::sort(all.begin(), all.end());
    EXPECT_EQ(all, countTo(5));
}

} // namespace

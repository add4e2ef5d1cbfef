// What the messages do without memory: each allocation of an operation fails in turn.
#include "message/message_support.h"

namespace {

// Allocations until one fails; 0 or less when none does any more.
std::atomic<int> untilFailure = 0;

bool failsNow() {
    return untilFailure > 0 && untilFailure-- == 1;
}

} // namespace

void* operator new(size_t bytes) {
    void* const memory = failsNow() ? nullptr : std::malloc(bytes);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, size_t /*bytes*/) noexcept {
    std::free(memory);
}

namespace {

using namespace message_test;

// False when the operation made fewer allocations.
template <typename Operation>
bool runsWithout(int allocation, Operation operation) {
    untilFailure = allocation;
    operation();
    return untilFailure.exchange(0) <= 0;
}

TEST(MessageTrouble, AReceiverStartsOnceThereIsMemoryAgain) {
    uint32_t code = 0;
    int failures = 0;
    while (runsWithout(failures + 1, [&] { code = OsMsgReceiverStart("short", obey); })) {
        sigset_t blocked;
        pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
        ASSERT_EQ(code, uint32_t{ENOMEM}) << failures;
        ASSERT_EQ(sigismember(&blocked, SIGTERM), 0) << failures;
        ASSERT_EQ(OsMsgReceiverStop("short"), uint32_t{ENOENT}) << failures;
        ++failures;
    }
    EXPECT_EQ(code, 0U);
    EXPECT_GT(failures, 5);
    EXPECT_EQ(OsMsgReceiverStop("short"), 0U);
}

// Posts numbers to a receiver that stands still until the given allocation has failed; whatever was accepted arrives.
void postWithout(int allocation) {
    constexpr uint32_t most = 3000;
    const Receiver receiver("still");
    EXPECT_EQ(remember("still", 0, 20000), 0U);
    EXPECT_EQ(call("still", order(kEcho)).code, 0U);
    receiver.signal(SIGSTOP);
    Bytes payload = order(kRemember, 0, 20000);
    const OsMsgRecord record = makeRecord("still", payload);
    Numbers accepted = {0};
    accepted.reserve(most);
    EXPECT_TRUE(runsWithout(allocation, [&] {
        for (uint32_t i = 1; i < most && untilFailure > 0; ++i) {
            std::memcpy(payload.data() + offsetof(Order, argument), &i, sizeof i);
            if (OsMsgAsynSend(&record) == 0) {
                accepted.push_back(i);
            }
        }
    }));
    receiver.signal(SIGCONT);
    EXPECT_EQ(remember("still", most), 0U);
    accepted.push_back(most);
    EXPECT_EQ(recall("still"), accepted);
}

// In processes of their own, as a process starts its flusher once: at the first message that it queues.
TEST(MessageTrouble, OnlyRefusedPostsAreLost) {
    for (int allocation = 1; allocation <= 10; ++allocation) {
        SCOPED_TRACE(allocation);
        inFork([&] { postWithout(allocation); });
    }
}

} // namespace

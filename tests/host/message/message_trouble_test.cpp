// What the messages do without memory: each allocation of an operation fails in turn.
#include <atomic>
#include <cstdlib>
#include <new>

#include "message/message_support.h"

namespace {

// Allocations until one fails; 0 when none does.
std::atomic<int> untilFailure = 0;

bool failsNow() {
    int left = untilFailure.load();
    while (left > 0 && !untilFailure.compare_exchange_weak(left, left - 1)) {
    }
    return left == 1;
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
    return untilFailure.exchange(0) == 0;
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

} // namespace

#include <gtest/gtest.h>

#include <cerrno>
#include <thread>
#include <vector>

#include "tarn_platform/os_mutex.h"

namespace {

TEST(HostMutex, AnAllZeroOneKeepsThreadsApart) {
    OsMutex mutex = {};
    int counter = 0;
    std::vector<std::jthread> threads(4);
    for (std::jthread& thread : threads) {
        thread = std::jthread([&] {
            for (int round = 0; round < 5000; ++round) {
                ASSERT_EQ(0U, OsMutexLock(&mutex));
                ++counter;
                ASSERT_EQ(0U, OsMutexUnLock(&mutex));
            }
        });
    }
    threads.clear();
    EXPECT_EQ(20000, counter);
    EXPECT_EQ(0U, OsMutexDestroy(&mutex));
}

TEST(HostMutex, CodesTellOfMisuse) {
    for (const auto call : {OsMutexInit, OsMutexDestroy, OsMutexLock, OsMutexUnLock}) {
        EXPECT_EQ(static_cast<uint32_t>(EINVAL), call(nullptr));
    }
    OsMutex mutex;
    ASSERT_EQ(0U, OsMutexInit(&mutex));
    ASSERT_EQ(0U, OsMutexLock(&mutex));
    EXPECT_EQ(EBUSY, pthread_mutex_trylock(&mutex));
    ASSERT_EQ(0U, OsMutexUnLock(&mutex));
    EXPECT_EQ(0U, OsMutexDestroy(&mutex));
}

} // namespace

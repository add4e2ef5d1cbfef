#include "support/host_test.h"
#include "tarn_platform/os_mutex.h"

namespace {

TEST(HostMutex, KeepsThreadsApartAndTellsOfMisuse) {
    OsMutex zero = {};
    OsMutex initialised;
    ASSERT_EQ(0U, OsMutexInit(&initialised));
    for (OsMutex* mutex : {&zero, &initialised}) {
        int counter = 0;
        tarn::test::inThreads(4, [&](size_t) {
            for (int round = 0; round < 5000; ++round) {
                ASSERT_EQ(0U, OsMutexLock(mutex));
                ++counter;
                ASSERT_EQ(0U, OsMutexUnLock(mutex));
            }
        });
        EXPECT_EQ(20000, counter);
        EXPECT_EQ(0U, OsMutexDestroy(mutex));
    }
    for (const auto call : {OsMutexInit, OsMutexDestroy, OsMutexLock, OsMutexUnLock}) {
        EXPECT_EQ(uint32_t{EINVAL}, call(nullptr));
    }
}

} // namespace

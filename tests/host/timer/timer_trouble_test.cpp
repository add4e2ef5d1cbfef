// A child that is forked inside a callback and comes back from it.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>

#include "support/processes.h"
#include "tarn_host/host_timer.h"
#include "tarn_platform/os_timer.h"

namespace {

using namespace tarn::test;

std::atomic<pid_t> forked = -1;

uint32_t forkAndReturn(void* /*param*/) {
    forked = fork();
    return 0;
}

TEST(TimerTrouble, AChildThatReturnsFromACallbackIsEndedAndToldOf) {
    const CaughtErrors errors;
    ASSERT_EQ(OsTmrManagerInit(0, 1000, 0), 0U);
    OsTimerParam param = {};
    param.callback = forkAndReturn;
    void* handle = nullptr;
    ASSERT_EQ(OsTmrCreate(&param, &handle, 1), 0U);
    ASSERT_TRUE(comesTrue([] { return forked > 0; }));
    EXPECT_EQ(endOf(forked), EXIT_FAILURE);
    EXPECT_EQ(errors.mentions("a child forked inside a timer's callback returned from it and was ended"), 1);
    EXPECT_EQ(TarnHostTimerManagerStop(), 0U);
}

} // namespace

#include <ctime>

#include "support/host_test.h"
#include "tarn_platform/os_signal.h"
#include "tarn_platform/os_time.h"

namespace {

using namespace tarn::test;

int64_t systemMilliseconds() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

TEST(HostTime, IsLocalAndFollowsTheZone) {
    for (const char* const zone : {"AAA-5:30", "BBB+9"}) {
        ASSERT_EQ(0, setenv("TZ", zone, 1));
        OsTimeEx time = {};
        const int64_t before = systemMilliseconds();
        ASSERT_EQ(0U, OsGetTimeEx(&time));
        const int64_t seconds = OsGetSysTimeSec();
        const int64_t after = systemMilliseconds();
        tm local = {};
        local.tm_sec = static_cast<int>(time.second);
        local.tm_min = static_cast<int>(time.minute);
        local.tm_hour = static_cast<int>(time.hour);
        local.tm_mday = static_cast<int>(time.day);
        local.tm_mon = static_cast<int>(time.month);
        local.tm_year = static_cast<int>(time.year);
        const int64_t universal = int64_t{mktime(&local)} * 1000 + time.milliseconds;
        EXPECT_EQ(time.weekDay, static_cast<uint32_t>(local.tm_wday));
        EXPECT_EQ(time.yearDay, static_cast<uint32_t>(local.tm_yday));
        EXPECT_LE(before, universal);
        EXPECT_GE(after, universal);
        // The coarse clock behind whole seconds may lag by a tick.
        EXPECT_LE(before / 1000 - 1, seconds);
        EXPECT_GE(after / 1000, seconds);
    }
    unsetenv("TZ");
    EXPECT_EQ(kInvalid, OsGetTimeEx(nullptr));
}

TEST(HostSignals, BlockForTheCallingThreadAndTellOfMisuse) {
    sigset_t set;
    sigset_t old;
    sigset_t blocked;
    expectAll(0, {OsSigEmptySet(&set), OsSigAddSet(&set, SIGUSR2), OsPthreadSigmask(0, &set, &old),
                  OsPthreadSigmask(SIG_SETMASK, &old, &blocked)});
    EXPECT_EQ(0, sigismember(&old, SIGUSR2));
    EXPECT_EQ(1, sigismember(&blocked, SIGUSR2));
    EXPECT_EQ(0, sigismember(&blocked, SIGUSR1));
    expectAll(kInvalid, {OsSigAddSet(&set, 1000), OsPthreadSigmask(99, &set, nullptr), OsSigEmptySet(nullptr),
                         OsSigAddSet(nullptr, SIGUSR1), OsPthreadSigmask(0, nullptr, &set)});
}

} // namespace

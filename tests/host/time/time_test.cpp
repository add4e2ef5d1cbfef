#include <ctime>

#include "support/host_test.h"
#include "tarn_platform/os_signal.h"
#include "tarn_platform/os_time.h"

namespace {

int64_t systemMilliseconds() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

// What the fields say, as milliseconds of a clock that counts local time.
int64_t localMilliseconds(const OsTimeEx& time) {
    tm fields = {};
    fields.tm_sec = static_cast<int>(time.second);
    fields.tm_min = static_cast<int>(time.minute);
    fields.tm_hour = static_cast<int>(time.hour);
    fields.tm_mday = static_cast<int>(time.day);
    fields.tm_mon = static_cast<int>(time.month);
    fields.tm_year = static_cast<int>(time.year);
    const int64_t seconds = timegm(&fields);
    EXPECT_EQ(static_cast<int>(time.weekDay), fields.tm_wday);
    EXPECT_EQ(static_cast<int>(time.yearDay), fields.tm_yday);
    return seconds * 1000 + time.milliseconds;
}

TEST(HostTime, IsLocalAndFollowsTheZone) {
    for (const auto& [zone, minutes] : {std::pair("AAA-5:30", 330), {"BBB+9", -540}, {"UTC0", 0}}) {
        ASSERT_EQ(0, setenv("TZ", zone, 1));
        OsTimeEx time = {};
        const int64_t before = systemMilliseconds();
        ASSERT_EQ(0U, OsGetTimeEx(&time));
        const int64_t seconds = OsGetSysTimeSec();
        const int64_t after = systemMilliseconds();
        EXPECT_LT(time.milliseconds, 1000U);
        const int64_t universal = localMilliseconds(time) - minutes * 60'000;
        EXPECT_LE(before, universal);
        EXPECT_GE(after, universal);
        // The coarse clock behind whole seconds may lag by a tick.
        EXPECT_LE(before / 1000 - 1, seconds);
        EXPECT_GE(after / 1000, seconds);
    }
    unsetenv("TZ");
    EXPECT_EQ(tarn::test::kInvalid, OsGetTimeEx(nullptr));
}

TEST(HostSignals, BlockForTheCallingThreadAndTellOfMisuse) {
    sigset_t set;
    sigset_t old;
    sigset_t blocked;
    ASSERT_EQ(0U, OsSigEmptySet(&set));
    ASSERT_EQ(0U, OsSigAddSet(&set, SIGUSR2));
    ASSERT_EQ(0U, OsPthreadSigmask(0, &set, &old));
    ASSERT_EQ(0U, OsPthreadSigmask(SIG_SETMASK, &old, &blocked));
    EXPECT_EQ(0, sigismember(&old, SIGUSR2));
    EXPECT_EQ(1, sigismember(&blocked, SIGUSR2));
    EXPECT_EQ(0, sigismember(&blocked, SIGUSR1));
    EXPECT_EQ(0U, OsPthreadSigmask(0, &old, nullptr));

    tarn::test::expectAll(EINVAL,
                          {OsSigAddSet(&set, 0), OsSigAddSet(&set, 1000), OsPthreadSigmask(99, &set, nullptr),
                           OsSigEmptySet(nullptr), OsSigAddSet(nullptr, SIGUSR1), OsPthreadSigmask(0, nullptr, &set)});
}

} // namespace

// The wheel without a clock.
#include "timer/timer_wheel.h"

#include "support/host_test.h"
#include "timer/tick_clock.h"

namespace tarn::host {
namespace {

using std::chrono::microseconds;

OsTimerParam periodic(uint32_t periodTicks) {
    OsTimerParam param = {};
    param.repeat = 1;
    param.periodTicks = periodTicks;
    return param;
}

// Some are removed on the way; some are periodic, so that they are set again.
TEST(TimerWheel, TimersComeInTheirOrderAndAtTheirTick) {
    for (uint32_t seed = 1; seed <= 20; ++seed) {
        std::mt19937 random(seed);
        const auto below = [&random](uint32_t bound) { return static_cast<uint32_t>(random() % bound); };
        TimerWheel wheel;
        // By expiry and, within a tick, by the how-manieth setting.
        std::map<std::pair<Tick, uint32_t>, std::pair<TimerHandle, uint32_t>> expected;
        uint32_t settings = 0;
        for (int i = 0; i < 500; ++i) {
            const Tick expiry = 1 + below(i % 5 == 0 ? 400'000 : 1500);
            const uint32_t period = i % 7 == 0 ? 100 + below(3000) : 0;
            const TimerHandle handle = wheel.add(period == 0 ? OsTimerParam() : periodic(period), expiry);
            if (below(3) == 0) {
                EXPECT_TRUE(wheel.remove(handle));
                EXPECT_FALSE(wheel.remove(handle));
            } else {
                expected[{expiry, settings++}] = {handle, period};
            }
        }
        Tick now = 0;
        for (int i = 0; i < 3000 && !expected.empty(); ++i) {
            const auto [expiry, setting] = expected.begin()->first;
            const auto [handle, period] = expected.begin()->second;
            TimerWheel::Due due;
            if (expiry != now) {
                ASSERT_LE(*wheel.nextWake(), expiry) << "would be slept through";
                ASSERT_FALSE(wheel.popDue(expiry - 1, due)) << "early, seed " << seed;
            }
            now = expiry;
            ASSERT_TRUE(wheel.popDue(expiry, due)) << "late, seed " << seed;
            ASSERT_EQ(due.handle, handle) << "out of order, seed " << seed;
            EXPECT_TRUE(wheel.isRunning(handle));
            wheel.finishRunning();
            expected.erase(expected.begin());
            if (period != 0) {
                expected[{expiry + period, settings++}] = {handle, period};
            }
            ASSERT_EQ(wheel.count(), expected.size());
        }
    }
}

TEST(TimerWheel, MissedPeriodsAreCountedAndPastExpiriesComeAtTheNextTick) {
    TimerWheel wheel;
    TimerWheel::Due due;
    const TimerHandle handle = wheel.add(periodic(10), 5);
    ASSERT_TRUE(wheel.popDue(38, due)); // 5, and late for 15, 25 and 35
    wheel.finishRunning();
    EXPECT_EQ(wheel.skippedPeriods(), 3U);
    EXPECT_TRUE(wheel.remove(handle));
    EXPECT_FALSE(wheel.popDue(3000, due));
    wheel.add({}, 12);
    EXPECT_FALSE(wheel.popDue(3000, due));
    EXPECT_EQ(wheel.nextWake(), 3001U);
    EXPECT_TRUE(wheel.popDue(3001, due));
}

TEST(TickClock, TimersAreNeverEarly) {
    const TickClock::Time start(std::chrono::hours(5));
    const TickClock clock(start, microseconds(10'000));
    EXPECT_EQ(clock.at(start + microseconds(9'999)), 0U);
    EXPECT_EQ(clock.at(start + microseconds(10'000)), 1U);
    EXPECT_EQ(clock.begin(3), start + microseconds(30'000));
    EXPECT_EQ(clock.after(start + microseconds(1), 0), 1U) << "no tick is the next one";
    EXPECT_EQ(clock.after(start + microseconds(1), 2), 3U);
    const TickClock slowest(start, std::chrono::seconds(1));
    EXPECT_GT(slowest.begin(slowest.after(start, UINT32_MAX)), start) << "no overflow";
}

} // namespace
} // namespace tarn::host

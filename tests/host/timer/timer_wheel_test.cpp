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

using Timer = std::pair<Tick, TimerHandle>;

// The timers that come up to a tick, each with the tick that brought it, when one always comes back at the next wake.
std::vector<Timer> comeUntil(TimerWheel& wheel, Tick end) {
    std::vector<Timer> come;
    TimerWheel::Due due;
    for (std::optional<Tick> wake; (wake = wheel.nextWake()).has_value() && *wake <= end;) {
        while (wheel.popDue(*wake, due)) {
            come.emplace_back(*wake, due.handle);
            EXPECT_TRUE(wheel.isRunning(due.handle));
            wheel.finishRunning();
        }
    }
    return come;
}

// Ticks at the ends of the wheel's words and turns, several of one slot, four timers each; every third is removed.
TEST(TimerWheel, TimersComeInTheirOrderAndAtTheirTick) {
    constexpr std::array<Tick, 12> kTicks = {1, 2, 63, 64, 1023, 1024, 1025, 1087, 2047, 2049, 5000, 400'000};
    TimerWheel wheel;
    std::vector<Timer> expected;
    for (size_t i = 0; i < 4 * kTicks.size(); ++i) {
        const Tick tick = kTicks[i * 5 % kTicks.size()];
        expected.emplace_back(tick, wheel.add({}, tick));
    }
    std::stable_sort(expected.begin(), expected.end(),
                     [](auto& left, auto& right) { return left.first < right.first; });
    size_t position = 0;
    std::erase_if(expected, [&](auto& timer) { return position++ % 3 == 0 && wheel.remove(timer.second); });
    ASSERT_EQ(expected.size(), 32U);
    EXPECT_EQ(wheel.count(), 32U);
    EXPECT_EQ(comeUntil(wheel, 400'000), expected);
    EXPECT_EQ(wheel.count(), 0U);
}

TEST(TimerWheel, PeriodsAreSetAgainBehindWhatStandsThere) {
    TimerWheel wheel;
    const TimerHandle again = wheel.add(periodic(1100), 100);
    const TimerHandle once = wheel.add({}, 1200);
    EXPECT_THAT(comeUntil(wheel, 2300), testing::ElementsAre(std::pair(100, again), std::pair(1200, once),
                                                             std::pair(1200, again), std::pair(2300, again)));
}

TEST(TimerWheel, MissedPeriodsAreCountedAndPastExpiriesComeAtTheNextTick) {
    TimerWheel wheel;
    TimerWheel::Due due;
    const TimerHandle handle = wheel.add(periodic(10), 5);
    ASSERT_TRUE(wheel.popDue(38, due)); // 5, and late for 15, 25 and 35
    wheel.finishRunning();
    EXPECT_EQ(wheel.skippedPeriods(), 3U);
    EXPECT_TRUE(wheel.remove(handle));
    EXPECT_FALSE(wheel.remove(handle));
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
    const TickClock slowest(start, std::chrono::seconds(1));
    EXPECT_GT(slowest.begin(slowest.after(start, UINT32_MAX)), start) << "no overflow";
}

} // namespace
} // namespace tarn::host

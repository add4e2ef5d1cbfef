// The wheel against a plain model, without a clock.
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

// What a wheel should do, done slowly: the next timer is searched among all.
class Model {
 public:
    struct Timer {
        Tick expiry;
        uint64_t setAs; // the how-manieth setting; decides within a tick
        OsTimerParam param;
    };

    void add(TimerHandle handle, const OsTimerParam& param, Tick expiry) {
        EXPECT_TRUE(timers.emplace(handle, Timer{expiry, ++settings_, param}).second) << "a handle twice";
    }

    TimerHandle popDue(Tick now) {
        const auto next = std::min_element(timers.begin(), timers.end(), [](const auto& left, const auto& right) {
            return std::pair(left.second.expiry, left.second.setAs) <
                   std::pair(right.second.expiry, right.second.setAs);
        });
        if (next == timers.end() || next->second.expiry > now) {
            return kNoTimer;
        }
        const TimerHandle handle = next->first;
        Timer& timer = next->second;
        if (timer.param.repeat == 0) {
            timers.erase(next);
            expired = handle;
        } else {
            while (timer.expiry <= now) {
                timer.expiry += std::max(timer.param.periodTicks, 1U);
            }
            timer.setAs = ++settings_;
        }
        return handle;
    }

    std::map<TimerHandle, Timer> timers;
    TimerHandle expired = kNoTimer; // a one-shot whose callback runs; its handle still names it

 private:
    uint64_t settings_ = 0;
};

class RandomRun {
 public:
    explicit RandomRun(uint32_t seed) : random_(seed) {}

    void run() {
        for (int step = 0; step < 2000 && !testing::Test::HasFailure(); ++step) {
            change();
            if (below(4) == 0) {
                advance();
            }
        }
    }

 private:
    uint32_t below(uint32_t bound) { return static_cast<uint32_t>(random_() % bound); }

    void change() {
        if (below(5) < 3) {
            OsTimerParam param = periodic(below(20) == 0 ? 3000 : below(40));
            param.repeat = below(2);
            const Tick expiry = now_ + 1 + (below(20) == 0 ? below(100'000) : below(1500));
            const TimerHandle handle = wheel_.add(param, expiry);
            model_.add(handle, param, expiry);
            past_.push_back(handle);
            return;
        }
        TimerHandle handle = random_();
        if (!past_.empty() && below(10) != 0) {
            handle = past_[below(static_cast<uint32_t>(past_.size()))];
        }
        remove(handle);
    }

    void remove(TimerHandle handle) {
        const bool known = model_.timers.erase(handle) != 0 || (handle == model_.expired && handle != kNoTimer);
        if (handle == model_.expired) {
            model_.expired = kNoTimer;
        }
        ASSERT_EQ(wheel_.remove(handle), known);
    }

    void advance() {
        const Tick before = now_;
        now_ += below(50) == 0 ? below(20'000) : below(30);
        if (const auto wake = wheel_.nextWake(); wake.has_value()) {
            for (const auto& [handle, timer] : model_.timers) {
                ASSERT_LE(*wake, timer.expiry) << "would be slept through";
            }
            ASSERT_GT(*wake, before);
        } else {
            ASSERT_TRUE(model_.timers.empty());
        }
        TimerWheel::Due due;
        while (wheel_.popDue(now_, due)) {
            ASSERT_EQ(due.handle, model_.popDue(now_));
            ASSERT_TRUE(wheel_.isRunning(due.handle));
            switch (below(6)) { // what the callback does
                case 0:
                    change();
                    break;
                case 1:
                    remove(due.handle);
                    remove(due.handle);
                    ASSERT_TRUE(wheel_.isRunning(due.handle));
                    break;
                default:
                    break;
            }
            wheel_.finishRunning();
            model_.expired = kNoTimer;
            ASSERT_FALSE(wheel_.isRunning(due.handle));
        }
        ASSERT_EQ(model_.popDue(now_), kNoTimer);
        ASSERT_EQ(wheel_.count(), model_.timers.size());
    }

    std::mt19937_64 random_;
    Tick now_ = 0;
    TimerWheel wheel_;
    Model model_;
    std::vector<TimerHandle> past_;
};

TEST(TimerWheel, DoesWhatThePlainModelDoes) {
    for (uint32_t seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        RandomRun(seed).run();
        if (HasFailure()) {
            return;
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
    EXPECT_EQ(clock.at(start - microseconds(1)), 0U);
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

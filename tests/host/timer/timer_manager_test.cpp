// The timer manager with its real thread, on a tick of a millisecond.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "tarn_host/host_timer.h"
#include "tarn_platform/os_timer.h"

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kTickMicroseconds = 1000;

template <typename Condition>
bool comesTrue(Condition condition) {
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (Clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(milliseconds(1));
    }
    return true;
}

template <typename Object>
OsTimerParam timerOf(Object* object, OsTimerCallback callback, uint32_t periodTicks = 0) {
    OsTimerParam param = {};
    std::memcpy(param.userData, &object, sizeof(void*));
    param.repeat = periodTicks == 0 ? 0 : 1;
    param.periodTicks = periodTicks;
    param.callback = callback;
    return param;
}

template <typename Object>
Object& objectOf(void* param) {
    Object* object = nullptr;
    std::memcpy(&object, static_cast<const OsTimerParam*>(param)->userData, sizeof(void*));
    return *object;
}

uint32_t count(void* param) {
    ++objectOf<std::atomic<uint32_t>>(param);
    return 0;
}

TarnHostTimerInfo info() {
    TarnHostTimerInfo result = {};
    EXPECT_EQ(TarnHostTimerGetInfo(&result), 0U);
    return result;
}

class TimerManagerTest : public testing::Test {
 protected:
    void SetUp() override { ASSERT_EQ(OsTmrManagerInit(0, kTickMicroseconds, 0), 0U); }
    void TearDown() override { ASSERT_EQ(TarnHostTimerManagerStop(), 0U); }

    void* create(const OsTimerParam& param, uint32_t ticks) {
        void* handle = nullptr;
        EXPECT_EQ(OsTmrCreate(&param, &handle, ticks), 0U);
        EXPECT_NE(handle, nullptr);
        return handle;
    }

    std::atomic<uint32_t> calls = 0;
};

TEST(TimerManagerStart, NothingWorksWithoutAManager) {
    std::atomic<uint32_t> calls = 0;
    const OsTimerParam param = timerOf(&calls, count);
    void* handle = nullptr;
    EXPECT_EQ(OsTmrCreate(&param, &handle, 1), uint32_t{ENODEV});
    EXPECT_EQ(OsTmrDelete(handle), uint32_t{ENOENT});
    EXPECT_EQ(TarnHostTimerManagerStop(), uint32_t{ENODEV});
    EXPECT_EQ(info().tickMicroseconds, 0U);
    EXPECT_EQ(OsTmrManagerInit(0, 0, 0), uint32_t{EINVAL});
    EXPECT_EQ(OsTmrManagerInit(0, 1'000'001, 0), uint32_t{EINVAL});
}

TEST_F(TimerManagerTest, RefusesBadArgumentsAndAnotherTick) {
    OsTimerParam param = timerOf(&calls, count);
    void* handle = &calls;
    EXPECT_EQ(OsTmrCreate(nullptr, &handle, 1), uint32_t{EINVAL});
    EXPECT_EQ(OsTmrCreate(&param, nullptr, 1), uint32_t{EINVAL});
    param.callback = nullptr;
    EXPECT_EQ(OsTmrCreate(&param, &handle, 1), uint32_t{EINVAL});
    EXPECT_EQ(handle, &calls) << "untouched on failure";
    EXPECT_EQ(TarnHostTimerGetInfo(nullptr), uint32_t{EINVAL});
    EXPECT_EQ(OsTmrManagerInit(0, kTickMicroseconds, 0), 0U);
    EXPECT_EQ(OsTmrManagerInit(0, 10'000, 0), uint32_t{EBUSY});
    EXPECT_EQ(info().tickMicroseconds, kTickMicroseconds);
}

struct TimedExpiry {
    Clock::time_point created;
    std::atomic<int64_t> elapsedMicroseconds = -1;
};

uint32_t takeTime(void* param) {
    auto& expiry = objectOf<TimedExpiry>(param);
    expiry.elapsedMicroseconds =
        std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - expiry.created).count();
    return 0;
}

TEST_F(TimerManagerTest, OneShotsExpireOnceInTheirOrderAndNeverEarly) {
    constexpr std::array<uint32_t, 5> kTicks = {40, 0, 20, 1, 5};
    std::array<TimedExpiry, kTicks.size()> expiries;
    std::array<void*, kTicks.size()> handles = {};
    for (size_t index = 0; index < kTicks.size(); ++index) {
        expiries[index].created = Clock::now();
        handles[index] = create(timerOf(&expiries[index], takeTime), kTicks[index]);
    }
    ASSERT_TRUE(comesTrue([&] { return info().timers == 0; }));
    for (size_t index = 0; index < kTicks.size(); ++index) {
        EXPECT_GE(expiries[index].elapsedMicroseconds, int64_t{kTicks[index]} * kTickMicroseconds);
        EXPECT_EQ(OsTmrDelete(handles[index]), uint32_t{ENOENT}) << "it has freed itself";
    }
    EXPECT_GT(expiries[0].elapsedMicroseconds, expiries[2].elapsedMicroseconds);
    EXPECT_GT(expiries[2].elapsedMicroseconds, expiries[4].elapsedMicroseconds);
}

TEST_F(TimerManagerTest, HandlesThatNameNoTimerAreRefused) {
    void* const handle = create(timerOf(&calls, count), 100'000);
    EXPECT_EQ(OsTmrDelete(handle), 0U);
    EXPECT_EQ(OsTmrDelete(handle), uint32_t{ENOENT});
    create(timerOf(&calls, count), 100'000); // takes the same place
    EXPECT_EQ(OsTmrDelete(handle), uint32_t{ENOENT});
    for (const uintptr_t garbage : {uintptr_t{0}, uintptr_t{1}, uintptr_t{0xFFFFFFFF}, UINTPTR_MAX}) {
        EXPECT_EQ(OsTmrDelete(reinterpret_cast<void*>(garbage)), uint32_t{ENOENT});
    }
    EXPECT_EQ(OsTmrDelete(&calls), uint32_t{ENOENT});
    EXPECT_EQ(info().timers, 1U);
}

struct SelfDeleting {
    std::atomic<void*> handle = nullptr;
    std::atomic<uint32_t> first = 99;
    std::atomic<uint32_t> second = 99;
    std::atomic<uint32_t> stop = 99;
    std::atomic<uint32_t> calls = 0;
};

uint32_t deleteItself(void* param) {
    auto& self = objectOf<SelfDeleting>(param);
    while (self.handle.load() == nullptr) {
        std::this_thread::yield();
    }
    self.first = OsTmrDelete(self.handle);
    self.second = OsTmrDelete(self.handle);
    self.stop = TarnHostTimerManagerStop();
    ++self.calls;
    return 0;
}

TEST_F(TimerManagerTest, CallbackDeletesItsOwnTimer) {
    for (const uint32_t period : {0U, 1U}) {
        SelfDeleting self;
        self.handle = create(timerOf(&self, deleteItself, period), 1);
        ASSERT_TRUE(comesTrue([&] { return self.calls != 0; }));
        std::this_thread::sleep_for(milliseconds(20));
        EXPECT_EQ(self.calls, 1U);
        EXPECT_EQ(self.first, 0U);
        EXPECT_EQ(self.second, uint32_t{ENOENT});
        EXPECT_EQ(self.stop, uint32_t{EDEADLK});
        EXPECT_EQ(info().timers, 0U);
    }
}

uint32_t createAnother(void* param) {
    auto& left = objectOf<std::atomic<uint32_t>>(param);
    if (--left != 0) {
        void* handle = nullptr;
        EXPECT_EQ(OsTmrCreate(static_cast<const OsTimerParam*>(param), &handle, 0), 0U);
    }
    return 0;
}

TEST_F(TimerManagerTest, CallbacksCreateTimers) {
    calls = 50;
    create(timerOf(&calls, createAnother), 0);
    EXPECT_TRUE(comesTrue([&] { return calls == 0; }));
}

struct Slow {
    std::atomic<bool> running = false;
    std::atomic<bool> over = false;
};

uint32_t takeLong(void* param) {
    auto& slow = objectOf<Slow>(param);
    slow.running = true;
    std::this_thread::sleep_for(milliseconds(50));
    slow.over = true;
    return 0;
}

TEST_F(TimerManagerTest, DeletionWaitsForTheRunningCallback) {
    for (const uint32_t period : {0U, 1U}) {
        Slow slow;
        void* const handle = create(timerOf(&slow, takeLong, period), 0);
        ASSERT_TRUE(comesTrue([&] { return slow.running.load(); }));
        std::thread second([&] {
            OsTmrDelete(handle); // whoever comes second is told ENOENT, but waits as well
            EXPECT_TRUE(slow.over);
        });
        OsTmrDelete(handle);
        EXPECT_TRUE(slow.over);
        second.join();
        EXPECT_EQ(info().timers, 0U);
    }
}

// Its owner says when the callback must not come any more.
struct Owned {
    std::atomic<bool> alive = true;
    std::atomic<uint32_t>* late = nullptr;
};

uint32_t useOwned(void* param) {
    auto& owned = objectOf<Owned>(param);
    if (!owned.alive) {
        ++*owned.late;
    }
    return 0;
}

TEST_F(TimerManagerTest, ThreadsCreateAndDeleteBesideTheCallbacks) {
    std::atomic<uint32_t> late = 0;
    std::vector<std::thread> threads;
    for (uint32_t number = 0; number < 4; ++number) {
        threads.emplace_back([&, number] {
            for (uint32_t round = 0; round < 60; ++round) {
                std::array<Owned, 20> owned;
                std::array<void*, 20> handles = {};
                for (size_t index = 0; index < owned.size(); ++index) {
                    owned[index].late = &late;
                    handles[index] = create(timerOf(&owned[index], useOwned, (number + round) % 3), 0);
                }
                std::this_thread::sleep_for(std::chrono::microseconds(700));
                for (size_t index = 0; index < owned.size(); ++index) {
                    OsTmrDelete(handles[index]);
                    owned[index].alive = false;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(late, 0U);
    EXPECT_EQ(info().timers, 0U);
}

TEST_F(TimerManagerTest, TenThousandTimersAllExpire) {
    constexpr uint32_t kTimers = 10'000;
    std::vector<std::atomic<uint32_t>> counts(kTimers);
    std::vector<void*> handles;
    for (uint32_t index = 0; index < kTimers; ++index) {
        handles.push_back(create(timerOf(&counts[index], count, 10 + index % 190), index % 200));
    }
    EXPECT_EQ(info().timers, kTimers);
    EXPECT_TRUE(comesTrue(
        [&] { return std::all_of(counts.begin(), counts.end(), [](const auto& expiries) { return expiries >= 2; }); }));
    for (void* handle : handles) {
        EXPECT_EQ(OsTmrDelete(handle), 0U);
    }
    EXPECT_EQ(info().timers, 0U);
}

struct ThreadState {
    std::atomic<pid_t> thread = 0;
    std::atomic<bool> userSignalBlocked = false;
    std::atomic<bool> pipeSignalBlocked = false;
};

uint32_t lookAtThread(void* param) {
    auto& state = objectOf<ThreadState>(param);
    sigset_t mask = {};
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    state.userSignalBlocked = sigismember(&mask, SIGUSR1) == 1;
    state.pipeSignalBlocked = sigismember(&mask, SIGPIPE) == 1;
    state.thread = static_cast<pid_t>(syscall(SYS_gettid));
    return 0;
}

std::string contextSwitches(pid_t thread) {
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
    std::string line;
    while (std::getline(status, line) && line.rfind("voluntary_ctxt_switches", 0) != 0) {
    }
    return line;
}

TEST(TimerManagerThread, InheritsTheSignalMaskAndSleepsWithoutTimers) {
    sigset_t blocked = {};
    sigset_t before = {};
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    ASSERT_EQ(OsTmrManagerInit(0, kTickMicroseconds, 0), 0U);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);

    ThreadState state;
    const OsTimerParam param = timerOf(&state, lookAtThread);
    void* handle = nullptr;
    ASSERT_EQ(OsTmrCreate(&param, &handle, 1), 0U);
    ASSERT_TRUE(comesTrue([&] { return state.thread != 0 && info().timers == 0; }));
    EXPECT_TRUE(state.userSignalBlocked);
    EXPECT_FALSE(state.pipeSignalBlocked);

    std::this_thread::sleep_for(milliseconds(50));
    const std::string switches = contextSwitches(state.thread);
    std::this_thread::sleep_for(milliseconds(100));
    EXPECT_EQ(contextSwitches(state.thread), switches) << "it woke without a timer";
    EXPECT_FALSE(switches.empty());
    EXPECT_EQ(TarnHostTimerManagerStop(), 0U);
}

TEST_F(TimerManagerTest, HandlesDoNotOutliveTheirManager) {
    void* const handle = create(timerOf(&calls, count), 100'000);
    ASSERT_EQ(TarnHostTimerManagerStop(), 0U);
    EXPECT_EQ(OsTmrDelete(handle), uint32_t{ENOENT});
    ASSERT_EQ(OsTmrManagerInit(0, 2 * kTickMicroseconds, 0), 0U);
    create(timerOf(&calls, count), 0);
    EXPECT_EQ(OsTmrDelete(handle), uint32_t{ENOENT});
    EXPECT_TRUE(comesTrue([&] { return calls == 1; }));
}

#ifndef __SANITIZE_THREAD__ // which ends children that start threads

// In a child: 0 when timers start over as they should.
int timersStartOver(void* parentsHandle) {
    std::atomic<uint32_t> calls = 0;
    const OsTimerParam param = timerOf(&calls, count);
    void* handle = nullptr;
    if (info().timers != 0 || info().tickMicroseconds != 0 || OsTmrCreate(&param, &handle, 0) != ENODEV) {
        return 1;
    }
    if (OsTmrManagerInit(0, 500, 0) != 0 || OsTmrCreate(&param, &handle, 1) != 0) {
        return 2;
    }
    if (OsTmrDelete(parentsHandle) != ENOENT) {
        return 3;
    }
    return comesTrue([&] { return calls == 1; }) ? 0 : 4;
}

int exitCodeOf(pid_t child) {
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(TimerManagerTest, ForkedChildStartsOver) {
    void* const handle = create(timerOf(&calls, count, 1), 1);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        _exit(timersStartOver(handle));
    }
    EXPECT_EQ(exitCodeOf(child), 0);
    const uint32_t before = calls;
    EXPECT_TRUE(comesTrue([&] { return calls > before; })) << "the parent's timers go on";
    EXPECT_EQ(OsTmrDelete(handle), 0U);
}

uint32_t forkInCallback(void* param) {
    auto& child = objectOf<std::atomic<pid_t>>(param);
    const pid_t forked = fork();
    if (forked == 0) {
        _exit(timersStartOver(nullptr));
    }
    child = forked;
    return 0;
}

TEST_F(TimerManagerTest, CallbackForks) {
    std::atomic<pid_t> child = 0;
    create(timerOf(&child, forkInCallback), 0);
    ASSERT_TRUE(comesTrue([&] { return child != 0; }));
    EXPECT_EQ(exitCodeOf(child), 0);
    EXPECT_EQ(info().timers, 0U);
}

#endif

} // namespace

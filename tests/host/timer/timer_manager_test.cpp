// The timer manager with its real thread, on a tick of a millisecond.
#include "support/host_test.h"
#include "tarn_host/host_timer.h"
#include "tarn_platform/os_timer.h"

namespace {

using namespace tarn::test;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;
using Action = std::function<void()>;

constexpr uint32_t kTickMicroseconds = 1000;
constexpr uint32_t kNoTimer = ENOENT;

// A timer that does any action; the record holds its address.
OsTimerParam timerOf(const Action& action, uint32_t periodTicks = 0) {
    OsTimerParam param = {};
    const Action* const address = &action;
    std::memcpy(param.userData, &address, sizeof(void*));
    param.repeat = periodTicks == 0 ? 0 : 1;
    param.periodTicks = periodTicks;
    param.callback = [](void* record) -> uint32_t {
        const Action* called = nullptr;
        std::memcpy(&called, static_cast<const OsTimerParam*>(record)->userData, sizeof(void*));
        (*called)();
        return 0;
    };
    return param;
}

void* create(const Action& action, uint32_t ticks, uint32_t periodTicks = 0) {
    const OsTimerParam param = timerOf(action, periodTicks);
    void* handle = nullptr;
    EXPECT_EQ(OsTmrCreate(&param, &handle, ticks), 0U);
    EXPECT_NE(handle, nullptr);
    return handle;
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

    std::atomic<uint32_t> calls_ = 0;
    const Action count_ = [this] { ++calls_; };
};

TEST_F(TimerManagerTest, RefusesWhatItCannotUseAndWorksOnlyWhileItRuns) {
    OsTimerParam param = timerOf(count_);
    const OsTimerParam empty = {};
    void* handle = &param;
    expectAll(kInvalid, {OsTmrCreate(nullptr, &handle, 1), OsTmrCreate(&empty, &handle, 1)});
    EXPECT_EQ(OsTmrManagerInit(0, kTickMicroseconds, 0), 0U);
    EXPECT_EQ(OsTmrManagerInit(0, 10'000, 0), uint32_t{EBUSY});
    EXPECT_EQ(info().tickMicroseconds, kTickMicroseconds);
    void* const gone = create(count_, 100'000);
    EXPECT_EQ(OsTmrDelete(gone), 0U);
    void* const old = create(count_, 100'000); // Takes the same place.
    for (const uintptr_t none : {reinterpret_cast<uintptr_t>(gone), uintptr_t{0}, uintptr_t{1}, UINTPTR_MAX}) {
        EXPECT_EQ(OsTmrDelete(reinterpret_cast<void*>(none)), kNoTimer);
    }

    ASSERT_EQ(TarnHostTimerManagerStop(), 0U);
    expectAll(ENODEV, {OsTmrCreate(&param, &handle, 1), TarnHostTimerManagerStop()});
    EXPECT_EQ(handle, &param) << "untouched on failure";
    EXPECT_EQ(OsTmrDelete(old), kNoTimer);
    EXPECT_EQ(info().tickMicroseconds, 0U);
    expectAll(kInvalid, {OsTmrManagerInit(0, 0, 0), OsTmrManagerInit(0, 1'000'001, 0)});

    ASSERT_EQ(OsTmrManagerInit(0, 100'000, 0), 0U);
    create(count_, 500);
    std::this_thread::sleep_for(milliseconds(20));
    create(count_, 0); // Wakes the thread that waits for the other.
    EXPECT_EQ(OsTmrDelete(old), kNoTimer) << "a handle does not outlive its manager";
    EXPECT_TRUE(comesTrue([&] { return calls_ == 1; }));
}

TEST_F(TimerManagerTest, OneShotsExpireOnceAndNeverEarly) {
    for (const uint32_t ticks : {20U, 1U, 0U}) {
        const Clock::time_point created = Clock::now();
        const Action expire = [&] {
            EXPECT_GE(Clock::now() - created, ticks * microseconds(kTickMicroseconds));
            ++calls_;
        };
        void* const handle = create(expire, ticks);
        ASSERT_TRUE(comesTrue([] { return info().timers == 0; }));
        EXPECT_EQ(OsTmrDelete(handle), kNoTimer) << "it has freed itself";
    }
    EXPECT_EQ(calls_, 3U);
}

TEST_F(TimerManagerTest, CallbackDeletesItsOwnTimerAndCreatesOthers) {
    for (const uint32_t period : {0U, 1U}) {
        std::atomic<void*> handle = nullptr;
        std::atomic<uint32_t> created = 0;
        calls_ = 0;
        const Action createAnother = [&] {
            if (++created != 20) {
                create(createAnother, 0);
            }
        };
        const Action deleteItself = [&] {
            EXPECT_TRUE(comesTrue([&] { return handle != nullptr; }));
            EXPECT_EQ(OsTmrDelete(handle), 0U);
            EXPECT_EQ(OsTmrDelete(handle), kNoTimer);
            EXPECT_EQ(TarnHostTimerManagerStop(), uint32_t{EDEADLK});
            create(createAnother, 0);
            ++calls_;
        };
        handle = create(deleteItself, 1, period);
        ASSERT_TRUE(comesTrue([&] { return created == 20 && info().timers == 0; }));
        EXPECT_EQ(calls_, 1U);
    }
}

TEST_F(TimerManagerTest, DeletionWaitsForTheRunningCallback) {
    for (const uint32_t period : {0U, 1U}) {
        std::atomic<bool> running = false;
        std::atomic<bool> over = false;
        const Action takeLong = [&] {
            running = true;
            std::this_thread::sleep_for(milliseconds(50));
            over = true;
        };
        void* const handle = create(takeLong, 0, period);
        ASSERT_TRUE(comesTrue([&] { return running.load(); }));
        inThreads(2, [&](size_t) {
            OsTmrDelete(handle); // Whoever comes second is told ENOENT, but waits as well.
            EXPECT_TRUE(over);
        });
        EXPECT_EQ(info().timers, 0U);
    }
}

TEST_F(TimerManagerTest, ThreadsCreateAndDeleteBesideTheCallbacks) {
    inThreads(4, [](size_t thread) {
        for (size_t round = 0; round < 60; ++round) {
            std::atomic<bool> isAlive = true;
            const Action use = [&] { EXPECT_TRUE(isAlive); };
            std::array<void*, 20> handles = {};
            for (void*& handle : handles) {
                handle = create(use, 0, static_cast<uint32_t>((thread + round) % 3));
            }
            std::this_thread::sleep_for(microseconds(700));
            std::for_each(handles.begin(), handles.end(), OsTmrDelete);
            isAlive = false;
        }
    });
    EXPECT_EQ(info().timers, 0U);
}

std::string contextSwitches(pid_t thread) {
    const std::string status = readFile("/proc/self/task/" + std::to_string(thread) + "/status");
    return status.substr(status.find("\nvoluntary_ctxt_switches"));
}

TEST(TimerManagerThread, InheritsTheSignalMaskAndSleepsWithoutTimers) {
    sigset_t blocked = {};
    sigset_t before = {};
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    ASSERT_EQ(OsTmrManagerInit(0, kTickMicroseconds, 0), 0U);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);

    std::atomic<pid_t> thread = 0;
    const Action lookAtThread = [&] {
        sigset_t mask = {};
        pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        EXPECT_EQ(sigismember(&mask, SIGUSR1), 1);
        thread = gettid();
    };
    create(lookAtThread, 1);
    ASSERT_TRUE(comesTrue([&] { return thread != 0 && info().timers == 0; }));
    std::this_thread::sleep_for(milliseconds(50));
    const std::string switches = contextSwitches(thread);
    std::this_thread::sleep_for(milliseconds(100));
    EXPECT_EQ(contextSwitches(thread), switches) << "it woke without a timer";
    EXPECT_EQ(TarnHostTimerManagerStop(), 0U);
}

TEST_F(TimerManagerTest, ForkedChildStartsOver) {
    void* const parents = create(count_, 1, 1);
    EXPECT_EQ(runForked([&] {
                  calls_ = 0;
                  const OsTimerParam param = timerOf(count_);
                  void* handle = nullptr;
                  EXPECT_EQ(info().timers, 0U);
                  EXPECT_EQ(info().tickMicroseconds, 0U);
                  EXPECT_EQ(OsTmrCreate(&param, &handle, 0), uint32_t{ENODEV});
                  EXPECT_EQ(OsTmrManagerInit(0, 500, 0), 0U);
                  create(count_, 1);
                  EXPECT_EQ(OsTmrDelete(parents), kNoTimer);
                  EXPECT_TRUE(comesTrue([&] { return calls_ == 1; }));
                  return 0;
              }),
              0);
    const uint32_t before = calls_;
    EXPECT_TRUE(comesTrue([&] { return calls_ > before; })) << "the parent's timers go on";
}

TEST_F(TimerManagerTest, AChildThatReturnsFromACallbackIsEndedAndToldOf) {
    const CaughtErrors errors;
    std::atomic<pid_t> forked = -1;
    const Action forkAndReturn = [&] { forked = fork(); };
    create(forkAndReturn, 1);
    ASSERT_TRUE(comesTrue([&] { return forked > 0; }));
    EXPECT_EQ(endOf(forked), EXIT_FAILURE);
    EXPECT_EQ(errors.mentions("a child forked inside a timer's callback returned from it and was ended"), 1);
}

} // namespace

// The lock is not held while a callback runs, so that callbacks can do what they like with timers. A removal from
// another thread waits until the callback is over; one from the callback itself does not.
#include "timer/timer_manager.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <new>
#include <system_error>

#include "base/fork_handlers.h"
#include "base/forked_child.h"
#include "base/remake.h"
#include "base/report.h"

namespace tarn::host {
namespace {

// 2^32 ticks of this length are still a number of nanoseconds.
constexpr uint32_t kLongestTickMicroseconds = 1'000'000;

// Set in the manager's thread only.
thread_local bool inManagerThread = false;

} // namespace

TimerManager& TimerManager::get() {
    static TimerManager* const manager = [] {
        std::unique_ptr<TimerManager> made(new TimerManager);
        // Without them a child would find a manager that no thread serves.
        registerForkHandlers([] { get().mutex_.lock(); }, [] { get().mutex_.unlock(); },
                             [] { get().restartInChild(); });
        return made.release();
    }();
    return *manager;
}

void TimerManager::restartInChild() {
    ++epoch_;
    state_ = State::kStopped;
    tickMicroseconds_ = 0;
    wheel_.clear();
    expiries_ = 0;
    skippedBefore_ = wheel_.skippedPeriods();
    removersWaiting_ = 0;
    inManagerThread = false;
    remake(wakeUp_);
    remake(callbackOver_);
    remake(thread_);
    mutex_.unlock();
}

uint32_t TimerManager::start(uint32_t tickMicroseconds) {
    if (tickMicroseconds == 0 || tickMicroseconds > kLongestTickMicroseconds) {
        return EINVAL;
    }
    const std::lock_guard lock(mutex_);
    if (state_ != State::kStopped) {
        return state_ == State::kRunning && tickMicroseconds == tickMicroseconds_ ? 0 : EBUSY;
    }
    clock_ = TickClock(std::chrono::steady_clock::now(), std::chrono::microseconds(tickMicroseconds));
    try {
        // Unlike the threads of other services it inherits the signal mask, as its starter expects.
        thread_ = std::thread([this, epoch = ++epoch_] { run(epoch); });
    } catch (const std::system_error& error) {
        return static_cast<uint32_t>(error.code().value());
    }
    pthread_setname_np(thread_.native_handle(), "tarn-timer"); // for who looks at the process; nothing depends on it
    tickMicroseconds_ = tickMicroseconds;
    state_ = State::kRunning;
    return 0;
}

uint32_t TimerManager::stop() {
    if (inManagerThread) {
        return EDEADLK;
    }
    std::thread ended;
    {
        const std::lock_guard lock(mutex_);
        if (state_ != State::kRunning) {
            return ENODEV;
        }
        state_ = State::kStopping;
        ended = std::move(thread_);
        wakeUp_.notify_one();
    }
    ended.join();
    const std::lock_guard lock(mutex_);
    wheel_.clear();
    tickMicroseconds_ = 0;
    state_ = State::kStopped;
    return 0;
}

uint32_t TimerManager::create(const OsTimerParam& param, uint32_t ticks, TimerHandle& handle) {
    const std::lock_guard lock(mutex_);
    if (state_ != State::kRunning) {
        return ENODEV;
    }
    const Tick expiry = clock_.after(std::chrono::steady_clock::now(), ticks);
    handle = wheel_.add(param, expiry);
    if (clock_.begin(expiry) < sleepsUntil_) {
        wakeUp_.notify_one();
    }
    return 0;
}

uint32_t TimerManager::remove(TimerHandle handle) {
    std::unique_lock lock(mutex_);
    const bool removed = wheel_.remove(handle);
    if (!inManagerThread && wheel_.isRunning(handle)) {
        ++removersWaiting_;
        callbackOver_.wait(lock, [&] { return !wheel_.isRunning(handle); });
        --removersWaiting_;
    }
    return removed ? 0 : ENOENT;
}

TarnHostTimerInfo TimerManager::info() {
    const std::lock_guard lock(mutex_);
    return {tickMicroseconds_, wheel_.count(), expiries_, wheel_.skippedPeriods() - skippedBefore_};
}

void TimerManager::run(uint64_t epoch) {
    inManagerThread = true;
    TimerWheel::Due due;
    std::unique_lock lock(mutex_);
    while (state_ != State::kStopping) {
        if (wheel_.popDue(clock_.at(std::chrono::steady_clock::now()), due)) {
            runDue(lock, due, epoch);
        } else {
            sleep(lock);
        }
    }
}

void TimerManager::runDue(std::unique_lock<std::mutex>& lock, TimerWheel::Due& due, uint64_t epoch) {
    lock.unlock();
    due.param.callback(&due.param);
    lock.lock();
    if (epoch != epoch_) {
        endForkedChild("a timer's callback");
    }
    ++expiries_;
    wheel_.finishRunning();
    if (removersWaiting_ != 0) {
        callbackOver_.notify_all();
    }
}

void TimerManager::sleep(std::unique_lock<std::mutex>& lock) {
    const std::optional<Tick> wake = wheel_.nextWake();
    if (wake.has_value()) {
        sleepsUntil_ = clock_.begin(*wake);
        wakeUp_.wait_until(lock, sleepsUntil_);
    } else {
        sleepsUntil_ = TickClock::Time::max();
        wakeUp_.wait(lock);
    }
    sleepsUntil_ = TickClock::Time::min();
}

} // namespace tarn::host

// The thread that runs a process's timers.
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

#include "tarn_host/host_timer.h"
#include "timer/tick_clock.h"
#include "timer/timer_wheel.h"

namespace tarn::host {

// One a process, never destroyed: its thread may outlive `main`. Results are errno values.
class TimerManager {
 public:
    static TimerManager& get();

    uint32_t start(uint32_t tickMicroseconds);
    uint32_t stop();
    uint32_t create(const OsTimerParam& param, uint32_t ticks, TimerHandle& handle);
    uint32_t remove(TimerHandle handle);
    TarnHostTimerInfo info();

 private:
    enum class State { kStopped, kRunning, kStopping };

    TimerManager() = default;
    void run(uint64_t epoch);
    void runDue(std::unique_lock<std::mutex>& lock, TimerWheel::Due& due, uint64_t epoch);
    void sleep(std::unique_lock<std::mutex>& lock);
    void restartInChild();

    std::mutex mutex_; // guards all; not held while a callback runs
    State state_ = State::kStopped;
    uint64_t epoch_ = 0; // of the thread; one that finds another than its own has been left behind by a fork
    uint32_t tickMicroseconds_ = 0;
    TickClock clock_;
    TimerWheel wheel_;
    TickClock::Time sleepsUntil_ = TickClock::Time::min(); // min: it does not sleep
    uint64_t expiries_ = 0;
    uint64_t skippedBefore_ = 0; // By the process that this one was forked from.
    uint32_t removersWaiting_ = 0;
    std::condition_variable wakeUp_;
    std::condition_variable callbackOver_;
    std::thread thread_;
};

} // namespace tarn::host

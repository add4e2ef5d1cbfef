// The timers of a process, in ticks: who is due when. Knows neither clock nor thread nor lock.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "tarn_platform/os_timer.h"

namespace tarn::host {

using Tick = uint64_t;

// A timer's name to the outside: a slot and its generation, so that a handle of a timer that is gone names nothing.
using TimerHandle = uint64_t;
inline constexpr TimerHandle kNoTimer = 0;

// A hashed wheel: a timer stands in the list of its expiry tick modulo the wheel's size, so that adding, removing and
// expiring one cost the same with ten timers as with ten thousand.
//
// One callback runs at a time: `popDue` hands out the timer whose callback runs until `finishRunning`.
class TimerWheel {
 public:
    struct Due {
        TimerHandle handle = kNoTimer;
        OsTimerParam param = {}; // a copy: the timer may be removed while its callback runs
    };

    // A timer that expires at `expiry`, or at the next tick if that is past. Throws std::bad_alloc.
    TimerHandle add(const OsTimerParam& param, Tick expiry);

    // Says whether the handle named a timer. The callback of a removed timer may still be running.
    bool remove(TimerHandle handle);

    // Removes all timers and starts over at tick 0. Handles given out before name nothing afterwards either.
    void clear();

    // Moves on to `now`, as far as the next due timer, and takes that. Timers come in the order of their ticks; those
    // of one tick in the order in which they were set. A periodic timer is set for its first period after `now`:
    // periods that were missed altogether are skipped, not made up for.
    bool popDue(Tick now, Due& due);
    void finishRunning();

    bool isRunning(TimerHandle handle) const { return handle != kNoTimer && running_ == handle; }

    // The tick to come back at, or earlier than that tick's timers need when they are far off; none without timers.
    std::optional<Tick> nextWake() const;

    uint32_t count() const { return count_; }
    uint64_t skippedPeriods() const { return skippedPeriods_; }

 private:
    static constexpr uint32_t kSlots = 1024;
    static constexpr uint32_t kDueList = kSlots;
    static constexpr uint32_t kLists = kSlots + 1;
    static constexpr uint32_t kUnlisted = kLists; // out of every list while its callback runs
    static constexpr uint32_t kFree = kLists + 1;
    static constexpr uint32_t kNil = UINT32_MAX;
    static constexpr uint32_t kWordBits = 64;

    struct Node {
        OsTimerParam param;
        Tick expiry;
        uint32_t generation;
        uint32_t list;
        uint32_t previous;
        uint32_t next; // also links the free nodes
        bool removed;  // while its callback runs
    };
    struct List {
        uint32_t first = kNil;
        uint32_t last = kNil;
    };

    TimerHandle handleOf(uint32_t index) const;
    uint32_t find(TimerHandle handle) const;
    uint32_t takeFreeNode();
    void release(uint32_t index);
    void append(uint32_t list, uint32_t index);
    void unlink(uint32_t index);
    void place(uint32_t index, Tick expiry);
    void collectDue(Tick now);
    std::optional<Tick> nextOccupied() const;

    std::vector<Node> nodes_;
    std::array<List, kLists> lists_;
    std::array<uint64_t, kSlots / kWordBits> occupied_ = {};
    uint32_t firstFree_ = kNil;
    uint32_t count_ = 0;
    Tick current_ = 0; // every tick up to this one has been collected
    TimerHandle running_ = kNoTimer;
    uint64_t skippedPeriods_ = 0;
};

} // namespace tarn::host

#include "timer/timer_wheel.h"

#include <algorithm>
#include <bit>
#include <new>

namespace tarn::host {

TimerHandle TimerWheel::handleOf(uint32_t index) const {
    return TimerHandle{nodes_[index].generation} << 32 | (TimerHandle{index} + 1);
}

// The node that a handle names, one removed inside its callback included; kNil for any other handle.
uint32_t TimerWheel::find(TimerHandle handle) const {
    const auto index = static_cast<uint32_t>(handle) - 1; // no slot for the low half of kNoTimer
    if (index >= nodes_.size() || nodes_[index].list == kFree || handleOf(index) != handle) {
        return kNil;
    }
    return index;
}

uint32_t TimerWheel::takeFreeNode() {
    if (firstFree_ == kNil) {
        if (nodes_.size() >= kNil - 1) {
            throw std::bad_alloc();
        }
        nodes_.push_back(Node{.param = {},
                              .expiry = 0,
                              .generation = 1,
                              .list = kFree,
                              .previous = kNil,
                              .next = kNil,
                              .removed = false});
        return static_cast<uint32_t>(nodes_.size() - 1);
    }
    const uint32_t index = firstFree_;
    firstFree_ = nodes_[index].next;
    return index;
}

void TimerWheel::release(uint32_t index) {
    Node& node = nodes_[index];
    ++node.generation;
    node.list = kFree;
    node.next = firstFree_;
    firstFree_ = index;
}

void TimerWheel::append(uint32_t list, uint32_t index) {
    Node& node = nodes_[index];
    node.list = list;
    node.previous = lists_[list].last;
    node.next = kNil;
    if (node.previous == kNil) {
        lists_[list].first = index;
    } else {
        nodes_[node.previous].next = index;
    }
    lists_[list].last = index;
    if (list < kSlots) {
        occupied_[list / kWordBits] |= uint64_t{1} << list % kWordBits;
    }
}

void TimerWheel::unlink(uint32_t index) {
    Node& node = nodes_[index];
    if (node.list >= kLists) {
        return;
    }
    List& list = lists_[node.list];
    (node.previous == kNil ? list.first : nodes_[node.previous].next) = node.next;
    (node.next == kNil ? list.last : nodes_[node.next].previous) = node.previous;
    if (node.list < kSlots && list.first == kNil) {
        occupied_[node.list / kWordBits] &= ~(uint64_t{1} << node.list % kWordBits);
    }
    node.list = kUnlisted;
}

void TimerWheel::place(uint32_t index, Tick expiry) {
    nodes_[index].expiry = std::max(expiry, current_ + 1);
    append(static_cast<uint32_t>(nodes_[index].expiry % kSlots), index);
}

TimerHandle TimerWheel::add(const OsTimerParam& param, Tick expiry) {
    const uint32_t index = takeFreeNode();
    nodes_[index].param = param;
    nodes_[index].removed = false;
    place(index, expiry);
    ++count_;
    return handleOf(index);
}

bool TimerWheel::remove(TimerHandle handle) {
    const uint32_t index = find(handle);
    if (index == kNil || nodes_[index].removed) {
        return false;
    }
    unlink(index);
    --count_;
    if (isRunning(handle)) {
        nodes_[index].removed = true; // the handle stays known until the callback is over: others may wait for it
    } else {
        release(index);
    }
    return true;
}

void TimerWheel::clear() {
    running_ = kNoTimer;
    for (uint32_t index = 0; index < nodes_.size(); ++index) {
        if (nodes_[index].list != kFree) {
            unlink(index);
            release(index);
        }
    }
    count_ = 0;
    current_ = 0;
}

// The next tick after the current one with a list of timers; they may be due a turn of the wheel or more later.
std::optional<Tick> TimerWheel::nextOccupied() const {
    constexpr uint32_t kWords = kSlots / kWordBits;
    const Tick start = current_ + 1;
    const auto slot = static_cast<uint32_t>(start % kSlots);
    // The word of the first slot comes twice: its upper bits first, its lower bits after a whole turn.
    for (uint32_t step = 0; step <= kWords; ++step) {
        const uint32_t word = (slot / kWordBits + step) % kWords;
        uint64_t bits = occupied_[word];
        const uint64_t upper = ~uint64_t{0} << slot % kWordBits;
        if (step == 0) {
            bits &= upper;
        } else if (step == kWords) {
            bits &= ~upper;
        }
        if (bits != 0) {
            const uint32_t found = word * kWordBits + static_cast<uint32_t>(std::countr_zero(bits));
            return start + (found + kSlots - slot) % kSlots;
        }
    }
    return std::nullopt;
}

// Moves on to the next tick with due timers and lists those, or to `now`.
void TimerWheel::collectDue(Tick now) {
    while (lists_[kDueList].first == kNil && current_ < now) {
        const std::optional<Tick> next = nextOccupied();
        if (!next.has_value() || *next > now) {
            current_ = now;
            return;
        }
        current_ = *next;
        uint32_t index = lists_[current_ % kSlots].first;
        while (index != kNil) {
            const uint32_t following = nodes_[index].next;
            if (nodes_[index].expiry == current_) {
                unlink(index);
                append(kDueList, index);
            }
            index = following;
        }
    }
}

bool TimerWheel::popDue(Tick now, Due& due) {
    collectDue(now);
    const uint32_t index = lists_[kDueList].first;
    if (index == kNil) {
        return false;
    }
    unlink(index);
    Node& node = nodes_[index];
    due.handle = handleOf(index);
    due.param = node.param;
    running_ = due.handle;
    if (node.param.repeat != 0) {
        const Tick period = std::max<Tick>(node.param.periodTicks, 1);
        const Tick missed = (std::max(now, node.expiry) - node.expiry) / period;
        skippedPeriods_ += missed;
        place(index, node.expiry + (missed + 1) * period);
    }
    return true;
}

void TimerWheel::finishRunning() {
    const uint32_t index = find(running_);
    running_ = kNoTimer;
    if (index == kNil || nodes_[index].list != kUnlisted) {
        return; // it is set for its next period
    }
    if (!nodes_[index].removed) {
        --count_;
    }
    release(index);
}

std::optional<Tick> TimerWheel::nextWake() const {
    return lists_[kDueList].first != kNil ? std::optional(current_) : nextOccupied();
}

} // namespace tarn::host

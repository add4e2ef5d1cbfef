// Decides when a change of files is over: when nothing more happened for a while, or now and then while it never stops.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>

namespace tarn::host {

class ChangeSettler {
 public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr std::chrono::milliseconds kQuiet{80};
    static constexpr std::chrono::milliseconds kLongest{1000};
    static constexpr size_t kSubjects = 6;

    void touch(size_t subject, Time now) {
        Change& change = changes_[subject];
        if (!change.isOpen) {
            change = {true, now, now};
        }
        change.last = now;
    }

    void clear() { changes_ = {}; }

    // When the next change is over; nothing without one.
    std::optional<Time> nextEnd() const {
        const Change* const next = first();
        return next == nullptr ? std::nullopt : std::optional(end(*next));
    }

    // The subject whose change is over by `now`, which is closed with that; the longest over first.
    std::optional<size_t> popSettled(Time now) {
        const Change* const next = first();
        if (next == nullptr || end(*next) > now) {
            return std::nullopt;
        }
        const auto subject = static_cast<size_t>(next - changes_.data());
        changes_[subject].isOpen = false;
        return subject;
    }

 private:
    struct Change {
        bool isOpen = false;
        Time first;
        Time last;
    };

    static Time end(const Change& change) {
        const Time quiet = change.last + kQuiet;
        const Time longest = change.first + kLongest;
        return quiet < longest ? quiet : longest;
    }

    const Change* first() const {
        const Change* earliest = nullptr;
        for (const Change& change : changes_) {
            if (change.isOpen && (earliest == nullptr || end(change) < end(*earliest))) {
                earliest = &change;
            }
        }
        return earliest;
    }

    std::array<Change, kSubjects> changes_;
};

} // namespace tarn::host

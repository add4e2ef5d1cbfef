// A point in time until which a call may wait.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace tarn::host {

class Deadline {
 public:
    explicit Deadline(uint32_t milliseconds)
        : end_(std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds)) {}

    std::chrono::steady_clock::time_point end() const { return end_; }

    // For poll: what is left, rounded up, and no more than a day.
    int milliseconds() const {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - std::chrono::steady_clock::now()).count();
        return static_cast<int>(std::clamp<decltype(left)>(left, 0, 24L * 3600 * 1000));
    }

    bool passed() const { return std::chrono::steady_clock::now() >= end_; }

 private:
    std::chrono::steady_clock::time_point end_;
};

} // namespace tarn::host

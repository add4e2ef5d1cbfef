#include "processes/inbox.h"

#include <ctime>
#include <utility>

namespace tarn::demo {

uint64_t monotonicNs() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1'000'000'000U + static_cast<uint64_t>(now.tv_nsec);
}

void Inbox::note(const std::string& kind, const std::string& text) {
    {
        const std::lock_guard lock(mutex_);
        arrivals_[kind].push_back({monotonicNs(), text});
    }
    arrived_.notify_all();
}

std::vector<Arrival> Inbox::take(const std::string& kind, size_t count, std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    arrived_.wait_for(lock, timeout, [&] { return arrivals_[kind].size() >= count; });
    return std::exchange(arrivals_[kind], {});
}

Inbox& inbox() {
    static Inbox instance;
    return instance;
}

} // namespace tarn::demo

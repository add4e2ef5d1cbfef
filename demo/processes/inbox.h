// What arrived at this process: handlers note it on the message thread, orders wait for it on the main thread.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace tarn::demo {

struct Arrival {
    uint64_t monotonicNs;
    std::string text;
};

class Inbox {
 public:
    void note(const std::string& kind, const std::string& text);
    // The arrivals of a kind once there are `count`, or those there are when the time is up; takes them out.
    std::vector<Arrival> take(const std::string& kind, size_t count, std::chrono::milliseconds timeout);

 private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::map<std::string, std::vector<Arrival>> arrivals_;
};

Inbox& inbox();

uint64_t monotonicNs();

} // namespace tarn::demo

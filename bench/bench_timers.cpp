// Ten thousand running timers of 10 ms to 1 s on the host's timer manager: what they cost, how exact they are, whether
// they drift. TARN_BENCH_SECONDS shortens the 60 seconds.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <thread>
#include <vector>

#include "tarn_host/host_timer.h"
#include "tarn_platform/os_timer.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;

constexpr uint32_t kTimers = 10'000;
constexpr uint32_t kTickMicroseconds = 10'000;
constexpr uint32_t kLongestTicks = 100;
constexpr uint32_t kDefaultSeconds = 60;
constexpr int64_t kShortestJudged = 10 * int64_t{kTickMicroseconds};
constexpr size_t kEnd = 3; // expiries at either end of the run, of which the most exact tells the drift

constexpr double kMostCpuShare = 0.05;
constexpr double kMostErrorTicks = 2.0;
constexpr double kMostDriftTicks = 1.0;

// Errors of expiries in steps of 10 microseconds, the last for all that are longer. Filled by the timer thread alone.
class Errors {
 public:
    void add(int64_t error) {
        const int64_t step = error < 0 ? 0 : error / kStep;
        ++counts_[static_cast<size_t>(step < kSteps ? step : kSteps)];
        ++total_;
        longest_ = error > longest_ ? error : longest_;
    }

    double quantileMilliseconds(double quantile) const {
        const auto wanted = static_cast<uint64_t>(quantile * static_cast<double>(total_));
        uint64_t seen = 0;
        size_t step = 0;
        while (step < kSteps && (seen += counts_[step]) <= wanted) {
            ++step;
        }
        return static_cast<double>((step + 1) * kStep) / 1000;
    }

    double longestMilliseconds() const { return static_cast<double>(longest_) / 1000; }

 private:
    static constexpr int64_t kStep = 10;
    static constexpr int64_t kSteps = 20'000;

    std::array<uint64_t, kSteps + 1> counts_ = {};
    uint64_t total_ = 0;
    int64_t longest_ = 0;
};

Errors errors;

struct Timer {
    Clock::time_point created;
    int64_t period = 0; // microseconds
    size_t expiries = 0;
    std::array<int64_t, kEnd> first = {}; // errors
    std::array<int64_t, kEnd> last = {};
};

// The error of an expiry: how much later it came than a whole number of periods after the creation. One of a period or
// more looks like a small one, so timers of short periods do not count; they share thread and ticks with the others.
uint32_t onExpiry(void* param) {
    Timer* timer = nullptr;
    std::memcpy(&timer, static_cast<const OsTimerParam*>(param)->userData, sizeof timer);
    const int64_t elapsed = std::chrono::duration_cast<microseconds>(Clock::now() - timer->created).count();
    const int64_t error = elapsed % timer->period;
    if (timer->period >= kShortestJudged) {
        errors.add(error);
    }
    if (timer->expiries < kEnd) {
        timer->first[timer->expiries] = error;
    }
    timer->last[timer->expiries++ % kEnd] = error;
    return 0;
}

double processCpuSeconds() {
    timespec time = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

std::vector<void*> createAll(std::vector<Timer>& timers) {
    std::vector<void*> handles;
    for (uint32_t index = 0; index < kTimers; ++index) {
        Timer* const timer = &timers[index];
        OsTimerParam param = {};
        std::memcpy(param.userData, &timer, sizeof timer);
        param.periodTicks = 1 + index % kLongestTicks;
        param.repeat = 1;
        param.callback = onExpiry;
        timer->period = int64_t{param.periodTicks} * kTickMicroseconds;
        timer->created = Clock::now();
        void* handle = nullptr;
        if (OsTmrCreate(&param, &handle, param.periodTicks) != 0) {
            std::fputs("a timer could not be created\n", stderr);
            std::exit(2);
        }
        handles.push_back(handle);
    }
    return handles;
}

double longestDriftTicks(const std::vector<Timer>& timers) {
    int64_t longest = 0;
    for (const Timer& timer : timers) {
        if (timer.period >= kShortestJudged && timer.expiries >= 2 * kEnd) {
            longest = std::max(longest, std::abs(std::ranges::min(timer.last) - std::ranges::min(timer.first)));
        }
    }
    return static_cast<double>(longest) / kTickMicroseconds;
}

bool holds(const char* name, double value, double limit, const char* unit) {
    std::printf("%-36s %9.3f %s (limit %g)%s\n", name, value, unit, limit, value < limit ? "" : " ABOVE");
    return value < limit;
}

uint32_t wantedSeconds() {
    const char* const text = std::getenv("TARN_BENCH_SECONDS");
    const int seconds = text == nullptr ? 0 : std::atoi(text);
    return seconds > 0 ? static_cast<uint32_t>(seconds) : kDefaultSeconds;
}

} // namespace

int main() {
    if (OsTmrManagerInit(0, kTickMicroseconds, 0) != 0) {
        std::fputs("the timer manager did not start\n", stderr);
        return 2;
    }
    std::vector<Timer> timers(kTimers);
    auto start = Clock::now();
    const std::vector<void*> handles = createAll(timers);
    const double createSeconds = secondsSince(start);

    const double cpuBefore = processCpuSeconds();
    start = Clock::now();
    std::this_thread::sleep_for(std::chrono::seconds(wantedSeconds()));
    const double seconds = secondsSince(start);
    const double cpu = processCpuSeconds() - cpuBefore;

    TarnHostTimerInfo info = {};
    TarnHostTimerGetInfo(&info);
    start = Clock::now();
    for (void* handle : handles) {
        OsTmrDelete(handle);
    }
    const double deleteSeconds = secondsSince(start);
    TarnHostTimerManagerStop(); // before the figures of its thread are read

    std::printf("%u timers of 10 ms to 1 s for %.0f s: %.0f expiries a second, %.0f ns of a core each\n", kTimers,
                seconds, static_cast<double>(info.expiries) / seconds, cpu / static_cast<double>(info.expiries) * 1e9);
    std::printf("create %.0f ns, delete %.0f ns, periods skipped %llu\n", createSeconds / kTimers * 1e9,
                deleteSeconds / kTimers * 1e9, static_cast<unsigned long long>(info.skippedPeriods));
    std::printf("expiry error p50 %.2f ms, p99 %.2f ms, longest %.2f ms\n", errors.quantileMilliseconds(0.5),
                errors.quantileMilliseconds(0.99), errors.longestMilliseconds());

    bool good = holds("share of a core", cpu / seconds, kMostCpuShare, "");
    good = holds("expiry error p99", errors.quantileMilliseconds(0.99) * 1000 / kTickMicroseconds, kMostErrorTicks,
                 "ticks") &&
           good;
    good = holds("drift", longestDriftTicks(timers), kMostDriftTicks, "ticks") && good;
    return good ? 0 : 1;
}

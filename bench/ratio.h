// Speed promises are ratios, measured in one run: the two sides take turns, so that whatever else the machine does
// meets both, and the median of the rounds counts.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

namespace tarn::bench {

inline constexpr int kRounds = 41;
inline constexpr double kShortestSample = 0.0005; // seconds

inline double now(clockid_t clock) {
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

template <typename Call>
double secondsFor(size_t calls, Call& call, clockid_t clock) {
    const double start = now(clock);
    for (size_t i = 0; i < calls; ++i) {
        call();
    }
    return now(clock) - start;
}

// How many calls make a sample that the clock can tell.
template <typename Call>
size_t callsForASample(Call& call, clockid_t clock) {
    call(); // what only the first call does is no part of it
    size_t calls = 1;
    while (secondsFor(calls, call, clock) < kShortestSample) {
        calls *= 2;
    }
    return calls;
}

// Time of a call of `measured` in those of `reference`. Calls that wait for others are measured by CLOCK_MONOTONIC.
template <typename Measured, typename Reference>
double medianRatio(Measured measured, Reference reference, clockid_t clock = CLOCK_THREAD_CPUTIME_ID) {
    const size_t measuredCalls = callsForASample(measured, clock);
    const size_t referenceCalls = callsForASample(reference, clock);
    std::vector<double> ratios;
    for (int round = 0; round < kRounds; ++round) {
        const double measuredTime = secondsFor(measuredCalls, measured, clock) / static_cast<double>(measuredCalls);
        const double referenceTime = secondsFor(referenceCalls, reference, clock) / static_cast<double>(referenceCalls);
        ratios.push_back(measuredTime / referenceTime);
    }
    std::ranges::nth_element(ratios, ratios.begin() + kRounds / 2);
    return ratios[kRounds / 2];
}

// Prints a ratio beside its limit; false when it is above.
inline bool holds(const char* name, double ratio, double limit) {
    std::printf("%s: ratio %.2f (limit %.2f)%s\n", name, ratio, limit, ratio <= limit ? "" : " ABOVE");
    std::fflush(stdout);
    return ratio <= limit;
}

// Runs the registered benchmarks, then `ratios`, which answers whether all limits hold.
inline int runAll(int argc, char** argv, bool (*ratios)()) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return ratios() ? 0 : 1;
}

} // namespace tarn::bench

// Who is charged: one site per source file and line, with its counters. Sites live as long as the process.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace tarn::host {

// On a cache line of its own, so that threads that allocate at different places do not slow each other down.
struct alignas(64) MemorySite {
    MemorySite(const char* file, uint32_t sourceLine) : fileName(file), line(sourceLine) {}

    const std::string fileName;
    const uint32_t line;
    MemorySite* next = nullptr;

    std::atomic<uint64_t> liveBlocks{0};
    std::atomic<uint64_t> liveBytes{0};
    std::atomic<uint64_t> peakBytes{0};
    std::atomic<uint64_t> totalBlocks{0};
    std::atomic<uint64_t> totalBytes{0};
};

// The whole process. What is not here is the sum over the sites.
struct MemoryUse {
    std::atomic<uint64_t> liveBytes{0};
    std::atomic<uint64_t> peakBytes{0};
    std::atomic<uint64_t> windowPeakBytes{0};
};

extern MemoryUse memoryUse;

// The site of a file name and line; null only when memory is out.
MemorySite* memorySite(const char* fileName, uint32_t line);

// The newest site; the others follow by `next`.
MemorySite* newestMemorySite();

void charge(MemorySite& site, uint32_t size);
void discharge(MemorySite& site, uint32_t size);

// Held while the process forks.
void lockMemorySites();
void unlockMemorySites();

} // namespace tarn::host

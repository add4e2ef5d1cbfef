// Finding a site costs no lock: callers pass the same constant text again and again, so its address and the line lead
// to the site through a table that only grows. Two texts that read alike at different addresses share one site.
#include "memory/memory_site.h"

#include <array>
#include <mutex>
#include <new>

namespace tarn::host {
namespace {

constexpr size_t kBuckets = 1024;

// One address and line under which a site was asked for.
struct Alias {
    const char* address;
    uint32_t line;
    MemorySite* site;
    Alias* next;
};

constinit std::array<std::atomic<Alias*>, kBuckets> buckets{};
constinit std::atomic<MemorySite*> newestSite{nullptr};
constinit std::mutex growing;

size_t bucketOf(const char* address, uint32_t line) {
    const uint64_t key = reinterpret_cast<uintptr_t>(address) + uint64_t{line} * 0x100000001B3U;
    return static_cast<size_t>((key * 0x9E3779B97F4A7C15U) >> 54U);
}
static_assert(kBuckets == size_t{1} << (64U - 54U));

MemorySite* find(const Alias* alias, const char* address, uint32_t line) {
    for (; alias != nullptr; alias = alias->next) {
        if (alias->address == address && alias->line == line) {
            return alias->site;
        }
    }
    return nullptr;
}

MemorySite* siteOfText(const char* fileName, uint32_t line) {
    for (MemorySite* site = newestSite.load(std::memory_order_relaxed); site != nullptr; site = site->next) {
        if (site->line == line && site->fileName == fileName) {
            return site;
        }
    }
    auto* site = new MemorySite(fileName, line);
    site->next = newestSite.load(std::memory_order_relaxed);
    newestSite.store(site, std::memory_order_release);
    return site;
}

MemorySite* addAlias(std::atomic<Alias*>& bucket, const char* address, uint32_t line) {
    const std::lock_guard lock(growing);
    Alias* first = bucket.load(std::memory_order_relaxed);
    if (MemorySite* known = find(first, address, line); known != nullptr) {
        return known;
    }
    try {
        MemorySite* site = siteOfText(address, line);
        bucket.store(new Alias{address, line, site, first}, std::memory_order_release);
        return site;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void raise(std::atomic<uint64_t>& peak, uint64_t value) {
    uint64_t current = peak.load(std::memory_order_relaxed);
    while (current < value && !peak.compare_exchange_weak(current, value, std::memory_order_relaxed)) {
    }
}

} // namespace

constinit MemoryUse memoryUse;

MemorySite* memorySite(const char* fileName, uint32_t line) {
    const char* const address = fileName == nullptr ? "(unknown)" : fileName;
    std::atomic<Alias*>& bucket = buckets[bucketOf(address, line)];
    if (MemorySite* site = find(bucket.load(std::memory_order_acquire), address, line); site != nullptr) {
        return site;
    }
    return addAlias(bucket, address, line);
}

MemorySite* newestMemorySite() {
    return newestSite.load(std::memory_order_acquire);
}

void charge(MemorySite& site, uint32_t size) {
    site.liveBlocks.fetch_add(1, std::memory_order_relaxed);
    site.totalBlocks.fetch_add(1, std::memory_order_relaxed);
    site.totalBytes.fetch_add(size, std::memory_order_relaxed);
    raise(site.peakBytes, site.liveBytes.fetch_add(size, std::memory_order_relaxed) + size);
    const uint64_t live = memoryUse.liveBytes.fetch_add(size, std::memory_order_relaxed) + size;
    raise(memoryUse.peakBytes, live);
    raise(memoryUse.windowPeakBytes, live);
}

void discharge(MemorySite& site, uint32_t size) {
    site.liveBlocks.fetch_sub(1, std::memory_order_relaxed);
    site.liveBytes.fetch_sub(size, std::memory_order_relaxed);
    memoryUse.liveBytes.fetch_sub(size, std::memory_order_relaxed);
}

void lockMemorySites() {
    growing.lock();
}

void unlockMemorySites() {
    growing.unlock();
}

} // namespace tarn::host

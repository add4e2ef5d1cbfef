// Reading the account. Sites are never removed, so a walk over them needs no lock.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <cstring>
#include <mutex>
#include <new>
#include <vector>

#include "base/fork_handlers.h"
#include "base/guarded.h"
#include "memory/block_table.h"
#include "memory/guarded_block.h"
#include "memory/memory_site.h"
#include "tarn_host/host_memory.h"
#include "tarn_platform/os_memory.h"

namespace tarn::host {
namespace {

uint64_t value(const std::atomic<uint64_t>& counter) {
    return counter.load(std::memory_order_relaxed);
}

TarnHostMemorySite readSite(const MemorySite& site) {
    return {site.fileName.c_str(),
            site.line,
            0,
            value(site.liveBlocks),
            value(site.liveBytes),
            value(site.peakBytes),
            value(site.totalBlocks),
            value(site.totalBytes)};
}

bool listedBefore(const TarnHostMemorySite& a, const TarnHostMemorySite& b) {
    if (a.liveBytes != b.liveBytes) {
        return a.liveBytes > b.liveBytes;
    }
    const int names = std::strcmp(a.fileName, b.fileName);
    return names != 0 ? names < 0 : a.line < b.line;
}

// Null for every file. Throws std::bad_alloc.
std::vector<TarnHostMemorySite> sortedSites(const char* fileName) {
    std::vector<TarnHostMemorySite> sites;
    for (const MemorySite* site = newestMemorySite(); site != nullptr; site = site->next) {
        if (fileName == nullptr || site->fileName == fileName) {
            sites.push_back(readSite(*site));
        }
    }
    std::sort(sites.begin(), sites.end(), listedBefore);
    return sites;
}

TarnHostMemoryStatus readStatus() {
    TarnHostMemoryStatus status = {};
    for (const MemorySite* site = newestMemorySite(); site != nullptr; site = site->next) {
        ++status.sites;
        status.liveBlocks += value(site->liveBlocks);
        status.totalBlocks += value(site->totalBlocks);
        status.totalBytes += value(site->totalBytes);
    }
    status.liveBytes = value(memoryUse.liveBytes);
    status.peakBytes = value(memoryUse.peakBytes);
    return status;
}

// What the previous call of the monitor saw.
class UseWindow {
 public:
    void lock() { mutex_.lock(); }
    void unlock() { mutex_.unlock(); }

    TarnHostMemoryUse next() {
        const std::lock_guard lock(mutex_);
        const TarnHostMemoryStatus status = readStatus();
        const auto now = std::chrono::steady_clock::now();
        TarnHostMemoryUse use = {};
        use.liveBlocks = status.liveBlocks;
        use.liveBytes = status.liveBytes;
        use.peakBytes = status.peakBytes;
        use.windowPeakBytes = memoryUse.windowPeakBytes.exchange(status.liveBytes, std::memory_order_relaxed);
        use.windowBlocks = status.totalBlocks - blocks_;
        use.windowBytes = status.totalBytes - bytes_;
        if (begin_ != std::chrono::steady_clock::time_point{}) {
            use.windowMs =
                static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now - begin_).count());
        }
        blocks_ = status.totalBlocks;
        bytes_ = status.totalBytes;
        begin_ = now;
        return use;
    }

 private:
    std::mutex mutex_;
    uint64_t blocks_ = 0;
    uint64_t bytes_ = 0;
    std::chrono::steady_clock::time_point begin_;
};

constinit UseWindow useWindow;

const HeldOverForks<useWindow> windowOverForks;

TarnHostMemoryScan scanBlocks() {
    TarnHostMemoryScan scan = {};
    forEachLiveBlock([&scan](const LiveBlock& block) {
        ++scan.checkedBlocks;
        const BlockDamage damage = damageOf(block.address(), block.size);
        if (damage == BlockDamage::kNone) {
            return;
        }
        ++scan.damagedBlocks;
        scan.block = block.address();
        scan.fileName = block.site->fileName.c_str();
        scan.line = block.site->line;
        scan.size = block.size;
        scan.damage = static_cast<uint32_t>(damage);
    });
    return scan;
}

static_assert(static_cast<uint32_t>(BlockDamage::kBefore) == TARN_HOST_MEMORY_DAMAGED_BEFORE);
static_assert(static_cast<uint32_t>(BlockDamage::kBehind) == TARN_HOST_MEMORY_DAMAGED_BEHIND);

constexpr const char* kReportHeading = "%12s %12s %12s %12s  %s\n";
constexpr const char* kReportRow = "%12" PRIu64 " %12" PRIu64 " %12" PRIu64 " %12" PRIu64 "  ";

void printLiveSites(FILE* stream) {
    for (const TarnHostMemorySite& site : sortedSites(nullptr)) {
        if (site.liveBlocks == 0) {
            continue;
        }
        std::fprintf(stream, kReportRow, site.liveBytes, site.liveBlocks, site.peakBytes, site.totalBlocks);
        std::fprintf(stream, "%s:%u\n", site.fileName, site.line);
    }
}

} // namespace
} // namespace tarn::host

uint32_t OsMemGetMemRec(uint32_t hasFilter, uint32_t, const void* filter, void* out) {
    auto* record = static_cast<TarnHostMemoryRecord*>(out);
    if (record == nullptr || (record->sites == nullptr && record->capacity != 0)) {
        return EINVAL;
    }
    const char* fileName = nullptr;
    if (hasFilter != 0) {
        const auto* wanted = static_cast<const TarnHostMemoryFilter*>(filter);
        if (wanted == nullptr || wanted->fileName == nullptr) {
            return EINVAL;
        }
        fileName = wanted->fileName;
    }
    return tarn::host::guarded([&] {
        const std::vector<TarnHostMemorySite> sites = tarn::host::sortedSites(fileName);
        const size_t count = std::min<size_t>(sites.size(), record->capacity);
        std::copy_n(sites.begin(), count, record->sites);
        record->count = static_cast<uint32_t>(count);
        record->total = static_cast<uint32_t>(sites.size());
        return 0;
    });
}

uint32_t OsMemGetMemStatus(void* out, uintptr_t, uintptr_t) {
    if (out == nullptr) {
        return EINVAL;
    }
    *static_cast<TarnHostMemoryStatus*>(out) = tarn::host::readStatus();
    return 0;
}

uint32_t OsMemGetMemScan(void* out, uintptr_t, uintptr_t) {
    if (out == nullptr) {
        return EINVAL;
    }
    *static_cast<TarnHostMemoryScan*>(out) = tarn::host::scanBlocks();
    return 0;
}

uint32_t OsMemGetMemoryUseMonitor(void* out, uintptr_t, uintptr_t) {
    if (out == nullptr) {
        return EINVAL;
    }
    *static_cast<TarnHostMemoryUse*>(out) = tarn::host::useWindow.next();
    return 0;
}

uint64_t TarnHostMemoryReport(FILE* stream) {
    using namespace tarn::host;
    std::fprintf(stream, kReportHeading, "live bytes", "live blocks", "peak bytes", "all blocks", "site");
    try {
        printLiveSites(stream);
    } catch (const std::bad_alloc&) {
        std::fprintf(stream, "(no memory for the list of sites)\n");
    }
    const TarnHostMemoryStatus status = readStatus();
    std::fprintf(stream, kReportRow, status.liveBytes, status.liveBlocks, status.peakBytes, status.totalBlocks);
    std::fprintf(stream, "all %" PRIu64 " sites\n", status.sites);
    return status.liveBlocks;
}

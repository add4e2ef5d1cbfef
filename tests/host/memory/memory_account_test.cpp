// The account against a plain model, from one thread and from several.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tarn_host/host_memory.h"
#include "tarn_platform/os_memory.h"

namespace {

void* allocate(uint32_t size, const char* file, uint32_t line) {
    return OsMemMallocSetCharMon(size, 0, 0, 0, line, file);
}

void release(void* block) {
    OSMemTypeFreeMon(block, 0, 0, static_cast<uint32_t>(__LINE__), "memory_test");
}

std::vector<TarnHostMemorySite> sitesOf(const char* fileName) {
    std::array<TarnHostMemorySite, 64> sites = {};
    TarnHostMemoryRecord record = {sites.data(), sites.size(), 0, 0};
    const TarnHostMemoryFilter filter = {fileName};
    EXPECT_EQ(OsMemGetMemRec(1, 0, &filter, &record), 0U);
    EXPECT_EQ(record.count, record.total);
    return {sites.begin(), sites.begin() + record.count};
}

TarnHostMemoryStatus status() {
    TarnHostMemoryStatus now = {};
    EXPECT_EQ(OsMemGetMemStatus(&now, 0, 0), 0U);
    return now;
}

struct ModelSite {
    uint64_t liveBlocks = 0;
    uint64_t liveBytes = 0;
    uint64_t peakBytes = 0;
    uint64_t totalBlocks = 0;
    uint64_t totalBytes = 0;
};

// A random walk of allocations and releases, with the account kept by hand.
class Walk {
 public:
    Walk(const char* file, unsigned seed) : file_(file), random_(seed) {}

    void run(int steps) {
        for (int i = 0; i < steps; ++i) {
            if (live_.empty() || random_() % 5 < 3) {
                allocateOne();
            } else {
                releaseAt(random_() % live_.size());
            }
        }
    }
    void releaseAll() {
        while (!live_.empty()) {
            releaseAt(live_.size() - 1);
        }
    }
    const std::map<uint32_t, ModelSite>& model() const { return model_; }

 private:
    struct Block {
        void* memory;
        uint32_t size;
        uint32_t line;
        unsigned char mark;
    };

    void allocateOne() {
        const Block block = {nullptr, static_cast<uint32_t>(random_() % 3000), static_cast<uint32_t>(1 + random_() % 7),
                             static_cast<unsigned char>(random_())};
        void* memory = allocate(block.size, file_, block.line);
        ASSERT_NE(memory, nullptr);
        ASSERT_EQ(reinterpret_cast<uintptr_t>(memory) % alignof(std::max_align_t), 0U);
        std::memset(memory, block.mark, block.size);
        live_.push_back({memory, block.size, block.line, block.mark});
        ModelSite& site = model_[block.line];
        ++site.liveBlocks;
        ++site.totalBlocks;
        site.liveBytes += block.size;
        site.totalBytes += block.size;
        site.peakBytes = std::max(site.peakBytes, site.liveBytes);
    }

    void releaseAt(size_t index) {
        const Block block = live_[index];
        live_[index] = live_.back();
        live_.pop_back();
        const auto* bytes = static_cast<const unsigned char*>(block.memory);
        ASSERT_TRUE(std::all_of(bytes, bytes + block.size, [&](unsigned char byte) { return byte == block.mark; }));
        release(block.memory);
        --model_[block.line].liveBlocks;
        model_[block.line].liveBytes -= block.size;
    }

    const char* file_;
    std::mt19937 random_;
    std::vector<Block> live_;
    std::map<uint32_t, ModelSite> model_;
};

void expectAccount(const char* file, const std::map<uint32_t, ModelSite>& model) {
    const std::vector<TarnHostMemorySite> sites = sitesOf(file);
    ASSERT_EQ(sites.size(), model.size());
    for (const TarnHostMemorySite& site : sites) {
        const ModelSite& expected = model.at(site.line);
        EXPECT_STREQ(site.fileName, file);
        EXPECT_EQ(site.liveBlocks, expected.liveBlocks);
        EXPECT_EQ(site.liveBytes, expected.liveBytes);
        EXPECT_EQ(site.peakBytes, expected.peakBytes);
        EXPECT_EQ(site.totalBlocks, expected.totalBlocks);
        EXPECT_EQ(site.totalBytes, expected.totalBytes);
    }
}

} // namespace

TEST(MemoryAccount, AgreesWithAModelWhileThreadsAllocateAtOnce) {
    const std::array<const char*, 4> files = {"walk_a", "walk_b", "walk_c", "walk_d"};
    const TarnHostMemoryStatus before = status();
    std::vector<Walk> walks;
    for (size_t i = 0; i < files.size(); ++i) {
        walks.emplace_back(files[i], static_cast<unsigned>(i + 1));
    }
    std::vector<std::thread> threads;
    for (Walk& walk : walks) {
        threads.emplace_back([&walk] { walk.run(8000); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    ModelSite all;
    for (size_t i = 0; i < files.size(); ++i) {
        expectAccount(files[i], walks[i].model());
        for (const auto& [line, site] : walks[i].model()) {
            all.liveBlocks += site.liveBlocks;
            all.liveBytes += site.liveBytes;
            all.totalBlocks += site.totalBlocks;
            all.totalBytes += site.totalBytes;
        }
    }
    const TarnHostMemoryStatus full = status();
    EXPECT_EQ(full.liveBlocks - before.liveBlocks, all.liveBlocks);
    EXPECT_EQ(full.liveBytes - before.liveBytes, all.liveBytes);
    EXPECT_EQ(full.totalBlocks - before.totalBlocks, all.totalBlocks);
    EXPECT_EQ(full.totalBytes - before.totalBytes, all.totalBytes);
    EXPECT_GE(full.peakBytes, full.liveBytes);

    for (Walk& walk : walks) {
        walk.releaseAll();
    }
    EXPECT_EQ(status().liveBlocks, before.liveBlocks);
    EXPECT_EQ(status().liveBytes, before.liveBytes);
}

TEST(MemoryAccount, ThreadsShareOneSiteAndFreeEachOthersBlocks) {
    std::array<std::vector<void*>, 4> blocks;
    std::vector<std::thread> threads;
    for (auto& mine : blocks) {
        threads.emplace_back([&mine] {
            for (int i = 0; i < 5000; ++i) {
                mine.push_back(allocate(10, "shared", 1));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    threads.clear();
    const std::vector<TarnHostMemorySite> full = sitesOf("shared");
    ASSERT_EQ(full.size(), 1U);
    EXPECT_EQ(full[0].liveBlocks, 20000U);
    EXPECT_EQ(full[0].peakBytes, 200000U);
    for (size_t i = 0; i < blocks.size(); ++i) {
        threads.emplace_back(
            [&others = blocks[(i + 1) % blocks.size()]] { std::for_each(others.begin(), others.end(), release); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(sitesOf("shared")[0].liveBlocks, 0U);
    EXPECT_EQ(sitesOf("shared")[0].liveBytes, 0U);
}

TEST(MemoryAccount, EqualNamesAtDifferentAddressesAreOneSite) {
    std::string first = "twice.cpp";
    std::string second = "twice.cpp";
    void* blocks[] = {allocate(1, first.c_str(), 5), allocate(2, second.c_str(), 5), allocate(3, nullptr, 6)};
    ASSERT_EQ(sitesOf("twice.cpp").size(), 1U);
    EXPECT_EQ(sitesOf("twice.cpp")[0].liveBytes, 3U);
    EXPECT_EQ(sitesOf("(unknown)")[0].liveBytes, 3U);
    std::for_each(std::begin(blocks), std::end(blocks), release);
}

TEST(MemoryAccount, RecordIsSortedCutAtTheCapacityAndChecksItsArguments) {
    void* blocks[] = {allocate(10, "sorted", 1), allocate(30, "sorted", 2), allocate(20, "sorted", 3)};
    const TarnHostMemoryFilter filter = {"sorted"};
    std::array<TarnHostMemorySite, 3> sites = {};
    TarnHostMemoryRecord record = {sites.data(), 2, 0, 0};
    ASSERT_EQ(OsMemGetMemRec(1, 0, &filter, &record), 0U);
    EXPECT_EQ(record.count, 2U);
    EXPECT_EQ(record.total, 3U);
    EXPECT_EQ(sites[0].line, 2U);
    EXPECT_EQ(sites[1].line, 3U);
    EXPECT_EQ(sites[2].fileName, nullptr) << "written past the capacity";

    TarnHostMemoryRecord counting = {nullptr, 0, 7, 0};
    EXPECT_EQ(OsMemGetMemRec(0, 0, nullptr, &counting), 0U);
    EXPECT_EQ(counting.count, 0U);
    EXPECT_GE(counting.total, 3U);

    TarnHostMemoryRecord noArray = {nullptr, 1, 7, 8};
    const TarnHostMemoryFilter noName = {nullptr};
    EXPECT_EQ(OsMemGetMemRec(0, 0, nullptr, &noArray), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(OsMemGetMemRec(1, 0, nullptr, &record), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(OsMemGetMemRec(1, 0, &noName, &record), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(OsMemGetMemRec(0, 0, nullptr, nullptr), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(OsMemGetMemStatus(nullptr, 0, 0), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(OsMemGetMemScan(nullptr, 0, 0), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(OsMemGetMemoryUseMonitor(nullptr, 0, 0), static_cast<uint32_t>(EINVAL));
    EXPECT_EQ(noArray.count, 7U);
    std::for_each(std::begin(blocks), std::end(blocks), release);
}

TEST(MemoryAccount, MonitorTellsTheUseSinceItsPreviousCall) {
    TarnHostMemoryUse use = {};
    ASSERT_EQ(OsMemGetMemoryUseMonitor(&use, 0, 0), 0U);
    const uint64_t start = use.liveBytes;
    void* kept = allocate(100, "monitor", 1);
    release(allocate(5000, "monitor", 2));
    ASSERT_EQ(OsMemGetMemoryUseMonitor(&use, 0, 0), 0U);
    EXPECT_EQ(use.liveBytes, start + 100);
    EXPECT_EQ(use.windowPeakBytes, start + 5100);
    EXPECT_EQ(use.windowBlocks, 2U);
    EXPECT_EQ(use.windowBytes, 5100U);
    release(kept);
    ASSERT_EQ(OsMemGetMemoryUseMonitor(&use, 0, 0), 0U);
    EXPECT_EQ(use.windowPeakBytes, start + 100);
    EXPECT_EQ(use.windowBlocks, 0U);
}

TEST(MemoryAccount, ReportListsLiveSitesLargestFirst) {
    void* blocks[] = {allocate(100, "report_small", 11), allocate(123456789, "report_large", 22)};
    release(allocate(1, "report_gone", 33));
    char* text = nullptr;
    size_t length = 0;
    FILE* stream = open_memstream(&text, &length);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(TarnHostMemoryReport(stream), status().liveBlocks);
    std::fclose(stream);
    const std::string report(text, length);
    std::free(text);
    EXPECT_THAT(report,
                testing::ContainsRegex("  live bytes  live blocks   peak bytes   all blocks  site\n"
                                       "   123456789            1    123456789            1  report_large:22\n"));
    EXPECT_THAT(report, testing::HasSubstr("         100            1          100            1  report_small:11\n"));
    EXPECT_THAT(report, testing::Not(testing::HasSubstr("report_gone")));
    EXPECT_THAT(report, testing::ContainsRegex("all [0-9]+ sites\n$"));
    std::for_each(std::begin(blocks), std::end(blocks), release);
}

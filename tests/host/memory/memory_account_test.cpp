// The account against a plain model, from one thread and from several.
#include "support/host_test.h"
#include "tarn_host/host_memory.h"
#include "tarn_platform/os_memory.h"

namespace {

using namespace tarn::test;

void* allocate(uint32_t size, const char* file, uint32_t line) {
    return OsMemMallocSetCharMon(size, 0, 0, 0, line, file);
}

void release(void* block) {
    OSMemTypeFreeMon(block, 0, 0, static_cast<uint32_t>(__LINE__), "memory_test");
}

template <typename Blocks>
void releaseAll(const Blocks& blocks) {
    std::for_each(std::begin(blocks), std::end(blocks), release);
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

std::array<uint64_t, 5> numbersOf(const TarnHostMemorySite& site) {
    return {site.liveBlocks, site.liveBytes, site.peakBytes, site.totalBlocks, site.totalBytes};
}

// The account of one place, kept by hand.
void add(TarnHostMemorySite& site, uint32_t size) {
    ++site.liveBlocks;
    ++site.totalBlocks;
    site.liveBytes += size;
    site.totalBytes += size;
    site.peakBytes = std::max(site.peakBytes, site.liveBytes);
}

// A random walk of allocations and releases.
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
    void expectAccount() const {
        const std::vector<TarnHostMemorySite> sites = sitesOf(file_);
        ASSERT_EQ(sites.size(), model_.size());
        for (const TarnHostMemorySite& site : sites) {
            EXPECT_STREQ(site.fileName, file_);
            EXPECT_EQ(numbersOf(site), numbersOf(model_.at(site.line)));
        }
    }
    const TarnHostMemorySite& sum() const { return sum_; }

 private:
    struct Block {
        unsigned char* memory;
        uint32_t size;
        uint32_t line;
        unsigned char mark;
    };

    void allocateOne() {
        Block block = {nullptr, static_cast<uint32_t>(random_() % 3000), static_cast<uint32_t>(1 + random_() % 7),
                       static_cast<unsigned char>(random_())};
        block.memory = static_cast<unsigned char*>(allocate(block.size, file_, block.line));
        ASSERT_NE(block.memory, nullptr);
        ASSERT_EQ(reinterpret_cast<uintptr_t>(block.memory) % alignof(std::max_align_t), 0U);
        std::memset(block.memory, block.mark, block.size);
        live_.push_back(block);
        add(model_[block.line], block.size);
        add(sum_, block.size);
    }

    void releaseAt(size_t index) {
        const Block block = live_[index];
        live_[index] = live_.back();
        live_.pop_back();
        ASSERT_EQ(std::count(block.memory, block.memory + block.size, block.mark), block.size);
        release(block.memory);
        for (TarnHostMemorySite* site : {&model_[block.line], &sum_}) {
            --site->liveBlocks;
            site->liveBytes -= block.size;
        }
    }

    const char* file_;
    std::mt19937 random_;
    std::vector<Block> live_;
    std::map<uint32_t, TarnHostMemorySite> model_;
    TarnHostMemorySite sum_ = {};
};

} // namespace

TEST(MemoryAccount, AgreesWithAModelWhileThreadsAllocateAtOnce) {
    TarnHostMemoryStatus expected = status();
    const uint64_t blocksBefore = expected.liveBlocks;
    const uint64_t bytesBefore = expected.liveBytes;
    std::array<Walk, 4> walks = {Walk("walk_a", 1), Walk("walk_b", 2), Walk("walk_c", 3), Walk("walk_d", 4)};
    inThreads(walks.size(), [&](size_t thread) { walks[thread].run(8000); });
    for (const Walk& walk : walks) {
        walk.expectAccount();
        expected.sites += 7;
        expected.liveBlocks += walk.sum().liveBlocks;
        expected.liveBytes += walk.sum().liveBytes;
        expected.totalBlocks += walk.sum().totalBlocks;
        expected.totalBytes += walk.sum().totalBytes;
    }
    expected.peakBytes = status().peakBytes; // Between the threads nobody can tell.
    EXPECT_GE(expected.peakBytes, expected.liveBytes);
    const TarnHostMemoryStatus full = status();
    EXPECT_EQ(std::memcmp(&full, &expected, sizeof full), 0);

    inThreads(walks.size(), [&](size_t thread) { walks[(thread + 1) % walks.size()].releaseAll(); });
    EXPECT_EQ(status().liveBlocks, blocksBefore);
    EXPECT_EQ(status().liveBytes, bytesBefore);
}

TEST(MemoryAccount, ThreadsShareOneSiteAndFreeEachOthersBlocks) {
    std::array<std::vector<void*>, 4> blocks;
    inThreads(blocks.size(), [&](size_t thread) {
        for (int i = 0; i < 5000; ++i) {
            blocks[thread].push_back(allocate(10, "shared", 1));
        }
    });
    const std::vector<TarnHostMemorySite> full = sitesOf("shared");
    ASSERT_EQ(full.size(), 1U);
    EXPECT_EQ(full[0].liveBlocks, 20000U);
    EXPECT_EQ(full[0].peakBytes, 200000U);
    inThreads(blocks.size(), [&](size_t thread) { releaseAll(blocks[(thread + 1) % blocks.size()]); });
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
    releaseAll(blocks);
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
    expectAll(kInvalid, {OsMemGetMemRec(0, 0, nullptr, &noArray), OsMemGetMemRec(1, 0, nullptr, &record),
                         OsMemGetMemRec(1, 0, &noName, &record), OsMemGetMemRec(0, 0, nullptr, nullptr),
                         OsMemGetMemStatus(nullptr, 0, 0), OsMemGetMemScan(nullptr, 0, 0),
                         OsMemGetMemoryUseMonitor(nullptr, 0, 0)});
    EXPECT_EQ(noArray.count, 7U);
    releaseAll(blocks);
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
    std::array<char, 65536> report = {};
    FILE* stream = fmemopen(report.data(), report.size(), "w");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(TarnHostMemoryReport(stream), status().liveBlocks);
    std::fclose(stream);
    EXPECT_THAT(report.data(),
                testing::ContainsRegex("  live bytes  live blocks   peak bytes   all blocks  site\n"
                                       "   123456789            1    123456789            1  report_large:22\n"));
    EXPECT_THAT(report.data(),
                testing::HasSubstr("         100            1          100            1  report_small:11\n"));
    EXPECT_THAT(report.data(), testing::Not(testing::HasSubstr("report_gone")));
    EXPECT_THAT(report.data(), testing::ContainsRegex("all [0-9]+ sites\n$"));
    releaseAll(blocks);
}

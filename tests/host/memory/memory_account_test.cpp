// The account: of several threads, and as it is listed.
#include "support/host_test.h"
#include "tarn_host/host_memory.h"
#include "tarn_platform/os_memory.h"

namespace {

using namespace tarn::test;

// Of a place: live blocks and bytes, most bytes, and all blocks and bytes that there ever were.
using Numbers = std::array<uint64_t, 5>;
using Places = std::map<uint32_t, Numbers>;

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

// The places of a file, by their line.
Places placesOf(const char* fileName) {
    std::array<TarnHostMemorySite, 8> sites = {};
    TarnHostMemoryRecord record = {sites.data(), sites.size(), 0, 0};
    const TarnHostMemoryFilter filter = {fileName};
    EXPECT_EQ(OsMemGetMemRec(1, 0, &filter, &record), 0U);
    Places places;
    for (uint32_t i = 0; i < record.count; ++i) {
        const TarnHostMemorySite& site = sites[i];
        EXPECT_STREQ(site.fileName, fileName);
        places[site.line] = {site.liveBlocks, site.liveBytes, site.peakBytes, site.totalBlocks, site.totalBytes};
    }
    EXPECT_EQ(places.size(), record.total);
    return places;
}

TarnHostMemoryStatus status() {
    TarnHostMemoryStatus now = {};
    EXPECT_EQ(OsMemGetMemStatus(&now, 0, 0), 0U);
    return now;
}

// Each thread names the places by a text of its own, and frees what another thread has allocated.
TEST(MemoryAccount, AddsUpWhatThreadsAllocateAndFree) {
    static const std::array<std::string, 4> names = {"shared", "shared", "shared", "shared"};
    const TarnHostMemoryStatus before = status();
    const auto grown = [&before] {
        const TarnHostMemoryStatus now = status();
        return Numbers{now.sites - before.sites, now.liveBlocks - before.liveBlocks, now.liveBytes - before.liveBytes,
                       now.totalBlocks - before.totalBlocks, now.totalBytes - before.totalBytes};
    };
    std::array<std::vector<void*>, 4> blocks;
    inThreads(blocks.size(), [&](size_t thread) {
        for (uint32_t i = 0; i < 6000; ++i) {
            blocks[thread].push_back(allocate(i % 3 * 10, names[thread].c_str(), i % 3));
        }
    });
    EXPECT_EQ(placesOf("shared"), (Places{{0, {8000, 0, 0, 8000, 0}},
                                          {1, {8000, 80000, 80000, 8000, 80000}},
                                          {2, {8000, 160000, 160000, 8000, 160000}}}));
    EXPECT_EQ(grown(), (Numbers{3, 24000, 240000, 24000, 240000}));
    EXPECT_GE(status().peakBytes, status().liveBytes);

    inThreads(blocks.size(), [&](size_t thread) { releaseAll(blocks[(thread + 1) % blocks.size()]); });
    EXPECT_EQ(placesOf("shared").at(2), (Numbers{0, 0, 160000, 8000, 160000}));
    EXPECT_EQ(grown(), (Numbers{3, 0, 0, 24000, 240000}));
}

TEST(MemoryAccount, ListsPlacesLargestFirst) {
    void* blocks[] = {allocate(10, "sorted", 1), allocate(123456789, "sorted", 2), allocate(20, "sorted", 3),
                      allocate(5, nullptr, 6)};
    release(allocate(1, "sorted", 4));
    const TarnHostMemoryFilter filter = {"sorted"};
    std::array<TarnHostMemorySite, 3> sites = {};
    TarnHostMemoryRecord record = {sites.data(), 2, 0, 0};
    ASSERT_EQ(OsMemGetMemRec(1, 0, &filter, &record), 0U);
    EXPECT_EQ(record.count, 2U);
    EXPECT_EQ(record.total, 4U);
    EXPECT_EQ(sites[0].line, 2U);
    EXPECT_EQ(sites[1].line, 3U);
    EXPECT_EQ(sites[2].fileName, nullptr) << "written past the capacity";

    std::array<char, 65536> report = {};
    FILE* stream = fmemopen(report.data(), report.size(), "w");
    EXPECT_EQ(TarnHostMemoryReport(stream), status().liveBlocks);
    std::fclose(stream);
    EXPECT_THAT(report.data(),
                testing::ContainsRegex("  live bytes  live blocks   peak bytes   all blocks  site\n"
                                       "   123456789            1    123456789            1  sorted:2\n"
                                       "(.*\n)*"
                                       "           5            1            5            1  .unknown.:6\n"
                                       "(.*\n)*.* all [0-9]+ sites\n$"));
    EXPECT_THAT(report.data(), testing::Not(testing::HasSubstr("sorted:4"))) << "nothing of it is left";
    releaseAll(blocks);
}

TEST(MemoryAccount, ChecksItsArguments) {
    TarnHostMemoryRecord record = {nullptr, 1, 7, 8};
    const TarnHostMemoryFilter noName = {nullptr};
    expectAll(kInvalid, {OsMemGetMemRec(0, 0, nullptr, &record), OsMemGetMemRec(0, 0, nullptr, nullptr),
                         OsMemGetMemStatus(nullptr, 0, 0), OsMemGetMemScan(nullptr, 0, 0),
                         OsMemGetMemoryUseMonitor(nullptr, 0, 0)});
    EXPECT_EQ(record.count, 7U);
    record.capacity = 0;
    expectAll(kInvalid, {OsMemGetMemRec(1, 0, nullptr, &record), OsMemGetMemRec(1, 0, &noName, &record)});
    EXPECT_EQ(OsMemGetMemRec(0, 0, nullptr, &record), 0U) << "without an array the places are only counted";
    EXPECT_EQ(record.count, 0U);
    EXPECT_EQ(record.total, status().sites);
}

TEST(MemoryAccount, MonitorTellsTheUseSinceItsPreviousCall) {
    TarnHostMemoryUse use = {};
    const auto look = [&use] { EXPECT_EQ(OsMemGetMemoryUseMonitor(&use, 0, 0), 0U); };
    look();
    const uint64_t start = use.liveBytes;
    void* kept = allocate(100, "monitor", 1);
    release(allocate(5000, "monitor", 2));
    look();
    EXPECT_EQ(use.liveBytes, start + 100);
    EXPECT_EQ(use.windowPeakBytes, start + 5100);
    EXPECT_EQ(use.windowBlocks, 2U);
    EXPECT_EQ(use.windowBytes, 5100U);
    release(kept);
    look();
    EXPECT_EQ(use.windowPeakBytes, start + 100);
    EXPECT_EQ(use.windowBlocks, 0U);
}

} // namespace

// What a program does wrong with its blocks is found, named, and never makes the allocator follow a bad pointer.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "tarn_host/host_memory.h"
#include "tarn_platform/os_memory.h"

namespace {

// A write that no compiler or sanitizer sees coming.
__attribute__((no_sanitize("address", "undefined"))) void flip(void* block, long offset) {
    volatile unsigned char* byte = static_cast<unsigned char*>(block) + offset;
    *byte = static_cast<unsigned char>(*byte ^ 0xFFU);
}

TarnHostMemoryScan scan() {
    TarnHostMemoryScan result = {};
    EXPECT_EQ(OsMemGetMemScan(&result, 0, 0), 0U);
    return result;
}

void* allocate(uint32_t size) {
    return OsMemMallocSetCharMon(size, 0, 0, 0, 77, "damage");
}

void release(void* block) {
    OSMemTypeFreeMon(block, 0, 0, 88, "releaser");
}

} // namespace

TEST(MemoryDamage, ScanFindsWritesOnEitherSideOfABlock) {
    for (const uint32_t size : {0U, 1U, 24U, 1000U}) {
        void* block = allocate(size);
        const uint64_t live = scan().checkedBlocks;
        EXPECT_GE(live, 1U);
        EXPECT_EQ(scan().damagedBlocks, 0U);
        EXPECT_EQ(scan().block, nullptr);
        const struct {
            long offset;
            uint32_t damage;
        } writes[] = {{-1, TARN_HOST_MEMORY_DAMAGED_BEFORE},
                      {-16, TARN_HOST_MEMORY_DAMAGED_BEFORE},
                      {static_cast<long>(size), TARN_HOST_MEMORY_DAMAGED_BEHIND},
                      {static_cast<long>(size) + 7, TARN_HOST_MEMORY_DAMAGED_BEHIND}};
        for (const auto& write : writes) {
            flip(block, write.offset);
            const TarnHostMemoryScan found = scan();
            EXPECT_EQ(found.checkedBlocks, live);
            EXPECT_EQ(found.damagedBlocks, 1U);
            EXPECT_EQ(found.block, block);
            EXPECT_STREQ(found.fileName, "damage");
            EXPECT_EQ(found.line, 77U);
            EXPECT_EQ(found.size, size);
            EXPECT_EQ(found.damage, write.damage);
            flip(block, write.offset);
        }
        release(block);
    }
}

TEST(MemoryDamageDeathTest, BadReleasesAreNamedAndEndTheProcess) {
    void* block = allocate(50);
    release(nullptr);
    EXPECT_EXIT(
        {
            release(block);
            release(block);
        },
        testing::KilledBySignal(SIGABRT), "releaser:88 frees 0x[0-9a-f]+, which is no live accounted block");
    void* huge = allocate(64U * 1024 * 1024);
    EXPECT_EXIT(
        {
            release(huge); // unmapped at once: the second release must not touch it
            release(huge);
        },
        testing::KilledBySignal(SIGABRT), "no live accounted block");
    int onStack = 0;
    EXPECT_EXIT(release(&onStack), testing::KilledBySignal(SIGABRT), "no live accounted block");
    EXPECT_EXIT(release(static_cast<char*>(block) + 16), testing::KilledBySignal(SIGABRT), "no live accounted block");
    EXPECT_EXIT(release(reinterpret_cast<void*>(0x10)), testing::KilledBySignal(SIGABRT), "no live accounted block");
    EXPECT_EXIT(
        {
            flip(block, 50);
            release(block);
        },
        testing::KilledBySignal(SIGABRT),
        "releaser:88 frees the block .* of 50 bytes from damage:77, which was written to behind its end");
    release(huge);
    release(block);
}

TEST(MemoryFork, ChildOfAThreadedProcessAllocates) {
    std::atomic<bool> stop{false};
    std::thread other([&stop] {
        while (!stop.load(std::memory_order_relaxed)) {
            release(allocate(32));
        }
    });
    for (int i = 0; i < 25; ++i) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            alarm(20);
            for (int k = 0; k < 100; ++k) {
                release(allocate(16));
            }
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status)) << "child " << i << " ended by signal " << WTERMSIG(status);
    }
    stop.store(true, std::memory_order_relaxed);
    other.join();
}

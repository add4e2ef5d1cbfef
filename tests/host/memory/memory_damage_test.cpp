// What a program does wrong with its blocks is found, named, and never makes the allocator follow a bad pointer.
#include "support/host_test.h"
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

void giveBack(void* block) {
    OSMemTypeFreeMon(block, 0, 0, 88, "releaser");
}

} // namespace

TEST(MemoryDamage, ScanFindsWritesOnEitherSideOfABlock) {
    for (const uint32_t size : {0U, 1U, 1000U}) {
        void* block = allocate(size);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % alignof(std::max_align_t), 0U);
        const TarnHostMemoryScan clean = scan();
        EXPECT_GE(clean.checkedBlocks, 1U);
        EXPECT_EQ(clean.damagedBlocks, 0U);
        for (const long offset : {-16L, -1L, long{size}, long{size} + 7}) {
            flip(block, offset);
            const TarnHostMemoryScan found = scan();
            EXPECT_EQ(found.checkedBlocks, clean.checkedBlocks);
            EXPECT_EQ(found.damagedBlocks, 1U);
            EXPECT_EQ(found.block, block);
            EXPECT_STREQ(found.fileName, "damage");
            EXPECT_EQ(found.line, 77U);
            EXPECT_EQ(found.size, size);
            EXPECT_EQ(found.damage, offset < 0 ? TARN_HOST_MEMORY_DAMAGED_BEFORE : TARN_HOST_MEMORY_DAMAGED_BEHIND);
            flip(block, offset);
        }
        giveBack(block);
    }
}

TEST(MemoryDamageDeathTest, BadReleasesAreNamedAndEndTheProcess) {
    constexpr const char* kNoBlock = "releaser:88 frees 0x[0-9a-f]+, which is no live accounted block";
    const testing::KilledBySignal isAborted(SIGABRT);
    giveBack(nullptr);
    void* const block = allocate(50);
    void* const huge = allocate(64U * 1024 * 1024); // Unmapped at once: the second release must not touch it.
    const auto giveBackTwice = [](void* twice) {
        giveBack(twice);
        giveBack(twice);
    };
    EXPECT_EXIT(giveBackTwice(block), isAborted, kNoBlock);
    EXPECT_EXIT(giveBackTwice(huge), isAborted, kNoBlock);
    int onStack = 0;
    EXPECT_EXIT(giveBack(&onStack), isAborted, kNoBlock);
    EXPECT_EXIT(giveBack(static_cast<char*>(block) + 16), isAborted, kNoBlock);
    EXPECT_EXIT(giveBack(reinterpret_cast<void*>(0x10)), isAborted, kNoBlock);
    giveBack(huge);
    flip(block, 50);
    EXPECT_EXIT(giveBack(block), isAborted,
                "releaser:88 frees the block .* of 50 bytes from damage:77, which was written to behind its end");
    flip(block, 50);
    giveBack(block);
}

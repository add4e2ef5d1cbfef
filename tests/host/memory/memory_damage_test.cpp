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

void expectDeath(const std::function<void()>& misuse, const char* text) {
    EXPECT_EXIT(misuse(), testing::KilledBySignal(SIGABRT), text);
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
    giveBack(nullptr);
    void* const block = allocate(50);
    void* const huge = allocate(64U * 1024 * 1024); // Unmapped at once: the second release must not touch it.
    for (void* const twice : {block, huge}) {
        const auto releaseTwice = [twice] {
            giveBack(twice);
            giveBack(twice);
        };
        expectDeath(releaseTwice, kNoBlock);
    }
    int onStack = 0;
    for (void* const bad : {static_cast<void*>(&onStack), static_cast<void*>(static_cast<char*>(block) + 16),
                            reinterpret_cast<void*>(0x10)}) {
        expectDeath([bad] { giveBack(bad); }, kNoBlock);
    }
    const auto releaseDamaged = [block] {
        flip(block, 50);
        giveBack(block);
    };
    expectDeath(releaseDamaged,
                "releaser:88 frees the block .* of 50 bytes from damage:77, which was written to behind its end");
    giveBack(huge);
    giveBack(block);
}

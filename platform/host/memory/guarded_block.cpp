// The guards lie inside what malloc gave, so an address sanitizer is told to treat them as out of bounds too.
#include "memory/guarded_block.h"

#include <sanitizer/asan_interface.h>

#include <cstdlib>
#include <cstring>

namespace tarn::host {
namespace {

constexpr size_t kGuardBefore = alignof(std::max_align_t);
constexpr size_t kGuardBehind = 8;
constexpr unsigned char kPattern = 0xA5;

// Reads what the sanitizer was told to forbid; volatile, so that no checked library call takes its place.
__attribute__((no_sanitize("address"))) bool intact(const unsigned char* guard, size_t bytes) {
    const volatile unsigned char* byte = guard;
    for (size_t i = 0; i < bytes; ++i) {
        if (byte[i] != kPattern) {
            return false;
        }
    }
    return true;
}

} // namespace

void* newGuardedBlock(uint32_t size) {
    auto* memory = static_cast<unsigned char*>(std::malloc(kGuardBefore + size + kGuardBehind));
    if (memory == nullptr) {
        return nullptr;
    }
    unsigned char* const block = memory + kGuardBefore;
    std::memset(memory, kPattern, kGuardBefore);
    std::memset(block + size, kPattern, kGuardBehind);
    ASAN_POISON_MEMORY_REGION(memory, kGuardBefore);
    ASAN_POISON_MEMORY_REGION(block + size, kGuardBehind);
    return block;
}

BlockDamage damageOf(const void* block, uint32_t size) {
    const auto* bytes = static_cast<const unsigned char*>(block);
    const uint32_t before = intact(bytes - kGuardBefore, kGuardBefore) ? 0 : 1;
    const uint32_t behind = intact(bytes + size, kGuardBehind) ? 0 : 2;
    return static_cast<BlockDamage>(before + behind);
}

void deleteGuardedBlock(void* block) {
    std::free(static_cast<unsigned char*>(block) - kGuardBefore);
}

} // namespace tarn::host

// A block with a guard on either side: bytes of a known pattern that show when a program wrote outside its block.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarn::host {

enum class BlockDamage : uint32_t { kNone = 0, kBefore = 1, kBehind = 2, kBoth = 3 };

// Aligned for any type; null when memory is out.
void* newGuardedBlock(uint32_t size);

BlockDamage damageOf(const void* block, uint32_t size);

void deleteGuardedBlock(void* block);

} // namespace tarn::host

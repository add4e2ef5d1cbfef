// Allocation and release. A release that does not belong to a live block, or finds its block overrun, ends the process:
// the heap cannot be trusted any more.
#include <cstdlib>

#include "base/report.h"
#include "memory/block_table.h"
#include "memory/guarded_block.h"
#include "tarn_platform/os_memory.h"

namespace tarn::host {
namespace {

const char* placeOf(BlockDamage damage) {
    switch (damage) {
        case BlockDamage::kBefore:
            return "before its start";
        case BlockDamage::kBehind:
            return "behind its end";
        default:
            return "before its start and behind its end";
    }
}

} // namespace
} // namespace tarn::host

void* OsMemMallocSetCharMon(uint32_t size, uint32_t, uint32_t, uint32_t, uint32_t line, const char* fileName) {
    using namespace tarn::host;
    MemorySite* site = memorySite(fileName, line);
    if (site == nullptr) {
        return nullptr;
    }
    void* block = newGuardedBlock(size);
    if (block == nullptr) {
        return nullptr;
    }
    if (!addLiveBlock(block, *site, size)) {
        deleteGuardedBlock(block);
        return nullptr;
    }
    charge(*site, size);
    return block;
}

void OSMemTypeFreeMon(void* block, uint32_t, uint32_t, uint32_t line, const char* fileName) {
    using namespace tarn::host;
    if (block == nullptr) {
        return;
    }
    const char* const freeingFile = fileName == nullptr ? "(unknown)" : fileName;
    LiveBlock taken = {};
    if (!takeLiveBlock(block, taken)) {
        report("%s:%u frees %p, which is no live accounted block: freed twice, or never allocated as one", freeingFile,
               line, block);
        std::abort();
    }
    const BlockDamage damage = damageOf(block, taken.size);
    if (damage != BlockDamage::kNone) {
        report("%s:%u frees the block %p of %u bytes from %s:%u, which was written to %s", freeingFile, line, block,
               taken.size, taken.site->fileName.c_str(), taken.site->line, placeOf(damage));
        std::abort();
    }
    discharge(*taken.site, taken.size);
    deleteGuardedBlock(block);
}

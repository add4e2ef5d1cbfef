#include "scripted_platform.h"
#include "tarn_platform/os_memory.h"

#include <cstdlib>
#include <cstring>

using tarn::test::ScriptedPlatform;

void* OsMemMallocSetCharMon(uint32_t size, uint32_t, uint32_t, uint32_t, uint32_t line, const char* fileName) {
    if (ScriptedPlatform::get().enter("OsMemMallocSetCharMon")) {
        return nullptr;
    }
    void* block = std::malloc(size == 0 ? 1 : size);
    if (block != nullptr) {
        std::memset(block, 0xA5, size); // so that a field nobody set is seen
        ScriptedPlatform::get().addAllocation({size, line, fileName});
        ScriptedPlatform::get().blockMade();
    }
    return block;
}

void OSMemTypeFreeMon(void* block, uint32_t, uint32_t, uint32_t, const char*) {
    ScriptedPlatform::get().enterInfallible("OSMemTypeFreeMon");
    if (block != nullptr) {
        ScriptedPlatform::get().blockFreed();
        std::free(block);
    }
}

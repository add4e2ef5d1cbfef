// The accounted heap. The statistics calls answer with what they were asked: `out` receives the other arguments, one
// word each.
#include "scripted_platform.h"
#include "tarn_platform/os_memory.h"

#include <cstdlib>
#include <cstring>

using namespace tarn::test;

namespace {

uint32_t answer(const char* call, void* out, uintptr_t second, uintptr_t third) {
    return scriptedCall(call, 55U, [=] {
        static_cast<uintptr_t*>(out)[0] = second;
        static_cast<uintptr_t*>(out)[1] = third;
    });
}

} // namespace

void* OsMemMallocSetCharMon(uint32_t size, uint32_t, uint32_t, uint32_t, uint32_t, const char* fileName) {
    void* const block = isToFail(__func__) ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (block != nullptr) {
        std::memset(block, 0xA5, size); // so that a field nobody set is seen
        ScriptedPlatform::get().addAllocation({size, fileName});
        ScriptedPlatform::get().blockMade();
    }
    return block;
}

void OSMemTypeFreeMon(void* block, uint32_t, uint32_t, uint32_t, const char*) {
    ScriptedPlatform::get().enterInfallible(__func__);
    if (block != nullptr) {
        ScriptedPlatform::get().blockFreed();
        std::free(block);
    }
}

uint32_t OsMemGetMemRec(uint32_t hasFilter, uint32_t second, const void* filter, void* out) {
    static_cast<uintptr_t*>(out)[2] = second;
    return answer(__func__, out, hasFilter, reinterpret_cast<uintptr_t>(filter));
}

uint32_t OsMemGetMemStatus(void* out, uintptr_t second, uintptr_t third) {
    return answer(__func__, out, second, third);
}

uint32_t OsMemGetMemScan(void* out, uintptr_t second, uintptr_t third) {
    return answer(__func__, out, second, third);
}

uint32_t OsMemGetMemoryUseMonitor(void* out, uintptr_t second, uintptr_t third) {
    return answer(__func__, out, second, third);
}

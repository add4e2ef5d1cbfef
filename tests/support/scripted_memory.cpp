// The accounted heap. The statistics calls answer with what they were asked: `out` receives the other arguments, one
// word each.
#include "scripted_platform.h"
#include "tarn_platform/os_memory.h"

#include <cstdlib>
#include <cstring>

using tarn::test::ScriptedPlatform;

namespace {

constexpr uint32_t kPlannedFailure = 55;

uint32_t answer(const char* call, void* out, uintptr_t second, uintptr_t third) {
    if (ScriptedPlatform::get().enter(call)) {
        return kPlannedFailure;
    }
    auto* const words = static_cast<uintptr_t*>(out);
    words[0] = second;
    words[1] = third;
    return 0;
}

} // namespace

void* OsMemMallocSetCharMon(uint32_t size, uint32_t, uint32_t, uint32_t, uint32_t, const char* fileName) {
    if (ScriptedPlatform::get().enter("OsMemMallocSetCharMon")) {
        return nullptr;
    }
    void* block = std::malloc(size == 0 ? 1 : size);
    if (block != nullptr) {
        std::memset(block, 0xA5, size); // so that a field nobody set is seen
        ScriptedPlatform::get().addAllocation({size, fileName});
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

uint32_t OsMemGetMemRec(uint32_t hasFilter, uint32_t second, const void* filter, void* out) {
    static_cast<uintptr_t*>(out)[2] = second;
    return answer("OsMemGetMemRec", out, hasFilter, reinterpret_cast<uintptr_t>(filter));
}

uint32_t OsMemGetMemStatus(void* out, uintptr_t second, uintptr_t third) {
    return answer("OsMemGetMemStatus", out, second, third);
}

uint32_t OsMemGetMemScan(void* out, uintptr_t second, uintptr_t third) {
    return answer("OsMemGetMemScan", out, second, third);
}

uint32_t OsMemGetMemoryUseMonitor(void* out, uintptr_t second, uintptr_t third) {
    return answer("OsMemGetMemoryUseMonitor", out, second, third);
}

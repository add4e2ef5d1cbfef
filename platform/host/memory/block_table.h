// The live blocks by address. What belongs to a block is kept here and not in front of it, so that neither a wild
// pointer nor a program that writes outside its block can lead the allocator astray.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "memory/memory_site.h"

namespace tarn::host {

struct LiveBlock {
    uintptr_t hiddenAddress; // See `hide`; 0 in a free slot.
    MemorySite* site;
    uint32_t size;

    void* address() const {
        return reinterpret_cast<void*>(~hiddenAddress); // NOLINT(performance-no-int-to-ptr): hidden on purpose
    }
};

// False when memory is out.
bool addLiveBlock(void* address, MemorySite& site, uint32_t size);

// Takes the block out of the table into `taken`; false when no live block starts at `address`.
bool takeLiveBlock(const void* address, LiveBlock& taken);

// Visits the live blocks. Blocks are neither added nor taken beside a visit; it must not allocate accounted memory.
void forEachLiveBlock(const std::function<void(const LiveBlock&)>& visit);

} // namespace tarn::host

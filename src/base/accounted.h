// Owners of accounted memory. A block is charged, and its release tagged, with the file and line that made its owner.
#pragma once

#include <cstdint>
#include <memory>

#include "tarn_platform/os_memory.h"

namespace tarn::detail {

// Releases an accounted block under the name of the place that owns it.
struct AccountedDelete {
    uint32_t line = 0;
    const char* fileName = "";

    void operator()(void* block) const { OSMemTypeFreeMon(block, 0, 0, line, fileName); }
};

// Sole owner of an accounted block that holds plain data: nothing is constructed or destroyed in it.
template <typename T>
using Accounted = std::unique_ptr<T, AccountedDelete>;

template <typename T>
Accounted<T> adoptAccounted(void* block, uint32_t line, const char* fileName) {
    return Accounted<T>(static_cast<T*>(block), AccountedDelete{line, fileName});
}

} // namespace tarn::detail

// A new accounted block of `bytes` bytes, owned as `type`; null when memory is out.
#define TARN_ALLOCATE(type, bytes)                                                          \
    ::tarn::detail::adoptAccounted<type>(                                                   \
        OsMemMallocSetCharMon((bytes), 0, 0, 0, static_cast<uint32_t>(__LINE__), kLogName), \
        static_cast<uint32_t>(__LINE__), kLogName)

// Owns a block that came from elsewhere.
#define TARN_ADOPT(type, block) ::tarn::detail::adoptAccounted<type>((block), static_cast<uint32_t>(__LINE__), kLogName)

// Releases a block that a plain C record holds.
#define TARN_FREE(block) OSMemTypeFreeMon((block), 0, 0, static_cast<uint32_t>(__LINE__), kLogName)

// At the C border: a lack of memory becomes a result.
#pragma once

#include <cerrno>
#include <cstdint>
#include <new>

namespace tarn::host {

template <typename Operation>
uint32_t guarded(Operation operation) {
    try {
        return static_cast<uint32_t>(operation());
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
}

} // namespace tarn::host

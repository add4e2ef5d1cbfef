// At the C border: no exception crosses it, each becomes a result.
#pragma once

#include <cstdint>
#include <exception>

namespace tarn::host {

// The errno of an exception that carries the system's; ENOMEM of any other.
int errorOf(const std::exception& failure);

// Runs a call that yields 0 or an errno.
template <typename Operation>
uint32_t guarded(Operation operation) {
    try {
        return static_cast<uint32_t>(operation());
    } catch (const std::exception& failure) {
        return static_cast<uint32_t>(errorOf(failure));
    }
}

} // namespace tarn::host

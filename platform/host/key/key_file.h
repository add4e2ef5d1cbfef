// The key that values are encrypted with, from its file.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tarn::host {

constexpr size_t kValueKeyBytes = 32;

// Wiped when it goes.
struct ValueKey {
    ValueKey() = default;
    ~ValueKey();
    ValueKey(const ValueKey&) = delete;
    ValueKey(ValueKey&&) = delete;
    ValueKey& operator=(const ValueKey&) = delete;
    ValueKey& operator=(ValueKey&&) = delete;

    std::array<uint8_t, kValueKeyBytes> bytes = {};
};

// Reads the key, which is made when there is none yet. 0 or an errno; the reason is then on standard error.
int loadValueKey(ValueKey& key);

} // namespace tarn::host

// Values as bytes, for processes of one machine: as they stand in memory.
#pragma once

#include <cstddef>
#include <cstring>
#include <span>
#include <vector>

namespace tarn::host {

inline void putBytes(std::vector<std::byte>& bytes, const void* source, size_t count) {
    const size_t used = bytes.size();
    bytes.resize(used + count);
    if (count > 0) {
        std::memcpy(bytes.data() + used, source, count);
    }
}

// False, with nothing taken, when there are not as many.
inline bool takeBytes(std::span<const std::byte>& bytes, void* target, size_t count) {
    if (bytes.size() < count) {
        return false;
    }
    std::memcpy(target, bytes.data(), count);
    bytes = bytes.subspan(count);
    return true;
}

} // namespace tarn::host

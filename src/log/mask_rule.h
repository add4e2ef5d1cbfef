// How much of a value is shown: a short head and tail.
#pragma once

#include <cstddef>

namespace tarn::detail {

// The characters of a value that become stars: from `first` up to, not including, `end`.
struct MaskRange {
    size_t first;
    size_t end;
};

constexpr MaskRange maskRange(size_t length) {
    if (length < 4) {
        return {0, 0};
    }
    if (length < 6) {
        return {length - 2, length - 1};
    }
    if (length < 8) {
        return {length - 5, length - 2};
    }
    if (length < 11) {
        return {length - 6, length - 2};
    }
    return {3, length - 2};
}

} // namespace tarn::detail

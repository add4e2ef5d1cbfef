// What the ways of masking share.
#pragma once

#include <cstddef>

#include "tarn_conference/conf_filter.h"

namespace tarn::detail {

// The shortest text that can be an address.
inline constexpr size_t kShortestAddress = 7;

// Whether a filter was given a text and a buffer of the least size.
inline bool canFilter(const char* src, const char* dst, uint32_t dstLen) {
    return src != nullptr && dst != nullptr && dstLen >= CONF_FILTER_MIN_BUFFER;
}

// The characters of a value that become stars: from `first` up to, not including, `end`.
struct MaskRange {
    size_t first;
    size_t end;
};

// Shows a short head and tail.
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

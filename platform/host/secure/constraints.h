// What the bounds-checked functions ask of their arguments, and how they answer.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "tarn_platform/bounds_checked.h"

namespace tarn::host {

// A size above it is a negative number gone wrong: no object is as large.
inline constexpr rsize_t kLargestBound = SIZE_MAX >> 1;

inline constexpr errno_t kNullArgument = EINVAL;
inline constexpr errno_t kSizeOutOfRange = ERANGE;
inline constexpr errno_t kDoesNotFit = ERANGE;
inline constexpr errno_t kOverlap = EINVAL;

// Whether two areas share a byte.
inline bool overlap(const void* left, size_t leftBytes, const void* right, size_t rightBytes) {
    if (leftBytes == 0 || rightBytes == 0) {
        return false;
    }
    const auto leftStart = reinterpret_cast<uintptr_t>(left);
    const auto rightStart = reinterpret_cast<uintptr_t>(right);
    return leftStart < rightStart ? rightStart - leftStart < leftBytes : leftStart - rightStart < rightBytes;
}

} // namespace tarn::host

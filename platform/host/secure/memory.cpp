// Copies and sets bytes. A refused copy leaves zeros in the whole destination, so that a caller who does not look at
// the code never works on half of the old bytes; a refused set still fills it, as a set that clears a secret must.
#include <cstring>

#include "secure/constraints.h"

using namespace tarn::host;

namespace {

errno_t constraintOf(const void* destination, rsize_t bound, const void* source, rsize_t count) {
    if (destination == nullptr || source == nullptr) {
        return kNullArgument;
    }
    if (bound > kLargestBound || count > kLargestBound) {
        return kSizeOutOfRange;
    }
    return count > bound ? kDoesNotFit : 0;
}

void fillIfWritable(void* destination, rsize_t bound, int value) {
    if (destination != nullptr && bound <= kLargestBound) {
        std::memset(destination, value, bound);
    }
}

} // namespace

errno_t memcpy_s(void* destination, rsize_t bound, const void* source, rsize_t count) {
    errno_t broken = constraintOf(destination, bound, source, count);
    if (broken == 0 && overlap(destination, count, source, count)) {
        broken = kOverlap;
    }
    if (broken != 0) {
        fillIfWritable(destination, bound, 0);
        return broken;
    }
    std::memcpy(destination, source, count);
    return 0;
}

errno_t memmove_s(void* destination, rsize_t bound, const void* source, rsize_t count) {
    const errno_t broken = constraintOf(destination, bound, source, count);
    if (broken != 0) {
        fillIfWritable(destination, bound, 0);
        return broken;
    }
    std::memmove(destination, source, count);
    return 0;
}

errno_t memset_s(void* destination, rsize_t bound, int value, rsize_t count) {
    const errno_t broken = constraintOf(destination, bound, destination, count);
    if (broken != 0) {
        fillIfWritable(destination, bound, value);
        return broken;
    }
    std::memset(destination, value, count);
    return 0;
}

// Copies texts. A copy that would not fit is refused whole: the destination then holds an empty text, never a cut one.
#include <algorithm>
#include <cstring>

#include "secure/constraints.h"

using namespace tarn::host;

namespace {

// The destination must be able to hold at least the NUL.
errno_t destinationConstraint(const char* destination, rsize_t bound) {
    if (destination == nullptr) {
        return kNullArgument;
    }
    return bound == 0 || bound > kLargestBound ? kSizeOutOfRange : 0;
}

// Puts at most `limit` characters of the source and a NUL behind the `used` first characters of a usable destination.
errno_t place(char* destination, rsize_t bound, rsize_t used, const char* source, rsize_t limit) {
    if (source == nullptr) {
        return kNullArgument;
    }
    if (limit > kLargestBound) {
        return kSizeOutOfRange;
    }
    const rsize_t room = bound - used;
    const rsize_t length = strnlen(source, std::min(limit, room));
    if (length == room) {
        return kDoesNotFit;
    }
    const rsize_t readBytes = std::min(limit, length + 1);
    if (overlap(destination + used, length + 1, source, readBytes)) {
        return kOverlap;
    }
    std::memcpy(destination + used, source, length);
    destination[used + length] = '\0';
    return 0;
}

errno_t copy(char* destination, rsize_t bound, const char* source, rsize_t limit) {
    errno_t broken = destinationConstraint(destination, bound);
    if (broken != 0) {
        return broken;
    }
    broken = place(destination, bound, 0, source, limit);
    if (broken != 0) {
        destination[0] = '\0';
    }
    return broken;
}

} // namespace

errno_t strcpy_s(char* destination, rsize_t bound, const char* source) {
    return copy(destination, bound, source, kLargestBound);
}

errno_t strncpy_s(char* destination, rsize_t bound, const char* source, rsize_t count) {
    return copy(destination, bound, source, count);
}

errno_t strcat_s(char* destination, rsize_t bound, const char* source) {
    errno_t broken = destinationConstraint(destination, bound);
    if (broken != 0) {
        return broken;
    }
    const rsize_t used = strnlen(destination, bound);
    broken = used == bound ? kDoesNotFit : place(destination, bound, used, source, kLargestBound);
    if (broken != 0) {
        destination[0] = '\0';
    }
    return broken;
}

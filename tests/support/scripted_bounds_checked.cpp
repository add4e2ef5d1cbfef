// Plain models of the bounds-checked functions that the library calls: short and slow, written apart from those that
// ship.
#include "scripted_platform.h"
#include "tarn_platform/bounds_checked.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

using namespace tarn::test;

namespace {

errno_t copyBytes(const char* call, void* destination, rsize_t bound, const void* source, rsize_t count) {
    if (isToFail(call)) {
        return ScriptedPlatform::get().copyFailureCode;
    }
    if (destination == nullptr) {
        return EINVAL;
    }
    if (source == nullptr || count > bound) {
        std::memset(destination, 0, bound);
        return source == nullptr ? EINVAL : ERANGE;
    }
    std::memmove(destination, source, count);
    return 0;
}

// Copies `count` characters to `destination + offset` and ends them, or leaves an empty text.
errno_t copyText(const char* call, char* destination, rsize_t bound, rsize_t offset, const char* source,
                 rsize_t limit) {
    if (isToFail(call)) {
        return ScriptedPlatform::get().copyFailureCode;
    }
    if (destination == nullptr || bound == 0) {
        return EINVAL;
    }
    const rsize_t count = source == nullptr ? 0 : strnlen(source, limit);
    if (source == nullptr || count >= bound - offset) {
        destination[0] = '\0';
        return source == nullptr ? EINVAL : ERANGE;
    }
    std::memmove(destination + offset, source, count);
    destination[offset + count] = '\0';
    return 0;
}

int format(const char* call, char* destination, rsize_t bound, const char* format, va_list arguments) {
    if (isToFail(call) || destination == nullptr || bound == 0) {
        return -1;
    }
    const int length = std::vsnprintf(destination, bound, format, arguments);
    if (length < 0 || static_cast<rsize_t>(length) >= bound) {
        destination[0] = '\0';
        return -1;
    }
    return length;
}

} // namespace

errno_t memcpy_s(void* destination, rsize_t bound, const void* source, rsize_t count) {
    return copyBytes(__func__, destination, bound, source, count);
}

errno_t memmove_s(void* destination, rsize_t bound, const void* source, rsize_t count) {
    return copyBytes(__func__, destination, bound, source, count);
}

errno_t memset_s(void* destination, rsize_t bound, int value, rsize_t count) {
    if (isToFail(__func__)) {
        return ScriptedPlatform::get().copyFailureCode;
    }
    if (destination == nullptr || count > bound) {
        return EINVAL;
    }
    std::memset(destination, value, count);
    return 0;
}

errno_t strcpy_s(char* destination, rsize_t bound, const char* source) {
    return copyText(__func__, destination, bound, 0, source, bound);
}

errno_t strncpy_s(char* destination, rsize_t bound, const char* source, rsize_t count) {
    return copyText(__func__, destination, bound, 0, source, count);
}

errno_t strcat_s(char* destination, rsize_t bound, const char* source) {
    return copyText(__func__, destination, bound, strnlen(destination, bound), source, bound);
}

int sprintf_s(char* destination, rsize_t bound, const char* text, ...) {
    va_list arguments;
    va_start(arguments, text);
    const int length = format(__func__, destination, bound, text, arguments);
    va_end(arguments);
    return length;
}

int vsnprintf_s(char* destination, rsize_t bound, const char* text, va_list arguments) {
    return format(__func__, destination, bound, text, arguments);
}

// Numbers only: the library scans nothing else.
int sscanf_s(const char* text, const char* format, ...) {
    if (isToFail(__func__)) {
        return -1;
    }
    va_list arguments;
    va_start(arguments, format);
    const int stored = std::vsscanf(text, format, arguments);
    va_end(arguments);
    return stored;
}

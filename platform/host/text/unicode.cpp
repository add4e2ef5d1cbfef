// Code points to UTF-8. One code point that has no encoding refuses the whole text.
#include <cstddef>

#include "tarn_platform/os_memory.h"
#include "tarn_platform/portability.h"

namespace {

constexpr uint32_t kFirstSurrogate = 0xD800;
constexpr uint32_t kLastSurrogate = 0xDFFF;
constexpr uint32_t kLastCodePoint = 0x10FFFF;

// Bytes of the encoding; 0 for what has none.
size_t encodedBytes(uint32_t codePoint) {
    if (codePoint < 0x80) {
        return 1;
    }
    if (codePoint < 0x800) {
        return 2;
    }
    if (codePoint < 0x10000) {
        return codePoint >= kFirstSurrogate && codePoint <= kLastSurrogate ? 0 : 3;
    }
    return codePoint <= kLastCodePoint ? 4 : 0;
}

// Writes the encoding and returns its end. The lead byte has as many high ones as there are bytes.
char* encode(uint32_t codePoint, char* out) {
    constexpr uint32_t kLeadBits[] = {0, 0, 0xC0, 0xE0, 0xF0};
    const size_t bytes = encodedBytes(codePoint);
    for (size_t i = bytes - 1; i > 0; --i) {
        out[i] = static_cast<char>(0x80 | (codePoint & 0x3F));
        codePoint >>= 6;
    }
    out[0] = static_cast<char>(kLeadBits[bytes] | codePoint);
    return out + bytes;
}

} // namespace

char* ZOR_UnicodeToUtf8(const uint32_t* codePoints) {
    if (codePoints == nullptr) {
        return nullptr;
    }
    size_t bytes = 1;
    for (const uint32_t* at = codePoints; *at != 0; ++at) {
        const size_t more = encodedBytes(*at);
        if (more == 0) {
            return nullptr;
        }
        bytes += more;
    }
    if (bytes > UINT32_MAX) {
        return nullptr;
    }
    auto* const text =
        static_cast<char*>(OsMemMallocSetCharMon(static_cast<uint32_t>(bytes), 0, 0, 0, __LINE__, "unicode"));
    if (text == nullptr) {
        return nullptr;
    }
    char* end = text;
    for (const uint32_t* at = codePoints; *at != 0; ++at) {
        end = encode(*at, end);
    }
    *end = '\0';
    return text;
}

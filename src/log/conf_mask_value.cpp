// Masking of whole values. A long value always shrinks to eleven characters, so that its length is not told either.
#include <cstring>

#include "log/mask_rule.h"
#include "tarn_conference/conf_filter.h"
#include "tarn_platform/bounds_checked.h"
#include "tarn_platform/portability.h"

namespace {

constexpr size_t kMostCopied = CONF_FILTER_MIN_BUFFER;
constexpr size_t kHead = 3;
constexpr size_t kTail = 2;
constexpr size_t kLongMasked = 11;

} // namespace

uint32_t ConfFilterStr(const char* src, char* dst, uint32_t dstLen) {
    if (!tarn::detail::canFilter(src, dst, dstLen)) {
        return 1;
    }
    std::memset(dst, 0, dstLen);
    const size_t length = MOSS_StrLen(src);
    const size_t copied = length < kMostCopied ? length + 1 : kMostCopied;
    if (memcpy_s(dst, dstLen, src, copied) != 0) {
        return 1;
    }
    dst[copied - 1] = '\0';
    if (length < kLongMasked) {
        const tarn::detail::MaskRange masked = tarn::detail::maskRange(length);
        std::memset(dst + masked.first, '*', masked.end - masked.first);
        return 0;
    }
    std::memset(dst + kHead, '*', kLongMasked - kHead - kTail);
    std::memcpy(dst + kLongMasked - kTail, src + length - kTail, kTail);
    // Not only a terminator: the clear text behind it must not be found in a dump of the buffer.
    std::memset(dst + kLongMasked, 0, copied - kLongMasked);
    return 0;
}

uint32_t ConfFilterCallFilterFn(ConfFilterFunc filter, const char* src, char* dst, uint32_t dstLen) {
    return filter == nullptr ? 1 : filter(src, dst, dstLen);
}

// Text and address helpers. Null is an ordinary argument here: a text without length, less than any other.
#include <arpa/inet.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>

#include "tarn_platform/portability.h"

namespace {

constexpr int kFamilyIpv4 = 2;
constexpr int kFamilyIpv6 = 10;
static_assert(AF_INET == kFamilyIpv4 && AF_INET6 == kFamilyIpv6, "families are passed through");

int lowerAscii(char c) {
    const auto value = static_cast<unsigned char>(c);
    return value >= 'A' && value <= 'Z' ? value - 'A' + 'a' : value;
}

// strcmp's order for texts that may be null; `compare` sees only texts.
template <typename Compare>
int compareNullable(const char* left, const char* right, Compare compare) {
    if (left == nullptr || right == nullptr) {
        return (left != nullptr ? 1 : 0) - (right != nullptr ? 1 : 0);
    }
    return compare(left, right);
}

// Apart from strcasecmp, whose case rules follow the process's locale.
int compareIgnoringCase(const char* left, const char* right) {
    while (*left != '\0' && lowerAscii(*left) == lowerAscii(*right)) {
        ++left;
        ++right;
    }
    return lowerAscii(*left) - lowerAscii(*right);
}

} // namespace

uint32_t MOSS_StrLen(const char* text) {
    return text == nullptr ? 0 : static_cast<uint32_t>(std::min<size_t>(std::strlen(text), UINT32_MAX));
}

int MOSS_StrCmp(const char* left, const char* right) {
    return compareNullable(left, right, [](const char* a, const char* b) { return std::strcmp(a, b); });
}

int MOSS_StriCmp(const char* left, const char* right) {
    return compareNullable(left, right, compareIgnoringCase);
}

char* MOSS_StrStr(const char* text, const char* part) {
    if (text == nullptr || part == nullptr) {
        return nullptr;
    }
    return const_cast<char*>(std::strstr(text, part));
}

int MOSS_StrToInt32(const char* text, int32_t* out) {
    if (text == nullptr || out == nullptr) {
        return EINVAL;
    }
    const char* const end = text + std::strlen(text);
    // from_chars knows a minus only.
    const char* const digits = *text == '+' && text[1] != '-' ? text + 1 : text;
    int32_t value = 0;
    const auto [stop, error] = std::from_chars(digits, end, value);
    if (error != std::errc()) {
        return static_cast<int>(error);
    }
    if (stop != end) {
        return EINVAL;
    }
    *out = value;
    return 0;
}

int MOSS_Inet_Pton(int family, const char* text, void* address) {
    if (family != kFamilyIpv4 && family != kFamilyIpv6) {
        errno = EAFNOSUPPORT;
        return -1;
    }
    return text == nullptr || address == nullptr ? 0 : inet_pton(family, text, address);
}

int ZOR_Socket_Get_AF_INET6(void) {
    return AF_INET6;
}

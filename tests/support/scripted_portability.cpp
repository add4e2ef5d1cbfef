// Plain models of the portability helpers: short and slow, written apart from those that ship.
#include "scripted_platform.h"
#include "tarn_platform/os_memory.h"
#include "tarn_platform/portability.h"

#include <arpa/inet.h>
#include <strings.h>

#include <charconv>
#include <cstring>

using namespace tarn::test;

namespace {

void appendUtf8(std::string& text, uint32_t codePoint) {
    if (codePoint < 0x80) {
        text += static_cast<char>(codePoint);
        return;
    }
    const int more = codePoint < 0x800 ? 1 : codePoint < 0x10000 ? 2 : 3; // bytes behind the first
    text += static_cast<char>((0xFF00 >> (more + 1) & 0xFF) | codePoint >> 6 * more);
    for (int left = more - 1; left >= 0; --left) {
        text += static_cast<char>(0x80 | (codePoint >> 6 * left & 0x3F));
    }
}

int compare(const char* left, const char* right, int (*comparison)(const char*, const char*)) {
    if (left == nullptr || right == nullptr) {
        return (left != nullptr ? 1 : 0) - (right != nullptr ? 1 : 0);
    }
    return comparison(left, right);
}

} // namespace

uint32_t MOSS_StrLen(const char* text) {
    ScriptedPlatform::get().enterInfallible(__func__);
    return text == nullptr ? 0 : static_cast<uint32_t>(std::strlen(text));
}

int MOSS_StrCmp(const char* left, const char* right) {
    ScriptedPlatform::get().enterInfallible(__func__);
    return compare(left, right, std::strcmp);
}

int MOSS_StriCmp(const char* left, const char* right) {
    ScriptedPlatform::get().enterInfallible(__func__);
    return compare(left, right, strcasecmp);
}

char* MOSS_StrStr(const char* text, const char* part) {
    ScriptedPlatform::get().enterInfallible(__func__);
    return text == nullptr || part == nullptr ? nullptr : const_cast<char*>(std::strstr(text, part));
}

int MOSS_StrToInt32(const char* text, int32_t* out) {
    if (isToFail(__func__) || text == nullptr || out == nullptr) {
        return 1;
    }
    int32_t value = 0;
    const auto [parsed, error] = std::from_chars(text, text + std::strlen(text), value);
    const bool isNumber = error == std::errc() && *parsed == '\0';
    *out = isNumber ? value : *out;
    return isNumber ? 0 : 1;
}

int MOSS_Inet_Pton(int family, const char* text, void* address) {
    return isToFail(__func__) ? 0 : inet_pton(family, text, address);
}

char* ZOR_UnicodeToUtf8(const uint32_t* codePoints) {
    if (isToFail(__func__) || codePoints == nullptr) {
        return nullptr;
    }
    std::string text;
    for (; *codePoints != 0; ++codePoints) {
        if (*codePoints > 0x10FFFF || (*codePoints >= 0xD800 && *codePoints <= 0xDFFF)) {
            return nullptr;
        }
        appendUtf8(text, *codePoints);
    }
    const auto bytes = static_cast<uint32_t>(text.size() + 1);
    auto* const block = static_cast<char*>(OsMemMallocSetCharMon(bytes, 0, 0, 0, __LINE__, "scripted_portability"));
    if (block != nullptr) {
        std::memcpy(block, text.c_str(), bytes);
    }
    return block;
}

int ZOR_Socket_Get_AF_INET6(void) {
    ScriptedPlatform::get().enterInfallible(__func__);
    return AF_INET6;
}

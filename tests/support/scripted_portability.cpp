// Plain models of the portability helpers: short and slow, written apart from those that ship.
#include "scripted_platform.h"
#include "tarn_platform/os_memory.h"
#include "tarn_platform/portability.h"

#include <arpa/inet.h>
#include <strings.h>

#include <charconv>
#include <cstring>

using tarn::test::ScriptedPlatform;

namespace {

bool encodes(uint32_t codePoint) {
    return codePoint <= 0x10FFFF && (codePoint < 0xD800 || codePoint > 0xDFFF);
}

void appendUtf8(std::string& text, uint32_t codePoint) {
    const auto continuation = [&](int shift) { return static_cast<char>(0x80 | ((codePoint >> shift) & 0x3F)); };
    if (codePoint < 0x80) {
        text += static_cast<char>(codePoint);
    } else if (codePoint < 0x800) {
        text += static_cast<char>(0xC0 | (codePoint >> 6));
        text += continuation(0);
    } else if (codePoint < 0x10000) {
        text += static_cast<char>(0xE0 | (codePoint >> 12));
        text += continuation(6);
        text += continuation(0);
    } else {
        text += static_cast<char>(0xF0 | (codePoint >> 18));
        text += continuation(12);
        text += continuation(6);
        text += continuation(0);
    }
}

const char* orEmpty(const char* text) {
    return text == nullptr ? "" : text;
}

} // namespace

uint32_t MOSS_StrLen(const char* text) {
    ScriptedPlatform::get().enterInfallible("MOSS_StrLen");
    return static_cast<uint32_t>(std::strlen(orEmpty(text)));
}

int MOSS_StrCmp(const char* left, const char* right) {
    ScriptedPlatform::get().enterInfallible("MOSS_StrCmp");
    if (left == nullptr || right == nullptr) {
        return (left != nullptr ? 1 : 0) - (right != nullptr ? 1 : 0);
    }
    return std::strcmp(left, right);
}

int MOSS_StriCmp(const char* left, const char* right) {
    ScriptedPlatform::get().enterInfallible("MOSS_StriCmp");
    if (left == nullptr || right == nullptr) {
        return (left != nullptr ? 1 : 0) - (right != nullptr ? 1 : 0);
    }
    return strcasecmp(left, right);
}

char* MOSS_StrStr(const char* text, const char* part) {
    ScriptedPlatform::get().enterInfallible("MOSS_StrStr");
    if (text == nullptr || part == nullptr) {
        return nullptr;
    }
    return const_cast<char*>(std::strstr(text, part));
}

int MOSS_StrToInt32(const char* text, int32_t* out) {
    if (ScriptedPlatform::get().enter("MOSS_StrToInt32") || text == nullptr || out == nullptr) {
        return 1;
    }
    const char* const end = text + std::strlen(text);
    int32_t value = 0;
    const auto [parsed, error] = std::from_chars(text, end, value);
    if (error != std::errc() || parsed != end) {
        return 1;
    }
    *out = value;
    return 0;
}

int MOSS_Inet_Pton(int family, const char* text, void* address) {
    if (ScriptedPlatform::get().enter("MOSS_Inet_Pton")) {
        return 0;
    }
    return inet_pton(family, text, address);
}

char* ZOR_UnicodeToUtf8(const uint32_t* codePoints) {
    if (ScriptedPlatform::get().enter("ZOR_UnicodeToUtf8") || codePoints == nullptr) {
        return nullptr;
    }
    std::string text;
    for (; *codePoints != 0; ++codePoints) {
        if (!encodes(*codePoints)) {
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
    ScriptedPlatform::get().enterInfallible("ZOR_Socket_Get_AF_INET6");
    return AF_INET6;
}

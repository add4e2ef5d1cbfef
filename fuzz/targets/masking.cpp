// Masking: a keyword, a terminator and a text, a line for each of the first two. The text is masked behind the keyword,
// masked as a value and as an address, and has the keyword replaced as the device's own address.
#include <algorithm>
#include <cstring>
#include <memory>

#include "input.h"
#include "scripted_run.h"
#include "tarn_conference/conf_filter.h"
#include "tarn_platform/os_memory.h"

namespace {

using tarn::fuzz::Text;

void maskBehindKeyword(const Text& text, const Text& keyword, const Text& terminator) {
    Text masked(text.string());
    ConfFilterNonSecurityWordEx(masked.get(), keyword.get(), terminator.get());
    for (size_t i = 0; i <= text.length(); ++i) {
        FUZZ_CHECK(masked.get()[i] == text.get()[i] || (masked.get()[i] == '*' && i < text.length()));
    }
    const size_t first = text.string().find(keyword.string());
    FUZZ_CHECK(std::memcmp(masked.get(), text.get(), std::min(first, text.length())) == 0);
}

// The documented shape of a masked value.
std::string maskedValue(std::string value) {
    const size_t length = value.size();
    if (length >= 11) {
        return value.substr(0, 3) + "******" + value.substr(length - 2);
    }
    const size_t first = length < 4 ? 0 : length < 6 ? length - 2 : length < 8 ? length - 5 : length - 6;
    const size_t end = length < 4 ? 0 : length < 6 ? length - 1 : length - 2;
    std::fill(value.begin() + static_cast<std::ptrdiff_t>(first), value.begin() + static_cast<std::ptrdiff_t>(end),
              '*');
    return value;
}

// Masks into a buffer of exactly its size; behind the text there is nothing of the value left.
std::string maskInto(ConfFilterFunc filter, const Text& value, size_t bytes) {
    const auto buffer = std::make_unique<char[]>(bytes);
    std::fill_n(buffer.get(), bytes, '#');
    FUZZ_CHECK(filter(value.get(), buffer.get(), static_cast<uint32_t>(bytes)) == 0);
    std::string text(buffer.get(), strnlen(buffer.get(), bytes));
    FUZZ_CHECK(text.size() < bytes);
    FUZZ_CHECK(std::all_of(buffer.get() + text.size(), buffer.get() + bytes, [](char c) { return c == '\0'; }));
    return text;
}

void maskValues(const Text& text) {
    FUZZ_CHECK(maskInto(ConfFilterStr, text, CONF_FILTER_MIN_BUFFER) == maskedValue(text.string()));
    const std::string address = maskInto(ConfFilterIPAddrStr, text, CONF_FILTER_MIN_BUFFER + 7);
    FUZZ_CHECK(text.length() < 4 || address.find('*') != std::string::npos);

    Text inPlace(text.string());
    ConfFilterNonSecurityWordExImpl(inPlace.get(), inPlace.get() + inPlace.length());
    FUZZ_CHECK(inPlace.length() >= 11 || inPlace.string() == maskedValue(text.string()));

    char small[CONF_FILTER_MIN_BUFFER - 1] = {'x'};
    FUZZ_CHECK(ConfFilterStr(text.get(), small, sizeof small) == 1 && small[0] == 'x');
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

void replaceAddress(const Text& text, const Text& address) {
    const std::string before = "192.168.100.200";
    FUZZ_CHECK(ConfFilterSetIPStr(before.c_str()) == 0);
    const bool stored = ConfFilterSetIPStr(address.get()) == 0;
    FUZZ_CHECK(stored == (address.length() < 45));
    const Text own(stored ? address.string() : before);
    char* out = nullptr;
    uint32_t length = 0;
    const uint32_t result = ConfReplaceIPAddrStr(text.get(), &out, &length);
    FUZZ_CHECK((result == 0) == (text.length() != 0 && own.length() >= 7));
    if (result != 0) {
        FUZZ_CHECK(out == nullptr && length == 0);
        return;
    }
    const std::string masked = maskInto(ConfFilterIPAddrStr, own, CONF_FILTER_MIN_BUFFER);
    const std::string whole = replaced(text.string(), own.string(), masked);
    FUZZ_CHECK(length == std::strlen(out));
    FUZZ_CHECK(out == whole.substr(0, text.length() + 98));
    OSMemTypeFreeMon(out, 0, 0, __LINE__, "fuzz");
}

void fuzzMasking(std::span<const uint8_t> bytes) {
    const tarn::fuzz::ScriptedRun run;
    tarn::fuzz::Input input(bytes);
    const Text keyword(input.line());
    const Text terminator(input.line());
    const Text text(tarn::fuzz::asText(input.rest()));
    maskBehindKeyword(text, keyword, terminator);
    maskValues(text);
    maskValues(keyword);
    replaceAddress(text, keyword);
}

const tarn::fuzz::Target target("masking", fuzzMasking);

} // namespace

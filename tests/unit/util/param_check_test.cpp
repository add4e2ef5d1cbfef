#include <algorithm>
#include <climits>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>

#include "tarn_conference/conf_param.h"
#include "told.h"

namespace tarn::test {
namespace {

using namespace testing;

using ParamCheck = ScriptedPlatformTest;

// In a block of its exact size, so that a sanitizer sees any step outside.
std::string trimmed(const std::string& text) {
    const auto block = std::make_unique<char[]>(text.size() + 1);
    std::memcpy(block.get(), text.c_str(), text.size() + 1);
    ConfTrim(block.get());
    return block.get();
}

TEST_F(ParamCheck, TrimsBothEndsAndKeepsTheInside) {
    EXPECT_EQ(trimmed("  a b \t\r\n"), "a b");
    EXPECT_EQ(trimmed("\v\f a"), "a");
    EXPECT_EQ(trimmed("\xA0 a \x85"), "\xA0 a \x85"); // no white space in any locale
    EXPECT_THAT(takeLogs(), IsEmpty());
    EXPECT_EQ(trimmed(" \t "), "");
    EXPECT_EQ(trimmed(""), "");
    ConfTrim(nullptr);
    EXPECT_THAT(takeLogs("ConfTrimRight"),
                ElementsAre("Invalid param.", "Invalid param.", "1 [ConfTrim]Invalid param."));
    // Lengths are counted in 16 bits.
    const std::string longText(65537, 'x');
    EXPECT_EQ(trimmed(longText + " "), "xx");
    EXPECT_EQ(trimmed(" " + longText), "xx");
}

TEST_F(ParamCheck, AllowsExactlyTheNamedCharacters) {
    const std::string general =
        "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ !#$%&'()*+,-.:;<=>?@_`~|^{}/";
    for (int c = 1; c < 256; ++c) {
        const std::string text = {'0', static_cast<char>(c), '9'};
        EXPECT_EQ(ConfParamCheckContainValidChar(text.c_str(), 0), general.find(text[1]) == std::string::npos) << c;
        EXPECT_EQ(ConfParamCheckContainValidChar(text.c_str(), 1), c >= '0' && c <= '9' ? 0U : 1U) << c;
    }
    EXPECT_EQ(ConfParamCheckContainValidChar("", 0), 1U);
    EXPECT_EQ(ConfParamCheckContainValidChar(nullptr, 1), 1U);
}

TEST_F(ParamCheck, TellsAddressesAndTheirFamilies) {
    constexpr uint32_t kNone = 0xFFFFFFFF;
    const auto check = [](std::initializer_list<const char*> addresses, uint32_t family) {
        for (const char* address : addresses) {
            EXPECT_EQ(ConfParamCheckIpType(address), family) << (address == nullptr ? "null" : address);
            EXPECT_EQ(ConfParamCheckValidIp(address), family == kNone ? 1U : 0U);
        }
    };
    check({"10.0.0.1"}, 2);
    check({"::1", "::ffff:10.1.2.3", "1:2:3:4:5:6:7:8"}, 10);
    check({"10.0.0.256", "host.example", "fe80::1%eth0", "1:2:3:4:5:6:7:8:9", "", nullptr}, kNone);
}

TEST_F(ParamCheck, CountsCharacters) {
    // Behind a byte of no sequence each byte counts. The third is cut inside a sequence.
    EXPECT_THAT(Codes({ConfParamGetCharNum("\xC3\xA4\xE4\xBD\xA0z", 6), ConfParamGetCharNum("ab\xF0\x9F\xC3\xA4", 6),
                       ConfParamGetCharNum("a\xE4", 2), ConfParamGetCharNum("abc", 0), ConfParamGetCharNum(nullptr, 3),
                       CONF_PARAM_2BYTE, CONF_PARAM_3BYTE}),
                ElementsAre(3, 6, 2, 0, 0, 2, 3));
}

TEST_F(ParamCheck, ConvertsNumbersOrAnswersTheDefault) {
    const auto numbers = [](std::initializer_list<const char*> texts) {
        std::vector<int> found;
        std::ranges::transform(texts, std::back_inserter(found), [](const char* text) { return ConfGetAtoi(text, 5); });
        return found;
    };
    EXPECT_THAT(numbers({"0x1F", "010", " -7", "4294967296", "2147483648"}), ElementsAre(31, 8, -7, 0, INT_MIN));
    EXPECT_THAT(numbers({"12abc", "", "1 ", "0x", "08", "-", "99999999999999999999999999999", nullptr}), Each(5));
    takeLogs();
    EXPECT_EQ(ConfGetAtoi("x", -3), -3);
    EXPECT_THAT(takeLogs("ConfGetAtoi"), ElementsAre("strtol failed. defaultValue:-3"));
}

} // namespace
} // namespace tarn::test

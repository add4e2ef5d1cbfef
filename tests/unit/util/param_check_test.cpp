#include <algorithm>
#include <climits>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>
#include <random>
#include <string>

#include "tarn_conference/conf_param.h"
#include "told.h"

namespace tarn::test {
namespace {

using namespace testing;

class ParamCheck : public ScriptedPlatformTest {
 protected:
    std::mt19937 random{20240611};

    std::string randomText(const std::string& alphabet, size_t length) {
        std::string text(length, '\0');
        for (char& c : text) {
            c = alphabet[random() % alphabet.size()];
        }
        return text;
    }
};

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
    platform.failNth("memmove_s", 1);
    EXPECT_EQ(trimmed(" a "), " a");
}

// The 16-bit rule, step by step, on a text with everything behind it.
std::string slowTrim(std::string text) {
    const std::string white = " \t\n\v\f\r";
    const size_t skipped = std::min(text.find_first_not_of(white), text.size());
    const size_t moved = (text.size() % 65536 + 65536 * 2 - skipped % 65536) % 65536 + 1;
    std::string block = text + '\0';
    for (size_t i = 0; i < moved; ++i) {
        block[i] = block[i + skipped];
    }
    text = block.c_str();
    const size_t length = text.size() % 65536;
    if (length == 0) {
        return text;
    }
    const size_t last = text.substr(0, length).find_last_not_of(white);
    return last == std::string::npos ? "" : text.substr(0, last + 1);
}

TEST_F(ParamCheck, TrimAgreesWithASlowModel) {
    for (int round = 0; round < 2000; ++round) {
        const std::string text = randomText(" \t\rab", random() % 12);
        ASSERT_EQ(trimmed(text), slowTrim(text)) << '"' << text << '"';
    }
    for (const size_t length : {65535U, 65536U, 65537U, 70000U, 131072U, 140000U}) {
        for (const size_t leading : {0U, 1U, 5000U, 65535U}) {
            std::string text(length, 'x');
            std::fill_n(text.begin(), leading, ' ');
            text.replace(length - 3, 3, "\t \n");
            ASSERT_EQ(trimmed(text), slowTrim(text)) << length << ' ' << leading;
        }
    }
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

uint32_t slowCharNum(const std::string& bytes) {
    uint32_t count = 0;
    size_t counted = 0;
    size_t at = 0;
    while (counted < bytes.size()) {
        const auto byte = static_cast<unsigned char>(bytes[at]);
        const size_t step = byte < 0x80 ? 1 : byte >> 5 == 6 ? 2 : byte >> 4 == 14 ? 3 : 0;
        counted += step == 0 ? 1 : step; // a byte of no sequence is counted again and again
        at += step;
        ++count;
    }
    return count;
}

TEST_F(ParamCheck, CountsCharactersAsASlowModelDoes) {
    // The third is cut inside a sequence.
    EXPECT_THAT(Codes({ConfParamGetCharNum("\xE4\xBD\xA0", 3), ConfParamGetCharNum("ab\xF0\x9F\x98\x80", 6),
                       ConfParamGetCharNum("a\xE4", 2), ConfParamGetCharNum("abc", 0), ConfParamGetCharNum(nullptr, 3),
                       CONF_PARAM_2BYTE, CONF_PARAM_3BYTE}),
                ElementsAre(1, 6, 2, 0, 0, 2, 3));
    const std::string alphabet("a\0\x7F\xC3\xDF\xE0\xEF\xE4\xC2", 9);
    for (int round = 0; round < 5000; ++round) {
        std::string bytes = randomText(alphabet, random() % 20);
        if (!bytes.empty() && random() % 3 == 0) {
            bytes[random() % bytes.size()] = static_cast<char>(random());
        }
        const auto block = std::make_unique<char[]>(bytes.size());
        std::memcpy(block.get(), bytes.data(), bytes.size());
        ASSERT_EQ(ConfParamGetCharNum(block.get(), static_cast<uint32_t>(bytes.size())), slowCharNum(bytes))
            << testing::PrintToString(bytes);
    }
}

__extension__ using Wide = __int128;

int digitValue(char c) {
    return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : 99;
}

std::optional<int> slowNumber(const std::string& text) {
    size_t at = 0;
    while (at < text.size() && (text[at] == ' ' || text[at] == '\t')) {
        ++at;
    }
    const bool negative = at < text.size() && text[at] == '-';
    at += at < text.size() && (text[at] == '-' || text[at] == '+') ? 1 : 0;
    int base = at < text.size() && text[at] == '0' ? 8 : 10;
    if (at + 2 < text.size() && text.compare(at, 2, "0x") == 0 && digitValue(text[at + 2]) < 16) {
        base = 16;
        at += 2;
    }
    if (at == text.size()) {
        return std::nullopt;
    }
    Wide value = 0;
    for (; at < text.size(); ++at) {
        if (digitValue(text[at]) >= base) {
            return std::nullopt;
        }
        value = value * base + digitValue(text[at]);
        if (value > static_cast<Wide>(LONG_MAX) + 1) {
            return std::nullopt;
        }
    }
    value = negative ? -value : value;
    if (value > LONG_MAX) {
        return std::nullopt;
    }
    return static_cast<int>(value);
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
    for (int round = 0; round < 20000; ++round) {
        const std::string text = randomText("0011789 afx-+", random() % 3 == 0 ? random() % 24 : random() % 5);
        ASSERT_EQ(ConfGetAtoi(text.c_str(), 12345), slowNumber(text).value_or(12345)) << '"' << text << '"';
    }
}

} // namespace
} // namespace tarn::test

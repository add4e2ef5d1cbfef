#include <arpa/inet.h>

#include <climits>
#include <clocale>
#include <cwchar>

#include "support/host_test.h"
#include "tarn_platform/os_memory.h"
#include "tarn_platform/portability.h"

namespace {

std::string takeText(char* text) {
    std::string taken = text == nullptr ? "(null)" : text;
    OSMemTypeFreeMon(text, 0, 0, __LINE__, "text_test");
    return taken;
}

// The C library's converter is the model, but for its range, which is that of old UCS-4. "(null)" for what has no
// encoding.
std::string modelOf(uint32_t codePoint) {
    std::array<char, MB_LEN_MAX> out = {};
    std::mbstate_t state = {};
    const size_t length = std::wcrtomb(out.data(), static_cast<wchar_t>(codePoint), &state);
    return codePoint <= 0x10FFFF && length <= out.size() ? std::string(out.data(), length) : "(null)";
}

TEST(HostUnicode, EncodesEachCodePointAsTheModelDoes) {
    std::vector<uint32_t> codePoints;
    for (const uint32_t edge : {0x80U, 0x800U, 0xD800U, 0xDC00U, 0xE000U, 0x10000U, 0x110000U}) {
        codePoints.insert(codePoints.end(), {edge - 1, edge, edge + 1});
    }
    for (uint32_t codePoint = 1; codePoint < 0x120000; codePoint += 101) {
        codePoints.push_back(codePoint);
    }
    codePoints.insert(codePoints.end(), {0x7FFFFFFFU, 0x80000041U, 0xFFFFFFFFU});
    ASSERT_NE(nullptr, std::setlocale(LC_CTYPE, "C.UTF-8"));
    for (const uint32_t codePoint : codePoints) {
        const uint32_t single[] = {codePoint, 0};
        ASSERT_EQ(modelOf(codePoint), takeText(ZOR_UnicodeToUtf8(single))) << std::hex << codePoint;
    }
    std::setlocale(LC_CTYPE, "C");
}

TEST(HostUnicode, EncodesTextsWholeOrNotAtAll) {
    const uint32_t mixed[] = {'a', 0xE4, 0x20AC, 0x1F600, 'z', 0};
    EXPECT_EQ("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80z", takeText(ZOR_UnicodeToUtf8(mixed)));
    const uint32_t broken[] = {'a', 0xDFFF, 'z', 0};
    EXPECT_EQ(nullptr, ZOR_UnicodeToUtf8(broken));
    const uint32_t empty[] = {0};
    EXPECT_EQ("", takeText(ZOR_UnicodeToUtf8(empty)));
    EXPECT_EQ(nullptr, ZOR_UnicodeToUtf8(nullptr));
}

TEST(HostText, NullIsATextWithoutLengthAndLessThanAnyOther) {
    EXPECT_EQ(0U, MOSS_StrLen(nullptr));
    EXPECT_EQ(3U, MOSS_StrLen("abc"));
    for (const auto compare : {MOSS_StrCmp, MOSS_StriCmp}) {
        EXPECT_EQ(0, compare(nullptr, nullptr));
        EXPECT_LT(compare(nullptr, ""), 0);
        EXPECT_GT(compare("", nullptr), 0);
        EXPECT_EQ(0, compare("abc", "abc"));
        EXPECT_LT(compare("ab", "abc"), 0);
        EXPECT_GT(compare("\xFF", "a"), 0) << "characters compare as unsigned";
    }
    EXPECT_NE(0, MOSS_StrCmp("PEM", "pem"));
    EXPECT_EQ(0, MOSS_StriCmp("PeM@[z", "pEm@[Z"));
    EXPECT_NE(0, MOSS_StriCmp("@", "`")) << "only letters have case";
    EXPECT_NE(0, MOSS_StriCmp("\xC4", "\xE4"));

    const char* const text = "one two";
    EXPECT_EQ(text + 4, MOSS_StrStr(text, "two"));
    EXPECT_EQ(text, MOSS_StrStr(text, ""));
    EXPECT_EQ(nullptr, MOSS_StrStr(text, "three"));
    EXPECT_EQ(nullptr, MOSS_StrStr(nullptr, "x"));
    EXPECT_EQ(nullptr, MOSS_StrStr(text, nullptr));
}

TEST(HostText, NumbersAreWholeDecimalTexts) {
    int32_t value = 0;
    for (const auto& [text, expected] : {std::pair("0", 0),
                                         {"-0", 0},
                                         {"+7", 7},
                                         {"007", 7},
                                         {"2147483647", INT32_MAX},
                                         {"-2147483648", INT32_MIN},
                                         {"00000000000000000000001", 1}}) {
        value = 99;
        EXPECT_EQ(0, MOSS_StrToInt32(text, &value)) << text;
        EXPECT_EQ(expected, value) << text;
    }
    value = 99;
    for (const char* text : {"", " ", "-", "+", "+-1", "-+1", "--1", " 1", "1 ", "1a", "0x1", "1.0", "2147483648",
                             "-2147483649", "99999999999999999999", static_cast<const char*>(nullptr)}) {
        EXPECT_NE(0, MOSS_StrToInt32(text, &value)) << (text != nullptr ? text : "null");
    }
    EXPECT_EQ(99, value);
    EXPECT_NE(0, MOSS_StrToInt32("1", nullptr));
}

TEST(HostText, Addresses) {
    EXPECT_EQ(10, ZOR_Socket_Get_AF_INET6());
    std::array<unsigned char, 17> address;
    address.fill(0xEE);
    EXPECT_EQ(1, MOSS_Inet_Pton(2, "192.0.2.1", address.data()));
    EXPECT_EQ(0, std::memcmp(address.data(), "\xC0\0\2\1\xEE", 5));
    EXPECT_EQ(1, MOSS_Inet_Pton(10, "2001:db8::ff", address.data()));
    EXPECT_EQ(0x20, address[0]);
    EXPECT_EQ(0xFF, address[15]);
    EXPECT_EQ(0xEE, address[16]);
    for (const char* text : {"", "192.0.2", "192.0.2.256", "192.0.2.1 ", "::1", "host"}) {
        EXPECT_EQ(0, MOSS_Inet_Pton(2, text, address.data())) << text;
    }
    for (const int refused : {MOSS_Inet_Pton(10, "192.0.2.1", address.data()), MOSS_Inet_Pton(2, "192.0.2.1", nullptr),
                              MOSS_Inet_Pton(2, nullptr, address.data())}) {
        EXPECT_EQ(0, refused);
    }
    EXPECT_EQ(-1, MOSS_Inet_Pton(1, "192.0.2.1", address.data()));
}

} // namespace

#include "support/host_test.h"
#include "tarn_platform/os_memory.h"
#include "tarn_platform/portability.h"

namespace {

TEST(HostUnicode, EncodesTextsWholeOrNotAtAll) {
    const uint32_t edges[] = {1, 0x7F, 0x80, 0x7FF, 0x800, 0x20AC, 0xD7FF, 0xE000, 0xFFFF, 0x10000, 0x10FFFF, 0};
    char* const text = ZOR_UnicodeToUtf8(edges);
    EXPECT_STREQ(text,
                 "\x01\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xE2\x82\xAC\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF"
                 "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
    OSMemTypeFreeMon(text, 0, 0, __LINE__, "text_test");
    for (const uint32_t none : {0xD800U, 0xDFFFU, 0x110000U, 0x80000041U, UINT32_MAX}) {
        const uint32_t broken[] = {'a', none, 'z', 0};
        EXPECT_EQ(nullptr, ZOR_UnicodeToUtf8(broken)) << std::hex << none;
    }
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
    EXPECT_EQ(nullptr, MOSS_StrStr(text, "three"));
    EXPECT_EQ(nullptr, MOSS_StrStr(nullptr, "x"));
    EXPECT_EQ(nullptr, MOSS_StrStr(text, nullptr));
}

TEST(HostText, NumbersAreWholeDecimalTexts) {
    int32_t value = 0;
    const std::pair<const char*, int32_t> numbers[] = {
        {"-0", 0}, {"+7", 7}, {"2147483647", INT32_MAX}, {"-2147483648", INT32_MIN}, {"00000000000000000000001", 1}};
    for (const auto& [text, expected] : numbers) {
        EXPECT_EQ(0, MOSS_StrToInt32(text, &value)) << text;
        EXPECT_EQ(expected, value) << text;
    }
    for (const char* text : {"", "-", "+", "+-1", "-+1", " 1", "1 ", "0x1", "2147483648", "-2147483649"}) {
        EXPECT_NE(0, MOSS_StrToInt32(text, &value)) << text;
    }
    EXPECT_NE(0, MOSS_StrToInt32(nullptr, &value));
    EXPECT_NE(0, MOSS_StrToInt32("1", nullptr));
    EXPECT_EQ(1, value) << "untouched";
}

TEST(HostText, Addresses) {
    std::array<unsigned char, 16> address = {};
    const auto convert = [&address](int family, const char* text) {
        return MOSS_Inet_Pton(family, text, address.data());
    };
    EXPECT_EQ(1, convert(2, "192.0.2.1"));
    EXPECT_EQ(0, std::memcmp(address.data(), "\xC0\0\2\1", 4));
    EXPECT_EQ(1, convert(ZOR_Socket_Get_AF_INET6(), "2001:db8::ff"));
    EXPECT_EQ(0xFF, address[15]);
    for (const int refused : {convert(2, "192.0.2.256"), convert(2, "::1"), convert(10, "192.0.2.1"),
                              convert(2, nullptr), MOSS_Inet_Pton(2, "192.0.2.1", nullptr)}) {
        EXPECT_EQ(0, refused);
    }
    EXPECT_EQ(-1, convert(1, "192.0.2.1"));
}

} // namespace

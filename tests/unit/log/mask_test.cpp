// The masking functions, called in blocks of their exact size, so that a sanitizer sees any step outside.
#include <array>
#include <cstring>
#include <memory>
#include <thread>

#include "tarn_conference/conf_filter.h"
#include "tarn_platform/os_memory.h"
#include "told.h"

namespace {

using testing::IsEmpty;

std::string maskedBy(ConfFilterFunc filter, const std::string& value) {
    constexpr uint32_t kBytes = CONF_FILTER_MIN_BUFFER;
    const auto buffer = std::make_unique<char[]>(kBytes);
    std::memset(buffer.get(), 'x', kBytes);
    EXPECT_EQ(filter(value.c_str(), buffer.get(), kBytes), 0U);
    const std::string shown = buffer.get();
    EXPECT_EQ(std::string(buffer.get() + shown.size(), kBytes - shown.size()), std::string(kBytes - shown.size(), '\0'))
        << "something is left behind the text";
    return shown;
}

std::string maskedText(const std::string& text, const char* keyword, const char* terminator) {
    const auto block = std::make_unique<char[]>(text.size() + 1);
    std::memcpy(block.get(), text.c_str(), text.size() + 1);
    EXPECT_EQ(ConfFilterNonSecurityWordEx(block.get(), keyword, terminator), 0U);
    return {block.get(), text.size()};
}

std::string replaced(const std::string& text) {
    char* out = nullptr;
    uint32_t length = 0;
    if (ConfReplaceIPAddrStr(text.c_str(), &out, &length) != 0) {
        return "failed";
    }
    EXPECT_EQ(std::strlen(out), length);
    const std::string result(out, length);
    OSMemTypeFreeMon(out, 0, 0, __LINE__, "mask_test");
    return result;
}

using Mask = tarn::test::ScriptedPlatformTest;

TEST_F(Mask, ValuesByTheirLengthAndAddressesByTheirOwnRules) {
    const std::pair<const char*, const char*> values[] = {
        {"abc", "abc"},         {"1234", "12*4"},         {"12345", "123*5"},           {"123456", "1***56"},
        {"1234567", "12***67"}, {"12345678", "12****78"}, {"1234567890", "1234****90"}, {"13812345678", "138******78"},
    };
    for (const auto& [value, shown] : values) {
        EXPECT_EQ(maskedBy(ConfFilterStr, value), shown);
    }
    for (const size_t length : {128U, 129U, 65536U}) {
        EXPECT_EQ(maskedBy(ConfFilterStr, "abc" + std::string(length - 5, 'x') + "yz"), "abc******yz") << length;
    }
    const std::pair<const char*, const char*> addresses[] = {
        {"192.168.1.100", "192.**.**.100"},
        {"fe80::1:2:3:4", "fe80:****:****:3:4"},
        {"1:2:3:4:5:6:7:8", "1:****:****:****:****:****:7:8"},
        {"a::b:c:d", "a:****:c:d"},
        // Whatever does not fit falls back to the rule by length.
        {"::1", "::1"},
        {"fe80::1%eth0", "fe8******h0"},
        {"10.0.0.256", "10.0****56"},
    };
    for (const auto& [address, shown] : addresses) {
        EXPECT_EQ(maskedBy(ConfFilterIPAddrStr, address), shown) << address;
    }
    EXPECT_THAT(platform.logTexts(), IsEmpty());
}

TEST_F(Mask, RefusesNullAndSmallBuffers) {
    std::array<char, 129> buffer;
    buffer.fill('x');
    for (const ConfFilterFunc filter : {ConfFilterStr, ConfFilterIPAddrStr}) {
        EXPECT_EQ(filter("abcd", buffer.data(), 128), 1U);
        EXPECT_EQ(filter(nullptr, buffer.data(), 129), 1U);
        EXPECT_EQ(buffer[0], 'x');
        EXPECT_EQ(ConfFilterCallFilterFn(filter, "abcd", buffer.data(), 128), 1U);
    }
    EXPECT_EQ(ConfFilterCallFilterFn(nullptr, "abcd", buffer.data(), 129), 1U);
    EXPECT_EQ(ConfFilterCallFilterFn(ConfFilterIPAddrStr, "10.1.2.7", buffer.data(), 129), 0U);
    EXPECT_STREQ(buffer.data(), "10.**.**.7");
    EXPECT_THAT(platform.logTexts(), IsEmpty());
}

TEST_F(Mask, ValuesBehindAKeyword) {
    // Text, keyword, terminator, and what is shown.
    const char* const cases[][4] = {
        {"num=1234,num=123456,x", "num=", ",", "num=12*4,num=1***56,x"},
        {"num=123456", "num=", ",", "num=123456"},             // no terminator
        {"a num=", "num=", ",", "a num="},                     // keyword at the very end
        {"num=,num=1234,", "num=", ",", "num=,num=12*4,"},     // empty value
        {"num=1\rnum=5678,", "num=", ",", "num=1\rnum=56*8,"}, // the line ends first
        {"num=1234", "num=", "a terminator longer than the text", "num=1234"},
        {"tel:123456\r\ntel:1234;tel:5678", "tel:", ";", "tel:1***56\r\ntel:12*4;tel:5678"},
        {"tel:\r", "tel:", "a terminator longer than the text", "tel:\r"},
        {"tel:\r1tel:1234\r", "tel:", "ab", "tel:\r1tel:12*4\r"}, // an empty value: as far on as the terminator is long
        {"x-eid=aaaa;bbbbbb;cc\"", "-eid=", "\"", "x-eid=aa*a;b***bb;cc\""},
        {"x-eid=aaaa;bbbbbb;cc\"\r\ndddd;", "-eid=", "\"", "x-eid=aa*a;b***bb;cc\"\r\ndddd;"},
        {"x-eid=aaaa,bb;cccc;dddd\r", "-eid=", ",", "x-eid=aa***bb;cc*c;dddd\r"}, // to the line's last ';'
        {"\r", "", ",", "\r"},                                                    // an empty keyword comes to an end
        {"abcd,efgh,\r", "", ",", "ab*d,ef*h,\r"},
        {"abcd", "", "", "abcd"},
        {"num=1234", "num=", "", "num=1234"},
    };
    for (const auto& [text, keyword, terminator, shown] : cases) {
        EXPECT_EQ(maskedText(text, keyword, terminator), shown) << keyword << " in " << text;
    }
    std::string text = "num=1234,";
    EXPECT_NE(ConfFilterNonSecurityWordEx(nullptr, "num=", ","), 0U);
    ConfFilterNonSecurityWordExImpl(text.data() + 4, text.data() + 2);
    EXPECT_EQ(text, "num=1234,");
    ConfFilterNonSecurityWordExImpl(text.data() + 4, text.data() + 8);
    EXPECT_EQ(text, "num=12*4,");
}

TEST_F(Mask, OwnAddressIsReplaced) {
    EXPECT_EQ(ConfFilterSetIPStr("10.20.30.40"), 0U);
    EXPECT_EQ(replaced("from 10.20.30.40 to 10.20.30.41, 10.20.30.40"), "from 10.**.**.40 to 10.20.30.41, 10.**.**.40");
    EXPECT_EQ(replaced("nothing to do"), "nothing to do");
    EXPECT_EQ(platform.allocations().back().size, std::strlen("nothing to do") + 100);
    EXPECT_EQ(platform.allocations().back().file, "conf_mask_keyword");
    EXPECT_EQ(ConfFilterSetIPStr("fe80::1:2:3:4"), 0U);
    EXPECT_EQ(replaced("[fe80::1:2:3:4]"), "[fe80:****:****:3:4]");

    EXPECT_EQ(ConfFilterSetIPStr(nullptr), 1U);
    EXPECT_EQ(ConfFilterSetIPStr(std::string(45, 'a').c_str()), 1U);
    EXPECT_EQ(replaced("fe80::1:2:3:4"), "fe80:****:****:3:4") << "a refused address replaces none";
    EXPECT_EQ(ConfFilterSetIPStr(std::string(44, 'a').c_str()), 0U);
    EXPECT_EQ(replaced(std::string(44, 'a')), "aaa******aa");
    // Room is made for 99 bytes more; what grows beyond is cut.
    EXPECT_EQ(ConfFilterSetIPStr("1.1.1.1"), 0U);
    std::string text;
    std::string expected;
    for (int i = 0; i < 60; ++i) {
        text += "1.1.1.1 ";
        expected += "1.**.**.1 ";
    }
    EXPECT_EQ(replaced(text), expected.substr(0, text.size() + 98));

    char* out = nullptr;
    uint32_t length = 99;
    EXPECT_EQ(ConfReplaceIPAddrStr("text", nullptr, &length), 1U);
    EXPECT_EQ(ConfReplaceIPAddrStr("", &out, &length), 1U);
    ASSERT_EQ(ConfFilterSetIPStr("::1:2"), 0U); // shorter than any address that is replaced
    EXPECT_EQ(ConfReplaceIPAddrStr("text ::1:2", &out, &length), 1U);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(length, 99U);
}

TEST_F(Mask, AddressMayChangeWhileOthersReplace) {
    ASSERT_EQ(ConfFilterSetIPStr("10.20.30.40"), 0U);
    std::thread setter([] {
        for (int i = 0; i < 200; ++i) {
            ConfFilterSetIPStr(i % 2 == 0 ? "1:2:3:4:5:6:7:8" : "10.20.30.40");
        }
    });
    for (int i = 0; i < 200; ++i) {
        EXPECT_THAT(replaced("10.20.30.40 1:2:3:4:5:6:7:8"),
                    testing::AnyOf("10.**.**.40 1:2:3:4:5:6:7:8", "10.20.30.40 1:****:****:****:****:****:7:8"));
    }
    setter.join();
}

} // namespace

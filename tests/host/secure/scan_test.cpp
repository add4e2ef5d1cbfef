// The bounded scanner: the C library's scanner is the model for all but the sizes.
#include <clocale>

#include "support/host_test.h"
#include "tarn_platform/bounds_checked.h"

namespace {

#pragma GCC diagnostic ignored "-Wformat-nonliteral"

template <size_t Count>
const char* anyOf(std::mt19937& engine, const char* const (&choices)[Count]) {
    return choices[engine() % Count];
}

TEST(SecureScan, AgreesWithTheModelOnRandomFormatsAndTexts) {
    constexpr const char* kNumbers[] = {"%d", "%3d", "%i", "%x", "%o", "%u", "%*d%d", "%*2s%d", " %d", "%*[0-4]%i"};
    constexpr const char* kTexts[] = {"%s",     "%2s",     "%c",    "%3c",    "%[a-c]", "%[^,]", "%2[]a,]",
                                      "%[^]0]", "%[0-9-]", "%*s%s", " %[-x]", "%*c%c",  " %c",   "%[a]"};
    constexpr const char* kGlue[] = {"", "", " ", ",", "a", "%%", " , ", "%*c", "x%*d"};
    std::mt19937 engine(11);
    int complete = 0;
    for (int round = 0; round < 60000; ++round) {
        std::string text(engine() % 20, ' ');
        for (char& c : text) {
            c = "0123 9, ax-%b2 ]"[engine() % 16];
        }
        const std::string format = std::string(anyOf(engine, kGlue)) + anyOf(engine, kNumbers) + anyOf(engine, kGlue) +
                                   anyOf(engine, kTexts) + anyOf(engine, kGlue) + anyOf(engine, kNumbers) + "%n";
        struct Values {
            int first = -7;
            char text[32] = {};
            int second = -7;
            int read = -7;
        } expected, actual;
        const int wanted =
            std::sscanf(text.c_str(), format.c_str(), &expected.first, expected.text, &expected.second, &expected.read);
        const int stored = sscanf_s(text.c_str(), format.c_str(), &actual.first, actual.text, sizeof actual.text,
                                    &actual.second, &actual.read);
        ASSERT_EQ(wanted, stored) << "'" << text << "' '" << format << "'";
        ASSERT_EQ(0, std::memcmp(&expected, &actual, sizeof expected)) << "'" << text << "' '" << format << "'";
        complete += wanted == 3 ? 1 : 0;
    }
    EXPECT_GT(complete, 200);
}

// One conversion of each kind and length, with the very bytes that the model stores.
TEST(SecureScan, StoresEachTypeAsTheModelDoes) {
    std::vector<std::string> formats = {"%f", "%4e", "%lg", "%la", "%LF", "%A", "%lE", "%LG", "%p"};
    for (const std::string length : {"hh", "h", "", "l", "ll", "q", "j", "z", "t", "L"}) {
        for (const char conversion : std::string("diouxXn")) {
            formats.push_back("%" + length + conversion);
        }
    }
    for (const char* text :
         {"-1", "300", "0x1F", "017", "1.5e3", "inf", "99999999999999999999", "", " ", "z", "- 1", "0x"}) {
        for (const std::string& format : formats) {
            alignas(16) std::array<unsigned char, 16> expected;
            expected.fill(0xA5);
            alignas(16) std::array<unsigned char, 16> actual = expected;
            const int wanted = std::sscanf(text, format.c_str(), expected.data());
            EXPECT_EQ(wanted, sscanf_s(text, format.c_str(), actual.data())) << format << " of " << text;
            // The last six bytes of a long double are filling.
            const size_t bytes = format.find('L') == std::string::npos ? expected.size() : 10;
            EXPECT_EQ(0, std::memcmp(expected.data(), actual.data(), bytes)) << format << " of " << text;
        }
    }
}

TEST(SecureScan, TextThatDoesNotFitIsAMismatch) {
    char text[8];
    int number = 0;
    const auto scan = [&](const char* format, rsize_t size) {
        std::memcpy(text, "xxxxxxx", sizeof text);
        return sscanf_s("7 abcd 8", format, &number, text, size, &number);
    };
    for (const char* format : {"%d %s %d", "%d %[a-d] %d", "%d %4s %d"}) {
        EXPECT_EQ(3, scan(format, 5)) << format;
        EXPECT_STREQ("abcd", text);
        EXPECT_EQ('x', text[5]);
        EXPECT_EQ(1, scan(format, 4)) << format;
        EXPECT_STREQ("", text);
        EXPECT_STREQ("xxxxxx", text + 1);
        EXPECT_EQ(1, scan(format, 0)) << format;
        EXPECT_STREQ("xxxxxxx", text);
    }
    EXPECT_EQ(3, scan("%d %4c %d", 4)) << "characters take no NUL";
    EXPECT_STREQ("abcdxxx", text);
    EXPECT_EQ(1, scan("%d %4c %d", 3));
    EXPECT_STREQ("xxxxxxx", text);
    EXPECT_EQ(2, scan("%d %3s %d", 4)) << "the width holds it back";
    EXPECT_STREQ("abc", text);
}

TEST(SecureScan, WideTextsCountCharacters) {
    ASSERT_NE(nullptr, std::setlocale(LC_ALL, "C.UTF-8"));
    for (const char* format : {"%ls %d", "%S %d", "%l[^ ] %d", "%2ls %d"}) {
        wchar_t text[4] = L"xxx";
        int number = 0;
        EXPECT_EQ(2, sscanf_s("\xC3\xA4\xE2\x82\xAC 5", format, text, rsize_t{3}, &number)) << format;
        EXPECT_EQ(std::wstring(L"\u00E4\u20AC"), text);
        EXPECT_EQ(5, number);
        EXPECT_EQ(0, sscanf_s("\xC3\xA4\xE2\x82\xAC 5", format, text, rsize_t{2}, &number)) << format;
        EXPECT_EQ(L'\0', text[0]);
    }
    wchar_t pair[3] = L"xx";
    EXPECT_EQ(1, sscanf_s("\xC3\xA4z", "%2lc", pair, rsize_t{2}));
    EXPECT_EQ(std::wstring(L"\u00E4z"), pair);
    EXPECT_EQ(0, sscanf_s("\xC3\xA4z", "%2lc", pair, rsize_t{1}));
    std::setlocale(LC_ALL, "C");
}

TEST(SecureScan, BrokenConstraintsAndFormats) {
    int number = 5;
    char text[8];
    for (const int refused : {sscanf_s(nullptr, "%d", &number), sscanf_s("1", nullptr, &number),
                              sscanf_s("1 2", "%d %d", &number, nullptr), sscanf_s("a", "%s", nullptr, sizeof text),
                              sscanf_s("a", "%c", text, rsize_t{SIZE_MAX}), sscanf_s("a", "%n", nullptr)}) {
        EXPECT_EQ(-1, refused);
    }
    number = 5;
    for (const char* format : {"%", "%l", "%*", "%[", "%[^", "%[]", "%[abc", "%y", "%1$d", "%ms"}) {
        EXPECT_EQ(0, sscanf_s("1 2", format, &number)) << format;
    }
    EXPECT_EQ(5, number);
    EXPECT_EQ(0, sscanf_s("1", ""));
    EXPECT_EQ(1, sscanf_s("42 ", "%d%*n", &number)) << "a suppressed position takes no argument";
}

} // namespace

// The bounded scanner and tokens. The C library's scanner is the model for the types; the sizes are the platform's own.
#include <clocale>

#include "support/host_test.h"
#include "tarn_platform/bounds_checked.h"

namespace {

#pragma GCC diagnostic ignored "-Wformat-nonliteral"

// One conversion of each kind and length, with the very bytes that the model stores.
TEST(SecureScan, StoresEachTypeAsTheModelDoes) {
    std::vector<std::string> formats = {"%f", "%4e", "%lg", "%la", "%LF", "%A", "%lE", "%LG", "%p"};
    for (const std::string length : {"hh", "h", "", "l", "ll", "q", "j", "z", "t", "L"}) {
        for (const char conversion : std::string("diouxXn")) {
            formats.push_back("%" + length + conversion);
        }
    }
    for (const char* text : {"-1", "300", "0x1F", "1.5e3", "99999999999999999999", "", "z"}) {
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
        EXPECT_EQ(0, std::memcmp(text, "abcd\0xx", sizeof text));
        EXPECT_EQ(1, scan(format, 4)) << format;
        EXPECT_EQ(0, std::memcmp(text, "\0xxxxxx", sizeof text));
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
    for (const char* format : {"%ls %d", "%S %d", "%l[^ ] %d"}) {
        wchar_t text[4] = L"xxx";
        int number = 0;
        EXPECT_EQ(2, sscanf_s("\xC3\xA4\xE2\x82\xAC 5", format, text, rsize_t{3}, &number)) << format;
        EXPECT_EQ(std::wstring(L"\u00E4\u20AC"), text);
        EXPECT_EQ(5, number);
        EXPECT_EQ(0, sscanf_s("\xC3\xA4\xE2\x82\xAC 5", format, text, rsize_t{2}, &number)) << format;
        EXPECT_EQ(L'\0', text[0]);
    }
    std::setlocale(LC_ALL, "C");
}

TEST(SecureScan, SetsLiteralsAndSuppressedItems) {
    char inside[8];
    char outside[8];
    int number = 0;
    int read = 0;
    EXPECT_EQ(3, sscanf_s("a-]x,y 12%z", "%[]a-]%*1[^,],%[^ 0-9]%*[ ]%d%%z%n", inside, rsize_t{8}, outside, rsize_t{8},
                          &number, &read));
    EXPECT_STREQ("a-]", inside);
    EXPECT_STREQ("y", outside);
    EXPECT_EQ(12, number);
    EXPECT_EQ(11, read);
    EXPECT_EQ(1, sscanf_s("5;", "%d,%n", &number, &read)) << "a literal that is not there";
    EXPECT_EQ(1, sscanf_s("42 ", "%d%*n", &number)) << "a suppressed position takes no argument";
    EXPECT_EQ(EOF, sscanf_s(" ", "%d", &number));
    EXPECT_EQ(0, sscanf_s("1", ""));
}

TEST(SecureScan, BrokenConstraintsAndFormats) {
    int number = 0;
    char text[8];
    for (const int refused : {sscanf_s(nullptr, "%d", &number), sscanf_s("1", nullptr, &number),
                              sscanf_s("1 2", "%d %d", &number, nullptr), sscanf_s("a", "%s", nullptr, sizeof text),
                              sscanf_s("a", "%c", text, rsize_t{SIZE_MAX}), sscanf_s("a", "%n", nullptr)}) {
        EXPECT_EQ(-1, refused);
    }
    for (const char* format : {"%", "%l", "%*", "%[", "%[^", "%[]", "%[abc", "%y", "%1$d", "%ms"}) {
        EXPECT_EQ(0, sscanf_s("7 8", format, &number)) << format;
    }
    EXPECT_EQ(1, number);
}

TEST(SecureTokens, DelimitersMayChangeAndTheLengthLeftReachesTheEnd) {
    char text[] = ",;a,,b;c";
    char* place = nullptr;
    rsize_t left = sizeof text;
    EXPECT_STREQ("a", strtok_s(text, &left, ",;", &place));
    EXPECT_EQ(text + sizeof text, place + left);
    EXPECT_STREQ("b;c", strtok_s(nullptr, &left, ",", &place));
    EXPECT_EQ(nullptr, strtok_s(nullptr, &left, ";", &place));
    EXPECT_EQ(nullptr, strtok_s(nullptr, &left, ";", &place));
}

// On the heap, so that a sanitizer sees a look behind the bound.
TEST(SecureTokens, NeverLookBehindTheLength) {
    char* place = nullptr;
    std::vector<char> text = {'a', ',', 'b', 'c'};
    rsize_t left = text.size();
    EXPECT_STREQ("a", strtok_s(text.data(), &left, ",", &place));
    EXPECT_EQ(nullptr, strtok_s(nullptr, &left, ",", &place)) << "the second token has no end";
    EXPECT_EQ('c', text[3]);
    std::vector<char> delimitersOnly(3, ',');
    for (const rsize_t length : {delimitersOnly.size(), size_t{0}}) {
        left = length;
        EXPECT_EQ(nullptr, strtok_s(delimitersOnly.data(), &left, ",", &place));
    }
}

TEST(SecureTokens, BrokenConstraintsFindNothingNowAndLater) {
    char text[] = "a,b";
    rsize_t length = sizeof text;
    rsize_t tooLarge = SIZE_MAX;
    char* context = text;
    for (const char* token : {strtok_s(text, nullptr, ",", &context), strtok_s(nullptr, &length, ",", &context),
                              strtok_s(text, &length, nullptr, &context), strtok_s(text, &length, ",", nullptr),
                              strtok_s(text, &tooLarge, ",", &context)}) {
        EXPECT_EQ(nullptr, token);
    }
    EXPECT_STREQ("a,b", text);
}

} // namespace

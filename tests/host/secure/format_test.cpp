// The bounded formatters: the C library is the model for what fits; all else is -1 and an empty text.
#include <clocale>
#include <cstdarg>

#include "support/host_test.h"
#include "tarn_platform/bounds_checked.h"

namespace {

// Formats that the compiler would question, handed over at run time.
__attribute__((noinline)) int formatted(char* destination, rsize_t bound, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf_s(destination, bound, format, arguments);
    va_end(arguments);
    return length;
}

TEST(SecureFormat, FitsExactlyOrLeavesAnEmptyText) {
    for (rsize_t bound = 1; bound <= 12; ++bound) {
        char text[13];
        std::memset(text, 'x', sizeof text);
        const int length = sprintf_s(text, bound, "%s-%05d", "abc", 42);
        EXPECT_EQ(bound > 9 ? 9 : -1, length);
        EXPECT_STREQ(bound > 9 ? "abc-00042" : "", text);
        EXPECT_EQ('x', text[bound]) << "written behind the bound";
    }
}

TEST(SecureFormat, RefusesWhatItCannotWriteOrFollow) {
    char text[16] = "old";
    EXPECT_EQ(-1, formatted(nullptr, sizeof text, "x"));
    EXPECT_EQ(-1, formatted(text, 0, "x"));
    EXPECT_EQ(-1, formatted(text, SIZE_MAX, "x"));
    EXPECT_STREQ("old", text);

    long long counted = 77;
    const char* const refused[] = {nullptr, "%n", "%hhn", "%5lln", "a%-*n", "%1$s", "%y", "%", "%l", "%5.", "%s%n"};
    for (const char* format : refused) {
        std::strcpy(text, "old");
        EXPECT_EQ(-1, formatted(text, sizeof text, format, &counted, &counted))
            << (format != nullptr ? format : "null");
        EXPECT_STREQ("", text);
    }
    EXPECT_EQ(77, counted);
    EXPECT_EQ(5, formatted(text, sizeof text, "100%%n"));
    EXPECT_STREQ("100%n", text);
}

// A null text is found behind arguments of every size and register class, and a good one is not mistaken for it.
TEST(SecureFormat, FindsANullTextAmongOtherArguments) {
    ASSERT_NE(nullptr, std::setlocale(LC_ALL, "C.UTF-8"));
    const char* const format =
        "%c %hhd %hd %d %ld %lld %qu %jd %zu %td %Lf %.2f %p %*d %-*.*e %lc %ls %5.3s %#lx %+i %o %m %s";
    char expected[512];
    char actual[512];
    const auto write = [format](auto call, char* destination, const char* last) {
        errno = ENOENT; // for %m
        return call(destination, size_t{512}, format, 'c', 1, 2, 3, 4L, -5LL, 6ULL, intmax_t{-7}, sizeof(int),
                    ptrdiff_t{-9}, 1.5L, 2.5, static_cast<const void*>(format), 4, 10, 9, 3, 0.125, wint_t{0xE4},
                    L"w\xE9", "cut here", 255UL, 11, 12U, last);
    };
    const int length = write(std::snprintf, expected, "end");
    EXPECT_GT(length, 0);
    EXPECT_EQ(length, write(formatted, actual, "end"));
    EXPECT_STREQ(expected, actual);
    EXPECT_EQ(-1, write(formatted, actual, nullptr));
    EXPECT_STREQ("", actual);
    EXPECT_EQ(-1, formatted(actual, sizeof actual, "%d %ls", 1, nullptr));
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(-1, formatted(actual, sizeof actual, "%ls", L"\x20AC")) << "no such character in this locale";
    EXPECT_STREQ("", actual);
}

} // namespace

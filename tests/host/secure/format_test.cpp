// The bounded formatters: what does not fit is -1 and an empty text.
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
    const char* const refused[] = {nullptr, "%n", "%5lln", "a%-*n", "%1$s", "%y", "%", "%l", "%s%n"};
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
    char text[64];
    const auto write = [&text](const char* last) {
        return formatted(text, sizeof text, "%c %hd %ld %zu %Lf %.2f %*d %.*s %s", 'c', 2, 4L, sizeof(int), 1.5L, 2.5,
                         4, 10, 2, "cut", last);
    };
    EXPECT_GT(write("end"), 0);
    EXPECT_STREQ("c 2 4 4 1.500000 2.50   10 cu end", text);
    EXPECT_EQ(-1, write(nullptr));
    EXPECT_STREQ("", text);
}

} // namespace

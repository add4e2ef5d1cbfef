// The bounded copies and formatters: exact fits, bounds that are too small, overlaps, and constraints that cannot be
// true. A formatted text that does not fit is -1 and an empty text.
#include <cstdarg>

#include "support/host_test.h"
#include "tarn_platform/bounds_checked.h"

namespace {

constexpr rsize_t kTooLarge = SIZE_MAX;

// How many bytes at the start a refused call has zeroed in an area of 'x', and -1 for a call that was not refused.
template <typename To, typename... Rest>
long zeroedBy(errno_t (*call)(To*, Rest...), std::type_identity_t<Rest>... rest) {
    std::string area(24, 'x');
    if (call(area.data(), rest...) == 0) {
        return -1;
    }
    const size_t zeros = std::min(area.find_first_not_of('\0'), area.size());
    EXPECT_EQ(area.substr(zeros), std::string(area.size() - zeros, 'x'));
    return static_cast<long>(zeros);
}

TEST(SecureCopies, ExactFitsAreTaken) {
    char bytes[] = "xxxxxx";
    EXPECT_EQ(0, memcpy_s(bytes, 4, "abcd", 4));
    EXPECT_STREQ("abcdxx", bytes);
    EXPECT_EQ(0, memset_s(bytes, 4, 'm', 3));
    EXPECT_STREQ("mmmdxx", bytes);
    EXPECT_EQ(0, strcpy_s(bytes, 4, "abc"));
    EXPECT_EQ(0, std::memcmp(bytes, "abc\0xx", 7));
    EXPECT_EQ(0, strncpy_s(bytes, 4, "defgh", 3));
    EXPECT_EQ(0, std::memcmp(bytes, "def\0xx", 7));
    EXPECT_EQ(0, strcat_s(bytes, 6, "gh"));
    EXPECT_EQ(0, std::memcmp(bytes, "defgh\0", 7));
}

// A bound that cannot be true is not written to.
TEST(SecureCopies, BrokenConstraintsLeaveZerosOrNothing) {
    for (const auto call : {memcpy_s, memmove_s}) {
        EXPECT_NE(0, call(nullptr, 4, "abcd", 4));
        EXPECT_EQ(4, zeroedBy(call, 4, nullptr, 4));
        EXPECT_EQ(4, zeroedBy(call, 4, "abcde", 5));
        EXPECT_EQ(4, zeroedBy(call, 4, "abcd", kTooLarge));
        EXPECT_EQ(0, zeroedBy(call, kTooLarge, "abcd", 4));
        EXPECT_EQ(0, zeroedBy(call, 0, "abcd", 1));
        EXPECT_EQ(-1, zeroedBy(call, 0, "abcd", 0));
    }
    EXPECT_EQ(0, zeroedBy(memset_s, kTooLarge, 0, 4));
    EXPECT_EQ(4, zeroedBy(memset_s, 4, 0, 5)) << "what there is is still cleared";
    for (const auto call : {strcpy_s, strcat_s}) {
        EXPECT_NE(0, call(nullptr, 4, "x"));
        EXPECT_EQ(0, zeroedBy(call, 0, ""));
        EXPECT_EQ(0, zeroedBy(call, kTooLarge, ""));
        EXPECT_EQ(1, zeroedBy(call, 4, nullptr));
    }
    EXPECT_EQ(1, zeroedBy(strcpy_s, 4, "abcd"));
    EXPECT_EQ(0, zeroedBy(strncpy_s, kTooLarge, "", 1));
    EXPECT_EQ(1, zeroedBy(strncpy_s, 4, "abcd", 4));
    EXPECT_EQ(1, zeroedBy(strncpy_s, 4, "x", kTooLarge));
    EXPECT_EQ(1, zeroedBy(strcat_s, 3, "")) << "no NUL within the bound";
    char text[8] = "abc";
    EXPECT_NE(0, strcat_s(text, 6, "def"));
    EXPECT_STREQ("", text);
}

TEST(SecureCopies, OverlapsAreMovedOrRefused) {
    char text[] = "abcdefgh";
    EXPECT_EQ(0, memmove_s(text + 1, 7, text, 7));
    EXPECT_STREQ("aabcdefg", text);
    EXPECT_NE(0, memcpy_s(text + 1, 4, text, 4));
    EXPECT_EQ(0, std::memcmp(text, "a\0\0\0\0efg", 9));
    EXPECT_EQ(0, memcpy_s(text, 4, text + 4, 4)) << "side by side";
    for (const ptrdiff_t distance : {1, 4}) { // The last byte that is read and the first that is written are one.
        std::memcpy(text, "abcd\0xxx", sizeof text);
        EXPECT_NE(0, strcpy_s(text + distance, 5, text)) << distance;
        EXPECT_EQ('\0', text[distance]);
    }
    std::memcpy(text, "ab\0xxxxx", sizeof text);
    EXPECT_NE(0, strcat_s(text, 8, text)) << "the source would lose its end";
    EXPECT_STREQ("", text);
    std::memcpy(text, "xxxabcde", sizeof text);
    EXPECT_NE(0, strncpy_s(text, 8, text + 3, 3));
    EXPECT_EQ('\0', text[0]);
}

// On the heap, so that a sanitizer sees a look behind the bound.
TEST(SecureCopies, AnUnterminatedSourceIsReadNoFurtherThanItFits) {
    const std::vector<char> unterminated(5, 'u');
    char text[8] = "";
    EXPECT_EQ(0, strncpy_s(text, sizeof text, unterminated.data(), 5));
    EXPECT_STREQ("uuuuu", text);
    EXPECT_NE(0, strcpy_s(text, 5, unterminated.data()));
}

TEST(SecureCopies, TakeTheLargestPayload) {
    const std::string payload((size_t{64} << 20) + 24, 'p');
    std::string copy(payload.size(), ' ');
    EXPECT_EQ(0, memcpy_s(copy.data(), copy.size(), payload.data(), payload.size()));
    EXPECT_TRUE(copy == payload);
    EXPECT_EQ(static_cast<int>(payload.size()), sprintf_s(copy.data(), payload.size() + 1, "%s", payload.c_str()));
}

// Formats that the compiler would question, handed over at run time.
__attribute__((noinline)) int formatted(char* destination, rsize_t bound, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf_s(destination, bound, format, arguments);
    va_end(arguments);
    return length;
}

TEST(SecureFormat, RefusesWhatDoesNotFitOrCannotBeFollowed) {
    char text[16] = "old";
    for (const int refused :
         {formatted(nullptr, sizeof text, "x"), formatted(text, 0, "x"), formatted(text, kTooLarge, "x")}) {
        EXPECT_EQ(-1, refused);
    }
    EXPECT_STREQ("old", text);
    for (const rsize_t bound : {1U, 9U, 10U}) {
        std::memset(text, 'x', sizeof text);
        EXPECT_EQ(bound > 9 ? 9 : -1, sprintf_s(text, bound, "%s-%05d", "abc", 42));
        EXPECT_STREQ(bound > 9 ? "abc-00042" : "", text);
        EXPECT_EQ('x', text[bound]) << "written behind the bound";
    }

    long long counted = 77;
    const char* const refused[] = {nullptr, "%n", "%5lln", "a%-*n", "%1$s", "%y", "%", "%l", "%s%n"};
    for (const char* format : refused) {
        std::strcpy(text, "old");
        EXPECT_EQ(-1, formatted(text, sizeof text, format, &counted, &counted)) << format;
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

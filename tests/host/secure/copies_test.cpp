// The bounded copies: exact fits, bounds that are too small, overlaps, and constraints that cannot be true.
#include "support/host_test.h"
#include "tarn_platform/bounds_checked.h"

namespace {

constexpr rsize_t kTooLarge = SIZE_MAX;
using Arena = std::array<char, 24>;

// How many bytes at the start a refused call has zeroed in an area of 'x', and -1 for a call that was not refused.
template <typename Call>
int zeroedBy(Call call) {
    Arena arena;
    arena.fill('x');
    if (call(arena.data()) == 0) {
        return -1;
    }
    const auto rest = std::find(arena.begin(), arena.end(), 'x');
    EXPECT_EQ(std::count(rest, arena.end(), 'x'), arena.end() - rest);
    EXPECT_EQ(std::count(arena.begin(), rest, '\0'), rest - arena.begin());
    return static_cast<int>(rest - arena.begin());
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

TEST(SecureCopies, BrokenConstraintsLeaveZerosOrNothing) {
    // A bound that cannot be true is not written to.
    for (const auto call : {memcpy_s, memmove_s}) {
        const auto zeroed = [call](rsize_t bound, const char* source, rsize_t count) {
            return zeroedBy([=](char* to) { return call(to, bound, source, count); });
        };
        EXPECT_NE(0, call(nullptr, 4, "abcd", 4));
        EXPECT_EQ(4, zeroed(4, nullptr, 4));
        EXPECT_EQ(4, zeroed(4, "abcde", 5));
        EXPECT_EQ(4, zeroed(4, "abcd", kTooLarge));
        EXPECT_EQ(0, zeroed(kTooLarge, "abcd", 4));
        EXPECT_EQ(0, zeroed(0, "abcd", 1));
        EXPECT_EQ(-1, zeroed(0, "abcd", 0));
    }
    EXPECT_EQ(0, zeroedBy([](char* to) { return memset_s(to, kTooLarge, 0, 4); }));
    EXPECT_EQ(4, zeroedBy([](char* to) { return memset_s(to, 4, 0, 5); })) << "what there is is still cleared";
    for (const auto call : {strcpy_s, strcat_s}) {
        EXPECT_NE(0, call(nullptr, 4, "x"));
        EXPECT_EQ(0, zeroedBy([=](char* to) { return call(to, 0, ""); }));
        EXPECT_EQ(0, zeroedBy([=](char* to) { return call(to, kTooLarge, ""); }));
        EXPECT_EQ(1, zeroedBy([=](char* to) { return call(to, 4, nullptr); }));
    }
    EXPECT_EQ(1, zeroedBy([](char* to) { return strcpy_s(to, 4, "abcd"); }));
    EXPECT_EQ(0, zeroedBy([](char* to) { return strncpy_s(to, kTooLarge, "", 1); }));
    EXPECT_EQ(1, zeroedBy([](char* to) { return strncpy_s(to, 4, "abcd", 4); }));
    EXPECT_EQ(1, zeroedBy([](char* to) { return strncpy_s(to, 4, "x", kTooLarge); }));
    EXPECT_EQ(1, zeroedBy([](char* to) { return strcat_s(to, 3, ""); })) << "no NUL within the bound";
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
    EXPECT_EQ(0, strncpy_s(text, sizeof text, unterminated.data(), unterminated.size()));
    EXPECT_STREQ("uuuuu", text);
    EXPECT_NE(0, strcpy_s(text, unterminated.size(), unterminated.data()));
    EXPECT_STREQ("", text);
}

TEST(SecureCopies, TakeTheLargestPayload) {
    const std::string payload((size_t{64} << 20) + 24, 'p');
    std::string copy(payload.size(), ' ');
    EXPECT_EQ(0, memcpy_s(copy.data(), copy.size(), payload.data(), payload.size()));
    EXPECT_EQ(static_cast<int>(payload.size()), sprintf_s(copy.data(), payload.size() + 1, "%s", payload.c_str()));
    EXPECT_TRUE(copy == payload);
}

} // namespace

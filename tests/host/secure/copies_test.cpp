// The bounded copies against byte-by-byte models: destination and source lie anywhere in one small arena, so that
// overlaps, exact fits and bounds that are too small all come up.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "tarn_platform/bounds_checked.h"

namespace {

constexpr size_t kArenaBytes = 24;
constexpr rsize_t kTooLarge = SIZE_MAX;
using Arena = std::array<char, kArenaBytes>;

struct Areas {
    size_t destination;
    size_t bound;
    size_t source;
    size_t count;
};

class Picker {
 public:
    size_t upTo(size_t largest) { return std::uniform_int_distribution<size_t>(0, largest)(engine_); }

    // Few letters and many NULs; the last byte ends every text and lies behind every destination.
    Arena arena() {
        Arena arena;
        std::generate(arena.begin(), arena.end(), [this] { return "\0\0abcdefg"[upTo(8)]; });
        arena.back() = '\0';
        return arena;
    }

    Areas areas() {
        Areas areas = {upTo(kArenaBytes - 2), 0, upTo(kArenaBytes - 1), 0};
        areas.bound = upTo(kArenaBytes - 1 - areas.destination);
        areas.count = upTo(kArenaBytes - areas.source);
        return areas;
    }

 private:
    std::mt19937 engine_{20240607};
};

bool share(size_t left, size_t leftBytes, size_t right, size_t rightBytes) {
    for (size_t i = left; i < left + leftBytes; ++i) {
        if (i >= right && i < right + rightBytes) {
            return true;
        }
    }
    return false;
}

// What a copy of bytes makes of the arena; true for success.
bool modelBytes(Arena& arena, const Areas& a, bool mayOverlap) {
    if (a.count > a.bound || (!mayOverlap && share(a.destination, a.count, a.source, a.count))) {
        std::fill_n(arena.begin() + static_cast<ptrdiff_t>(a.destination), a.bound, '\0');
        return false;
    }
    const Arena before = arena;
    std::copy_n(before.begin() + static_cast<ptrdiff_t>(a.source), a.count,
                arena.begin() + static_cast<ptrdiff_t>(a.destination));
    return true;
}

// What a copy of a text makes of the arena, `append` telling where it starts.
bool modelText(Arena& arena, const Areas& a, size_t limit, bool append) {
    size_t used = 0;
    while (append && used < a.bound && arena[a.destination + used] != '\0') {
        ++used;
    }
    size_t length = 0;
    while (length < limit && arena[a.source + length] != '\0') {
        ++length;
    }
    const size_t readBytes = length < limit ? length + 1 : length;
    if (a.bound == 0) {
        return false;
    }
    if (used + length + 1 > a.bound || share(a.destination + used, length + 1, a.source, readBytes)) {
        arena[a.destination] = '\0';
        return false;
    }
    std::copy_n(arena.data() + a.source, length, arena.data() + a.destination + used);
    arena[a.destination + used + length] = '\0';
    return true;
}

TEST(SecureCopies, AgreeWithTheirModelsWhereverTheAreasLie) {
    Picker pick;
    std::array<int, 10> outcomes = {};
    for (int round = 0; round < 30000; ++round) {
        const Arena start = pick.arena();
        const Areas a = pick.areas();
        const size_t call = static_cast<size_t>(round) % 5;
        Arena expected = start;
        Arena actual = start;
        char* const to = actual.data() + a.destination;
        const char* const from = actual.data() + a.source;
        bool wanted = false;
        errno_t code = 0;
        switch (call) {
            case 0:
                wanted = modelBytes(expected, a, false);
                code = memcpy_s(to, a.bound, from, a.count);
                break;
            case 1:
                wanted = modelBytes(expected, a, true);
                code = memmove_s(to, a.bound, from, a.count);
                break;
            case 2:
                wanted = modelText(expected, a, kArenaBytes, false);
                code = strcpy_s(to, a.bound, from);
                break;
            case 3:
                wanted = modelText(expected, a, a.count, false);
                code = strncpy_s(to, a.bound, from, a.count);
                break;
            default:
                wanted = modelText(expected, a, kArenaBytes, true);
                code = strcat_s(to, a.bound, from);
                break;
        }
        ASSERT_EQ(wanted, code == 0) << "call " << call << " round " << round;
        ASSERT_EQ(expected, actual) << "call " << call << " round " << round;
        ++outcomes[call * 2 + (wanted ? 1 : 0)];
    }
    EXPECT_GT(*std::min_element(outcomes.begin(), outcomes.end()), 200);
}

TEST(SecureCopies, BrokenMemoryConstraintsAreAnsweredByZeros) {
    Arena arena;
    const auto zeroed = [&arena](size_t bytes) {
        const bool zero =
            std::all_of(arena.begin(), arena.begin() + static_cast<ptrdiff_t>(bytes), [](char c) { return c == '\0'; });
        return zero && arena[bytes] == 'x';
    };
    const auto fresh = [&arena] {
        arena.fill('x');
        return arena.data();
    };
    for (const auto call : {memcpy_s, memmove_s}) {
        EXPECT_NE(0, call(nullptr, 4, "abcd", 4));
        EXPECT_NE(0, call(fresh(), 4, nullptr, 4));
        EXPECT_TRUE(zeroed(4));
        EXPECT_NE(0, call(fresh(), 4, "abcde", 5));
        EXPECT_TRUE(zeroed(4));
        EXPECT_NE(0, call(fresh(), 4, "abcd", kTooLarge));
        EXPECT_TRUE(zeroed(4));
        EXPECT_NE(0, call(fresh(), kTooLarge, "abcd", 4));
        EXPECT_TRUE(zeroed(0)) << "a bound that cannot be true must not be written";
        EXPECT_NE(0, call(fresh(), 0, "abcd", 1));
        EXPECT_TRUE(zeroed(0));
        EXPECT_EQ(0, call(fresh(), 0, "abcd", 0));
        EXPECT_TRUE(zeroed(0));
    }
    EXPECT_NE(0, memset_s(nullptr, 4, 0, 4));
    EXPECT_NE(0, memset_s(fresh(), kTooLarge, 0, 4));
    EXPECT_TRUE(zeroed(0));
    EXPECT_NE(0, memset_s(fresh(), 4, 0, 5));
    EXPECT_TRUE(zeroed(4)) << "a refused clearing still clears what there is";
    EXPECT_EQ(0, memset_s(fresh(), 4, 0, 3));
    EXPECT_TRUE(zeroed(3));
}

TEST(SecureCopies, BrokenTextConstraintsAreAnsweredByAnEmptyText) {
    char text[4] = "abc";
    const auto emptied = [&text] {
        const bool empty = text[0] == '\0' && text[1] == 'b';
        std::memcpy(text, "abc", 4);
        return empty;
    };
    for (const auto call : {strcpy_s, strcat_s}) {
        EXPECT_NE(0, call(nullptr, 4, "x"));
        EXPECT_NE(0, call(text, 0, ""));
        EXPECT_NE(0, call(text, kTooLarge, ""));
        EXPECT_STREQ("abc", text);
        EXPECT_NE(0, call(text, 4, nullptr));
        EXPECT_TRUE(emptied());
    }
    EXPECT_NE(0, strncpy_s(nullptr, 4, "x", 1));
    EXPECT_NE(0, strncpy_s(text, 0, "", 1));
    EXPECT_NE(0, strncpy_s(text, kTooLarge, "", 1));
    EXPECT_STREQ("abc", text);
    EXPECT_NE(0, strncpy_s(text, 4, nullptr, 1));
    EXPECT_TRUE(emptied());
    EXPECT_NE(0, strncpy_s(text, 4, "x", kTooLarge));
    EXPECT_TRUE(emptied());
    EXPECT_NE(0, strcat_s(text, 3, "")) << "no NUL within the bound";
    EXPECT_TRUE(emptied());
}

// An unterminated source is read no further than the destination could hold.
TEST(SecureCopies, SourceIsReadNoFurtherThanNeeded) {
    const std::vector<char> unterminated(5, 'u');
    char text[8] = "";
    EXPECT_EQ(0, strncpy_s(text, sizeof text, unterminated.data(), unterminated.size()));
    EXPECT_STREQ("uuuuu", text);
    EXPECT_NE(0, strcpy_s(text, unterminated.size(), unterminated.data()));
    EXPECT_STREQ("", text);
}

TEST(SecureCopies, TakeTheLargestPayloadAndLongTexts) {
    const size_t bytes = (size_t{64} << 20) + 24;
    const std::vector<char> payload(bytes, 'p');
    std::vector<char> copy(bytes);
    EXPECT_EQ(0, memcpy_s(copy.data(), bytes, payload.data(), bytes));
    EXPECT_TRUE(copy == payload);

    const std::string text(size_t{1} << 20, 't');
    EXPECT_EQ(0, strcpy_s(copy.data(), bytes, text.c_str()));
    EXPECT_EQ(0, strcat_s(copy.data(), bytes, text.c_str()));
    EXPECT_EQ(text + text, copy.data());
    EXPECT_EQ(static_cast<int>(text.size()), sprintf_s(copy.data(), bytes, "%s", text.c_str()));
}

} // namespace

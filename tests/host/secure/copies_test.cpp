// The bounded copies against byte-by-byte models: destination and source lie anywhere in one small arena, so that
// overlaps, exact fits and bounds that are too small all come up.
#include "support/host_test.h"
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
    return leftBytes > 0 && rightBytes > 0 && left < right + rightBytes && right < left + leftBytes;
}

// What a copy of bytes makes of the arena; true for success.
bool modelBytes(Arena& arena, const Areas& a, bool mayOverlap) {
    if (a.count > a.bound || (!mayOverlap && share(a.destination, a.count, a.source, a.count))) {
        std::fill_n(arena.data() + a.destination, a.bound, '\0');
        return false;
    }
    const Arena before = arena;
    std::copy_n(before.data() + a.source, a.count, arena.data() + a.destination);
    return true;
}

// What a copy of a text makes of the arena, `append` telling where it starts.
bool modelText(Arena& arena, const Areas& a, size_t limit, bool append) {
    if (a.bound == 0) {
        return false;
    }
    const size_t used = append ? strnlen(arena.data() + a.destination, a.bound) : 0;
    const size_t length = strnlen(arena.data() + a.source, limit);
    const size_t readBytes = length < limit ? length + 1 : length;
    if (used + length + 1 > a.bound || share(a.destination + used, length + 1, a.source, readBytes)) {
        arena[a.destination] = '\0';
        return false;
    }
    std::copy_n(arena.data() + a.source, length, arena.data() + a.destination + used);
    arena[a.destination + used + length] = '\0';
    return true;
}

struct Call {
    bool (*model)(Arena& arena, const Areas& areas);
    errno_t (*copy)(char* to, const char* from, const Areas& areas);
};

constexpr Call kCalls[] = {
    {[](Arena& arena, const Areas& a) { return modelBytes(arena, a, false); },
     [](char* to, const char* from, const Areas& a) { return memcpy_s(to, a.bound, from, a.count); }},
    {[](Arena& arena, const Areas& a) { return modelBytes(arena, a, true); },
     [](char* to, const char* from, const Areas& a) { return memmove_s(to, a.bound, from, a.count); }},
    {[](Arena& arena, const Areas& a) { return modelText(arena, a, kArenaBytes, false); },
     [](char* to, const char* from, const Areas& a) { return strcpy_s(to, a.bound, from); }},
    {[](Arena& arena, const Areas& a) { return modelText(arena, a, a.count, false); },
     [](char* to, const char* from, const Areas& a) { return strncpy_s(to, a.bound, from, a.count); }},
    {[](Arena& arena, const Areas& a) { return modelText(arena, a, kArenaBytes, true); },
     [](char* to, const char* from, const Areas& a) { return strcat_s(to, a.bound, from); }},
};

TEST(SecureCopies, AgreeWithTheirModelsWhereverTheAreasLie) {
    Picker pick;
    for (size_t call = 0; call < std::size(kCalls); ++call) {
        int successes = 0;
        for (int round = 0; round < 6000; ++round) {
            Arena expected = pick.arena();
            Arena actual = expected;
            const Areas a = pick.areas();
            const bool wanted = kCalls[call].model(expected, a);
            const errno_t code = kCalls[call].copy(actual.data() + a.destination, actual.data() + a.source, a);
            ASSERT_EQ(wanted, code == 0) << "call " << call << " round " << round;
            ASSERT_EQ(expected, actual) << "call " << call << " round " << round;
            successes += wanted ? 1 : 0;
        }
        EXPECT_GT(successes, 200) << call;
        EXPECT_LT(successes, 5800) << call;
    }
}

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
    char cleared[] = "xxxx";
    EXPECT_NE(0, memset_s(nullptr, 4, 0, 4));
    EXPECT_EQ(0, memset_s(cleared, 4, 0, 3));
    EXPECT_EQ(0, std::memcmp(cleared, "\0\0\0x", 5));
    EXPECT_EQ(0, zeroedBy([](char* to) { return memset_s(to, kTooLarge, 0, 4); }));
    EXPECT_EQ(4, zeroedBy([](char* to) { return memset_s(to, 4, 0, 5); })) << "what there is is still cleared";
    for (const auto call : {strcpy_s, strcat_s}) {
        EXPECT_NE(0, call(nullptr, 4, "x"));
        EXPECT_EQ(0, zeroedBy([=](char* to) { return call(to, 0, ""); }));
        EXPECT_EQ(0, zeroedBy([=](char* to) { return call(to, kTooLarge, ""); }));
        EXPECT_EQ(1, zeroedBy([=](char* to) { return call(to, 4, nullptr); }));
    }
    EXPECT_NE(0, strncpy_s(nullptr, 4, "x", 1));
    EXPECT_EQ(0, zeroedBy([](char* to) { return strncpy_s(to, 0, "", 1); }));
    EXPECT_EQ(0, zeroedBy([](char* to) { return strncpy_s(to, kTooLarge, "", 1); }));
    EXPECT_EQ(1, zeroedBy([](char* to) { return strncpy_s(to, 4, nullptr, 1); }));
    EXPECT_EQ(1, zeroedBy([](char* to) { return strncpy_s(to, 4, "x", kTooLarge); }));
    EXPECT_EQ(1, zeroedBy([](char* to) { return strcat_s(to, 3, ""); })) << "no NUL within the bound";
    // An unterminated source is read no further than the destination could hold.
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
    EXPECT_TRUE(copy == payload);
    EXPECT_EQ(0, strcpy_s(copy.data(), payload.size() + 1, payload.c_str()));
    EXPECT_EQ(static_cast<int>(payload.size()), sprintf_s(copy.data(), payload.size() + 1, "%s", payload.c_str()));
    EXPECT_TRUE(copy == payload);
}

} // namespace

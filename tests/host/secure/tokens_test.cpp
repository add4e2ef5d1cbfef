#include "support/host_test.h"
#include "tarn_platform/bounds_checked.h"

namespace {

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
    EXPECT_EQ(nullptr, strtok_s(text, nullptr, ",", &context));
    EXPECT_EQ(nullptr, strtok_s(nullptr, &length, ",", &context));
    context = text;
    for (const char* token : {strtok_s(text, &length, nullptr, &context), strtok_s(text, &length, ",", nullptr),
                              strtok_s(text, &tooLarge, ",", &context), strtok_s(nullptr, &length, ",", &context)}) {
        EXPECT_EQ(nullptr, token);
    }
    EXPECT_STREQ("a,b", text);
}

} // namespace

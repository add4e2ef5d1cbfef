#include "support/host_test.h"
#include "tarn_platform/bounds_checked.h"

namespace {

// The delimiters change from token to token; the length left always reaches the end that was given.
TEST(SecureTokens, AgreeWithTheUnboundedModelForAnyLengthThatCoversTheText) {
    std::mt19937 engine(7);
    for (int round = 0; round < 8000; ++round) {
        std::string model(engine() % 12, ' ');
        for (char& c : model) {
            c = "ab,;"[engine() % 4];
        }
        std::string bounded = model;
        bounded.resize(model.size() + (engine() % 2 == 0 ? 1 : 40), '\0');
        const std::string text = model;
        char* modelPlace = nullptr;
        char* place = nullptr;
        rsize_t left = bounded.size();
        const char* wanted = "";
        for (bool isFirst = true; wanted != nullptr; isFirst = false) {
            const char* const delimiters = engine() % 2 == 0 ? "," : ",;";
            wanted = strtok_r(isFirst ? model.data() : nullptr, delimiters, &modelPlace);
            const char* const token = strtok_s(isFirst ? bounded.data() : nullptr, &left, delimiters, &place);
            ASSERT_STREQ(wanted, token) << text;
            ASSERT_TRUE(wanted == nullptr || place + left == bounded.data() + bounded.size()) << text;
        }
        EXPECT_EQ(nullptr, strtok_s(nullptr, &left, ",", &place));
    }
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

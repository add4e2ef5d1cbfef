#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "tarn_platform/bounds_checked.h"

namespace {

using Tokens = std::vector<std::string>;

Tokens split(const std::string& text, const std::string& delimiters) {
    Tokens tokens;
    std::string token;
    for (const char c : text + delimiters.substr(0, 1)) {
        if (delimiters.find(c) == std::string::npos) {
            token += c;
        } else if (!token.empty()) {
            tokens.push_back(token);
            token.clear();
        }
    }
    return tokens;
}

// Every token, checking that the length left always reaches the end that was given.
Tokens taken(char* text, rsize_t length, const char* delimiters) {
    Tokens tokens;
    char* context = nullptr;
    rsize_t left = length;
    for (char* token = strtok_s(text, &left, delimiters, &context); token != nullptr;
         token = strtok_s(nullptr, &left, delimiters, &context)) {
        EXPECT_EQ(text + length, context + left);
        tokens.emplace_back(token);
        if (tokens.size() > length) {
            ADD_FAILURE() << "tokens repeat";
            break;
        }
    }
    EXPECT_EQ(nullptr, strtok_s(nullptr, &left, delimiters, &context));
    return tokens;
}

TEST(SecureTokens, AgreeWithASplitForAnyLengthThatCoversTheText) {
    std::mt19937 engine(7);
    for (int round = 0; round < 8000; ++round) {
        std::string text(engine() % 12, ' ');
        for (char& c : text) {
            c = "ab,;"[engine() % 4];
        }
        const char* const delimiters = engine() % 2 == 0 ? "," : ",;";
        const Tokens expected = split(text, delimiters);
        for (const rsize_t beyond : {rsize_t{1}, rsize_t{40}}) {
            std::string scratch = text;
            scratch.resize(text.size() + beyond, '\0');
            ASSERT_EQ(expected, taken(scratch.data(), text.size() + beyond, delimiters)) << text;
        }
    }
}

// On the heap, so that a sanitizer sees a look behind the bound.
TEST(SecureTokens, NeverLookBehindTheLength) {
    std::vector<char> text = {'a', ',', 'b', 'c'};
    EXPECT_EQ(Tokens{"a"}, taken(text.data(), text.size(), ",")) << "the second token has no end";
    EXPECT_EQ('c', text[3]);
    std::vector<char> delimitersOnly(3, ',');
    EXPECT_EQ(Tokens{}, taken(delimitersOnly.data(), delimitersOnly.size(), ","));
    EXPECT_EQ(Tokens{}, taken(delimitersOnly.data(), 0, ","));
}

TEST(SecureTokens, BrokenConstraintsFindNothingNowAndLater) {
    char text[] = "a,b";
    rsize_t length = sizeof text;
    char* context = text;
    EXPECT_EQ(nullptr, strtok_s(text, nullptr, ",", &context));
    EXPECT_EQ(nullptr, strtok_s(nullptr, &length, ",", &context));
    context = text;
    EXPECT_EQ(nullptr, strtok_s(text, &length, nullptr, &context));
    EXPECT_EQ(nullptr, strtok_s(text, &length, ",", nullptr));
    rsize_t tooLarge = SIZE_MAX;
    EXPECT_EQ(nullptr, strtok_s(text, &tooLarge, ",", &context));
    EXPECT_EQ(nullptr, strtok_s(nullptr, &length, ",", &context));
    EXPECT_STREQ("a,b", text);
}

// The delimiters may change from token to token.
TEST(SecureTokens, DelimitersMayChange) {
    char text[] = "?a???b,,,#c";
    rsize_t left = sizeof text;
    char* context = nullptr;
    EXPECT_STREQ("a", strtok_s(text, &left, "?", &context));
    EXPECT_STREQ("??b", strtok_s(nullptr, &left, ",", &context));
    EXPECT_STREQ("c", strtok_s(nullptr, &left, "#,", &context));
    EXPECT_EQ(nullptr, strtok_s(nullptr, &left, "?", &context));
}

} // namespace

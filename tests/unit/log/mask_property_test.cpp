// Random texts against slow, plain models of the masking rules.
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mask_support.h"

namespace {

class MaskProperty : public tarn::test::ScriptedPlatformTest {
 protected:
    std::mt19937 random{20240612};

    size_t below(size_t bound) { return random() % bound; }

    std::string randomText(const std::string& alphabet, size_t length) {
        std::string text(length, '\0');
        for (char& c : text) {
            c = alphabet[below(alphabet.size())];
        }
        return text;
    }
};

void slowMask(std::string& text, size_t start, size_t end) {
    const size_t length = end > start ? end - start : 0;
    for (size_t i = 0; i < length; ++i) {
        const size_t fromEnd = length - i;
        const bool masked = length >= 11  ? i >= 3 && fromEnd >= 3
                            : length >= 8 ? fromEnd >= 3 && fromEnd <= 6
                            : length >= 6 ? fromEnd >= 3 && fromEnd <= 5
                                          : length >= 4 && fromEnd == 2;
        text[start + i] = masked ? '*' : text[start + i];
    }
}

// The rules one by one, with a new search for everything each time.
void slowMaskText(std::string& text, const std::string& keyword, const std::string& terminator) {
    constexpr size_t kNone = std::string::npos;
    const bool list = keyword.find("-eid") != kNone;
    size_t from = 0;
    while (from <= text.size()) {
        const size_t found = text.find(keyword, from);
        if (found == kNone) {
            return;
        }
        const size_t value = found + keyword.size();
        size_t end = text.find(terminator, value);
        const size_t lineEnd = text.find('\r', value);
        if (keyword == "tel:") {
            end = std::min(end, lineEnd);
        } else if (end != kNone && lineEnd < end) {
            if (keyword.empty()) {
                return;
            }
            from += keyword.size();
            continue;
        }
        if (end == kNone) {
            return;
        }
        if (end == value) {
            if (keyword.empty() && terminator.empty()) {
                return;
            }
            from = end + terminator.size();
            continue;
        }
        size_t item = value;
        for (size_t semicolon = text.find(';', item); list && semicolon != kNone && semicolon <= lineEnd;
             semicolon = text.find(';', item)) {
            slowMask(text, item, semicolon);
            item = semicolon + 1;
        }
        slowMask(text, item, end);
        from = end;
    }
}

TEST_F(MaskProperty, AnyTextIsMaskedAsBySearchingAnew) {
    const char* const keywords[] = {"tel:", "a", "ab", "aab", "-eid", ";-eid", "-eid;a", ""};
    const char* const terminators[] = {",", "b", "ba", "**", "", "\r", ";", "-e", "abababababab"};
    for (int round = 0; round < 20000; ++round) {
        const std::string keyword = keywords[below(std::size(keywords))];
        const std::string terminator = terminators[below(std::size(terminators))];
        std::string text;
        for (size_t n = below(12); n > 0; --n) {
            text += below(2) == 0 ? keyword : below(4) == 0 ? terminator : randomText("ab,;\r*xyzxyz", below(14));
        }
        const std::string result = maskedText(text, keyword.c_str(), terminator.c_str());
        std::string expected = text;
        slowMaskText(expected, keyword, terminator);
        ASSERT_EQ(result, expected) << testing::PrintToString(text) << " keyword " << keyword << " terminator "
                                    << testing::PrintToString(terminator);
    }
}

TEST_F(MaskProperty, ReplacedTextIsCutAndNeverOverrun) {
    const std::pair<const char*, const char*> addresses[] = {{"10.20.30.40", "10.**.**.40"},
                                                             {"1:2:3:4:5:6:7:8", "1:****:****:****:****:****:7:8"},
                                                             {"1.1.1.1", "1.**.**.1"}};
    for (int round = 0; round < 3000; ++round) {
        const auto& [address, shown] = addresses[below(std::size(addresses))];
        std::string text = " ";
        std::string expected = " ";
        for (size_t n = below(40); n > 0; --n) {
            const bool isAddress = below(2) == 0;
            const std::string between = randomText("1:. a", below(6)) + 'a'; // never the beginning of an address
            text += isAddress ? address : between;
            expected += isAddress ? shown : between;
        }
        ASSERT_EQ(ConfFilterSetIPStr(address), 0U);
        ASSERT_EQ(replaced(text), expected.substr(0, text.size() + 98)) << text;
    }
}

} // namespace

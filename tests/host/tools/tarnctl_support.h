// What the tests of tarnctl share.
#pragma once

#include "support/host_test.h"

namespace tarn::test {

using testing::HasSubstr;
using testing::Not;

inline std::string fileOf(const std::string& name) {
    return std::string(TarnHostDir()) + "/" + name;
}

// Runs it with words as a shell reads them; what it prints and complains of.
inline std::string outputOf(const std::string& words, int expectedCode = 0, const std::string& input = "") {
    const Outcome outcome = runShell(TARNCTL " " + words, input);
    EXPECT_EQ(outcome.code, expectedCode) << words << ": " << outcome.output;
    return outcome.output;
}

inline void expectRun(int code, const std::string& words,
                      const testing::Matcher<std::string>& output = testing::A<std::string>(),
                      const std::string& input = "") {
    EXPECT_THAT(outputOf(words, code, input), output) << words;
}

} // namespace tarn::test

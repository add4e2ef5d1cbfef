#include "target.h"

#include <cstdio>
#include <cstdlib>

namespace tarn::fuzz {

const Target*& Target::first() {
    static const Target* target = nullptr;
    return target;
}

void fail(const char* file, int line, const char* condition) {
    // libFuzzer may have closed the standard error of what it runs.
    std::printf("%s:%d: does not hold: %s\n", file, line, condition);
    std::fflush(stdout);
    std::abort();
}

} // namespace tarn::fuzz

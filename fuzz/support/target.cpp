#include "target.h"

#include <cstdio>
#include <cstdlib>

namespace tarn::fuzz {

const Target*& Target::first() {
    static const Target* target = nullptr;
    return target;
}

void fail(const char* file, int line, const char* condition) {
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    std::abort();
}

} // namespace tarn::fuzz

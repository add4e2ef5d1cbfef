// What a page of the guide promises is looked for here: an example ends with 0 only when all of it was seen.
#pragma once

#include <chrono>
#include <cstdio>
#include <thread>

namespace guide {

inline int unseen = 0;

inline void promise(bool seen, const char* what) {
    if (!seen) {
        std::fprintf(stderr, "not seen: %s\n", what);
        ++unseen;
    }
}

// Waits for what another thread or process is to bring about.
template <typename Condition>
bool comesTrue(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return condition();
}

inline int result() {
    return unseen == 0 ? 0 : 1;
}

} // namespace guide

// A fuzz target: one way in, fed with one input after another. The same source makes a libFuzzer program of its own and
// a part of the program that replays the corpus.
#pragma once

#include <cstdint>
#include <span>

namespace tarn::fuzz {

class Target {
 public:
    using Run = void (*)(std::span<const uint8_t> bytes);

    Target(const char* name, Run body) : name_(name), run_(body), next_(first()) { first() = this; }
    ~Target() = default;
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;

    const char* name() const { return name_; }
    void run(std::span<const uint8_t> bytes) const { run_(bytes); }

    // The targets of this program, each followed by the next one.
    static const Target*& first();
    const Target* next() const { return next_; }

 private:
    const char* name_;
    Run run_;
    const Target* next_;
};

// Says what does not hold and aborts, so that libFuzzer keeps the input.
[[noreturn]] void fail(const char* file, int line, const char* condition);

} // namespace tarn::fuzz

#define FUZZ_CHECK(condition) ((condition) ? static_cast<void>(0) : tarn::fuzz::fail(__FILE__, __LINE__, #condition))

// Masking and address replacement: the time grows with the text, and a text without anything to mask costs little more
// than looking for it.
#include <cstring>
#include <string>

#include "ratio.h"
#include "tarn_conference/conf_filter.h"
#include "tarn_platform/os_memory.h"

namespace {

constexpr size_t kLong = size_t{1} << 20;
constexpr size_t kShort = kLong / 10;
constexpr const char* kAddress = "192.168.17.203";

// Text of `length` bytes: `unit` again and again, then `last`.
std::string textOf(const std::string& unit, size_t length, const std::string& last = "") {
    std::string text;
    while (text.size() + unit.size() + last.size() <= length) {
        text += unit;
    }
    text += last;
    text.append(length - text.size(), ' ');
    return text;
}

struct Shape {
    const char* name;
    const char* keyword;
    const char* terminator;
    const char* unit;
    const char* last;
};

// Those where something lies far ahead of every value are where a search for each value would be slow.
constexpr Shape kShapes[] = {
    {"values in lines", "num=", ",", "call from num=13812345678, accepted\r\n", ""},
    {"no carriage return", "num=", ",", "call from num=13812345678, accepted\n", ""},
    {"terminator far ahead", "num=", "\"", "call num=138 accepted\r\n", "\""},
    {"carriage return far ahead", "num=", ",", "call num=13812345678, accepted ", "\r"},
    {"telephone, terminator far ahead", "tel:", ";", "tel:13812345678\r\n", ";"},
    {"lists", "-eid=", ",", "x-eid=13812345678;2222222;33333,\r\n", ""},
    {"lists, ';' far ahead", "-eid", ",", "1234-eid,", ";"},
    {"empty values", "num=", ",", "num=,", ""},
};

// Masks a fresh copy of a text each time.
class Masking {
 public:
    Masking(const Shape& shape, size_t length)
        : shape_(shape), text_(textOf(shape.unit, length, shape.last)), work_(text_) {}

    void operator()() {
        std::memcpy(work_.data(), text_.data(), text_.size());
        ConfFilterNonSecurityWordEx(work_.data(), shape_.keyword, shape_.terminator);
        benchmark::ClobberMemory();
    }

 private:
    Shape shape_;
    std::string text_;
    std::string work_;
};

class Replacing {
 public:
    explicit Replacing(std::string text) : text_(std::move(text)) { ConfFilterSetIPStr(kAddress); }

    void operator()() {
        char* out = nullptr;
        uint32_t length = 0;
        if (ConfReplaceIPAddrStr(text_.c_str(), &out, &length) == 0) {
            benchmark::DoNotOptimize(length);
            OSMemTypeFreeMon(out, 0, 0, __LINE__, "bench_text");
        }
    }

 private:
    std::string text_;
};

void maskShape(benchmark::State& state) {
    const Shape& shape = kShapes[state.range(0)];
    Masking masking(shape, static_cast<size_t>(state.range(1)));
    for (auto iteration : state) {
        masking();
    }
    state.SetLabel(shape.name);
    state.SetBytesProcessed(state.iterations() * state.range(1));
}
BENCHMARK(maskShape)->ArgsProduct({benchmark::CreateDenseRange(0, std::size(kShapes) - 1, 1), {kShort, kLong}});

void maskValue(benchmark::State& state) {
    char shown[CONF_FILTER_MIN_BUFFER];
    for (auto iteration : state) {
        benchmark::DoNotOptimize(ConfFilterStr("13812345678", shown, sizeof shown));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(maskValue);

void replaceAddress(benchmark::State& state) {
    Replacing replacing(textOf("from 192.168.17.203 to 10.0.0.1\n", static_cast<size_t>(state.range(0))));
    for (auto iteration : state) {
        replacing();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(replaceAddress)->Arg(kShort)->Arg(kLong);

bool ratios() {
    using tarn::bench::holds;
    using tarn::bench::medianRatio;
    bool allHold = true;
    for (const Shape& shape : kShapes) {
        const std::string name = std::string("mask, 10 times the text, ") + shape.name;
        allHold &= holds(name.c_str(), medianRatio(Masking(shape, kLong), Masking(shape, kShort)), 11);
    }
    for (const char* unit : {"from 192.168.17.203 to 10.0.0.1\n", "1.1.1.1 192.168.17.20"}) {
        const std::string name = std::string("replace address, 10 times the text, ") + std::string(unit, 12);
        allHold &=
            holds(name.c_str(), medianRatio(Replacing(textOf(unit, kLong)), Replacing(textOf(unit, kShort))), 11);
    }

    // With digits in it: where the first letter of what is looked for never occurs, strstr is faster than copying the
    // text.
    std::string plain = textOf("2024-06-11 12:41:07.119 [conf_call] site 17 joined, bandwidth 1920\n", kLong);
    const auto strstrPass = [&plain](const char* part) {
        return [&plain, part] { benchmark::DoNotOptimize(std::strstr(plain.c_str(), part)); };
    };
    allHold &= holds(
        "mask, no keyword, to a strstr pass",
        medianRatio([&plain] { ConfFilterNonSecurityWordEx(plain.data(), "tel:", "\r"); }, strstrPass("tel:")), 2);
    allHold &= holds("replace address, none in the text, to a strstr pass",
                     medianRatio(Replacing(plain), strstrPass(kAddress)), 2);
    return allHold;
}

} // namespace

int main(int argc, char** argv) {
    return tarn::bench::runAll(argc, argv, ratios);
}

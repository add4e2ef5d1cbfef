// What a log record costs: above the level beside an empty call and a disabled call of spdlog; written beside the two
// calls of the formatter that it cannot do without. The log client is this program's own and does nothing.
#include <spdlog/spdlog.h>

#include <array>
#include <cstdarg>

#include "log_empty.h"
#include "ratio.h"
#include "tarn_conference/conf_log.h"
#include "tarn_platform/bounds_checked.h"

void TarnOmLogModuleLogRecord(uint8_t, uint16_t, const char*, uint8_t, uint32_t, const char*, ...) {}

namespace {

constexpr const char* kFunction = "registerItem";
constexpr const char* kFile = "conf_config";
constexpr const char* kShortFormat = "item %d of %s";
// With these arguments a message of 100 characters.
constexpr const char* kLongFormat =
    "%s connected to %s, number %d of %u, %s, and the rest of this text is here to fill it";

void disabledRecord() {
    ConfLogPrintf(CONF_LOG_DEBUG, kFunction, kFile, __LINE__, kShortFormat, 17, kFile);
}

void emptyShared() {
    benchEmptyRecord(CONF_LOG_DEBUG, kFunction, kFile, __LINE__, kShortFormat, 17, kFile);
}

__attribute__((noinline)) void emptyFunction(int, const char*, const char*, uint32_t, const char*, ...) {
    asm volatile("");
}

// Without the way through the procedure linkage table that every call into a shared object takes.
void emptyInProgram() {
    emptyFunction(CONF_LOG_DEBUG, kFunction, kFile, __LINE__, kShortFormat, 17, kFile);
}

void spdlogDefault() {
    spdlog::debug("item {} of {}", 17, kFile);
}

// The shortest way: no look-up of the default logger.
void spdlogLogger() {
    static spdlog::logger& logger = *spdlog::default_logger_raw();
    logger.debug("item {} of {}", 17, kFile);
}

void writtenRecord() {
    ConfLogPrintf(CONF_LOG_INFO, kFunction, kFile, __LINE__, kLongFormat, "controller", "endpoint", 3, 42U, "done");
}

// The message, and the text around it.
__attribute__((noinline)) void formatTwice(const char* function, const char* format, ...) {
    std::array<char, 512> message;
    std::array<char, 512> text;
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf_s(message.data(), message.size(), format, arguments);
    va_end(arguments);
    benchmark::DoNotOptimize(length);
    benchmark::DoNotOptimize(sprintf_s(text.data(), text.size(), "[%s]%s", function, message.data()));
}

void bareFormatters() {
    formatTwice(kFunction, kLongFormat, "controller", "endpoint", 3, 42U, "done");
}

template <void (*call)()>
void timed(benchmark::State& state) {
    for (auto _ : state) {
        call();
    }
}
BENCHMARK(timed<disabledRecord>)->Name("record above the level");
BENCHMARK(timed<emptyShared>)->Name("empty call into a shared object");
BENCHMARK(timed<emptyInProgram>)->Name("empty call in the program");
BENCHMARK(timed<spdlogDefault>)->Name("spdlog above the level");
BENCHMARK(timed<spdlogLogger>)->Name("spdlog above the level, logger at hand");
BENCHMARK(timed<writtenRecord>)->Name("written record, 100 characters, null client");
BENCHMARK(timed<bareFormatters>)->Name("two bare calls of the formatter");

// By type, so that the measuring loop calls it directly.
template <void (*call)()>
struct Calling {
    void operator()() const { call(); }
};

template <void (*measured)(), void (*reference)()>
double ratioOf() {
    return tarn::bench::medianRatio(Calling<measured>(), Calling<reference>());
}

bool ratios() {
    using tarn::bench::holds;
    bool allHold = holds("record above the level, to an empty call", ratioOf<disabledRecord, emptyShared>(), 1.5);
    allHold &= holds("record above the level, to spdlog", ratioOf<disabledRecord, spdlogDefault>(), 1);
    allHold &= holds("record above the level, to spdlog, logger at hand", ratioOf<disabledRecord, spdlogLogger>(), 1);
    allHold &=
        holds("written record, to two bare calls of the formatter", ratioOf<writtenRecord, bareFormatters>(), 1.25);
    return allHold;
}

} // namespace

int main(int argc, char** argv) {
    spdlog::set_level(spdlog::level::info);
    return tarn::bench::runAll(argc, argv, ratios);
}

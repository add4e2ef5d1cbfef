#include "log/log_line.h"

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tarn::host {
namespace {

constexpr std::array<const char*, 5> kLevelWords = {"ALWAYS", "ERROR", "WARNING", "INFO", "DEBUG"};

unsigned byteAt(std::string_view text, size_t index) {
    return index < text.size() ? static_cast<unsigned char>(text[index]) : 0;
}

bool continues(unsigned byte) {
    return (byte & 0xC0U) == 0x80U;
}

// Bytes of the character of more than one byte at the start of `text` (Unicode 15, table 3-7); 0 when there is none, or
// a control character.
size_t multibyteLength(std::string_view text) {
    const unsigned first = byteAt(text, 0);
    const unsigned second = byteAt(text, 1);
    if (!continues(second)) {
        return 0;
    }
    if (first == 0xC2) {
        return second >= 0xA0 ? 2 : 0;
    }
    if (first > 0xC2 && first <= 0xDF) {
        return 2;
    }
    if (!continues(byteAt(text, 2))) {
        return 0;
    }
    if (first >= 0xE0 && first <= 0xEF) {
        const bool overlong = first == 0xE0 && second < 0xA0;
        const bool surrogate = first == 0xED && second >= 0xA0;
        return overlong || surrogate ? 0 : 3;
    }
    const bool inRange =
        (first == 0xF0 && second >= 0x90) || (first > 0xF0 && first < 0xF4) || (first == 0xF4 && second < 0x90);
    return inRange && continues(byteAt(text, 3)) ? 4 : 0;
}

// The calling thread's id; asking the system for it is dear, and a forked child must ask again.
pid_t threadOf(pid_t process) {
    thread_local pid_t thread = 0;
    thread_local pid_t threadProcess = 0;
    if (threadProcess != process) {
        thread = gettid();
        threadProcess = process;
    }
    return thread;
}

bool printable(char c) {
    return (c >= ' ' && c <= '~') || c == '\t';
}

} // namespace

void LogLine::put(std::string_view text) {
    std::memcpy(line_.data() + used_, text.data(), text.size());
    used_ += text.size();
}

void LogLine::putFormatted(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line_.data() + used_, line_.size() - used_, format, arguments);
    va_end(arguments);
    used_ += static_cast<size_t>(std::max(length, 0));
}

void LogLine::putEscaped(char c) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    put("\\x");
    put(digits[byte >> 4U]);
    put(digits[byte & 15U]);
}

void LogLine::putTime() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    if (now.tv_sec != second_) {
        localtime_r(&now.tv_sec, &calendar_);
        second_ = now.tv_sec;
    }
    const long offset = calendar_.tm_gmtoff / 60;
    putFormatted("%04d-%02d-%02dT%02d:%02d:%02d.%03ld%c%02ld:%02ld ", calendar_.tm_year + 1900, calendar_.tm_mon + 1,
                 calendar_.tm_mday, calendar_.tm_hour, calendar_.tm_min, calendar_.tm_sec, now.tv_nsec / 1000000,
                 offset < 0 ? '-' : '+', std::labs(offset) / 60, std::labs(offset) % 60);
}

void LogLine::putText(std::string_view text) {
    while (!text.empty()) {
        size_t taken = 1;
        if (printable(text.front())) {
            put(text.front());
        } else if (text.front() == '\n') {
            put(kContinuation);
        } else if (const size_t length = multibyteLength(text); length != 0) {
            put(text.substr(0, length));
            taken = length;
        } else {
            putEscaped(text.front());
        }
        text.remove_prefix(taken);
    }
}

std::string_view LogLine::compose(const char* processName, const LogRecord& record) {
    used_ = 0;
    putTime();
    if (record.level < kLevelWords.size()) {
        put(kLevelWords[record.level]);
    } else {
        putFormatted("LEVEL-%u", unsigned{record.level});
    }
    if (process_ == 0) {
        process_ = getpid();
    }
    putFormatted(" %s %ld %ld ", processName, static_cast<long>(process_), static_cast<long>(threadOf(process_)));
    for (const char c : record.fileName) {
        put(c > ' ' && c <= '~' ? c : '_'); // A blank would shift the fields behind it.
    }
    putFormatted(":%u ", record.line);
    std::string_view text = record.text;
    if (text.ends_with('\n')) {
        text.remove_suffix(1);
    }
    putText(text);
    if (record.cutBytes != 0) {
        putFormatted(" [cut %zu bytes]", record.cutBytes);
    }
    put('\n');
    return {line_.data(), used_};
}

size_t wholeCharacters(std::string_view text, size_t bytes) {
    if (bytes >= text.size()) {
        return text.size();
    }
    for (size_t back = 1; back <= 3 && back <= bytes; ++back) {
        const size_t start = bytes - back;
        if (!continues(byteAt(text, start))) {
            return start + multibyteLength(text.substr(start)) > bytes ? start : bytes;
        }
    }
    return bytes;
}

} // namespace tarn::host

// One record as the text that stands in the file.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string_view>

namespace tarn::host {

// The longest text that a log file can be set to take.
inline constexpr size_t kMaxRecordBytes = 4096;

struct LogRecord {
    uint8_t level;
    std::string_view fileName;
    uint32_t line;
    std::string_view text;
    size_t cutBytes; // Bytes that the text once had behind its end.
};

// Composes lines one after another; not for several threads at once.
class LogLine {
 public:
    // "2026-01-31T09:05:00.042+01:00 ERROR process 812 815 file:77 text\n". No byte of a record can look like the start
    // of another: a newline in the text is followed by blanks, other control characters and what is no UTF-8 are
    // written as \xNN. One newline at the end of the text is dropped. Valid until the next call.
    std::string_view compose(const char* processName, const LogRecord& record);

    // In a forked child.
    void forgetParent() {
        process_ = 0;
        second_ = -1; // The child may set another time zone.
    }

 private:
    void putTime();
    void putText(std::string_view text);
    void put(char c) { line_[used_++] = c; }
    void put(std::string_view text);
    void putEscaped(char c);
    __attribute__((format(printf, 2, 3))) void putFormatted(const char* format, ...);

    static constexpr std::string_view kContinuation = "\n    ";
    static constexpr size_t kFrameBytes = 512; // All but the text: time, level, names of at most 255 bytes, numbers.

    std::array<char, kFrameBytes + kMaxRecordBytes * kContinuation.size()> line_;
    size_t used_ = 0;
    pid_t process_ = 0;
    time_t second_ = -1; // The one that `calendar_` stands for: asking for the time zone is dear.
    struct tm calendar_ = {};
};

// Length of the longest start of `text` that has at most `bytes` bytes and does not end inside a UTF-8 character.
size_t wholeCharacters(std::string_view text, size_t bytes);

} // namespace tarn::host

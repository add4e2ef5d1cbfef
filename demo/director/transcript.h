// What the person at the terminal reads. A line that says "ok" was checked just before it was printed.
#pragma once

#include <string>

namespace tarn::demo {

class Transcript {
 public:
    explicit Transcript(bool colours) : colours_(colours) {}

    void title(const std::string& text);
    void scene(const std::string& text);
    // Something seen, for the reader; no check.
    void note(const std::string& text);
    // A line as it stands in a file or message.
    void quote(const std::string& text);
    // A checked statement. Returns `holds`.
    bool check(bool holds, const std::string& statement);

    int checks() const { return checks_; }
    int failures() const { return failures_; }
    // The last line: what was checked and how it ended.
    void verdict(bool interrupted);

 private:
    std::string coloured(const char* code, const std::string& text) const;

    bool colours_;
    int scenes_ = 0;
    int checks_ = 0;
    int failures_ = 0;
};

// Formats like printf into a string.
std::string text(const char* format, ...) __attribute__((format(printf, 1, 2)));

} // namespace tarn::demo

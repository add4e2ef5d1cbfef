#include "director/transcript.h"

#include <array>
#include <cstdarg>
#include <cstdio>

#include "link/process_link.h"

namespace tarn::demo {
namespace {

constexpr const char* kBold = "1";
constexpr const char* kDim = "2";
constexpr const char* kGreen = "32";
constexpr const char* kRed = "1;31";

void printLine(const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

} // namespace

std::string text(const char* format, ...) {
    std::array<char, 2048> buffer;
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
    va_end(arguments);
    return buffer.data();
}

std::string Transcript::coloured(const char* code, const std::string& content) const {
    return colours_ ? std::string("\033[") + code + "m" + content + "\033[0m" : content;
}

void Transcript::title(const std::string& content) {
    printLine(coloured(kBold, content));
}

void Transcript::scene(const std::string& content) {
    printLine("");
    printLine(coloured(kBold, text("%2d  %s", ++scenes_, content.c_str())));
}

void Transcript::note(const std::string& content) {
    printLine("            " + content);
}

void Transcript::quote(const std::string& content) {
    printLine("            " + coloured(kDim, "| " + content));
}

bool Transcript::check(bool holds, const std::string& statement) {
    if (!holds && interrupted()) {
        return false; // cut short, not failed
    }
    ++checks_;
    failures_ += holds ? 0 : 1;
    printLine("    " + (holds ? coloured(kGreen, "ok      ") : coloured(kRed, "FAILED  ")) + statement);
    return holds;
}

void Transcript::verdict(bool wasInterrupted) {
    printLine("");
    if (wasInterrupted) {
        printLine(coloured(kRed, text("interrupted after %d observations", checks_)));
    } else if (failures_ > 0) {
        printLine(coloured(kRed, text("%d of %d observations failed", failures_, checks_)));
    } else {
        printLine(coloured(kGreen, text("all %d observations made", checks_)));
    }
}

} // namespace tarn::demo

#include "command.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tarnctl {

int complain(ExitCode code, const std::string& text) {
    std::fprintf(stderr, "tarnctl: %s\n", text.c_str());
    return code;
}

int complainOf(const std::string& what, uint32_t error) {
    return complain(kFailed, what + ": " + std::strerror(static_cast<int>(error)));
}

int complainOfFile(const std::string& path, int error) {
    return complain(error == ENOENT ? kNotFound : kFailed, "cannot read " + path + ": " + std::strerror(error));
}

bool wantsColour() {
    static const bool wants = [] {
        const char* const never = std::getenv("NO_COLOR");
        const char* const terminal = std::getenv("TERM");
        return isatty(STDOUT_FILENO) != 0 && (never == nullptr || *never == '\0') && terminal != nullptr &&
               std::strcmp(terminal, "dumb") != 0;
    }();
    return wants;
}

std::string emphasised(const std::string& text) {
    return wantsColour() ? "\033[1m" + text + "\033[0m" : text;
}

int finish() {
    return tarn::tool::isOutputWritten("tarnctl") ? kDone : kFailed;
}

} // namespace tarnctl

#include "log/log_trouble.h"

#include <cinttypes>
#include <cstring>

#include "base/report.h"

namespace tarn::host {
namespace {

struct Words {
    const char* action;
    const char* consequence;
};

constexpr std::array<Words, 3> kWords = {{{"opened", "its records are lost until it can"},
                                          {"written", "its records are lost until it can"},
                                          {"rotated", "it grows beyond its limit until it can"}}};

} // namespace

void LogTroubles::note(LogTrouble trouble, int error, const std::string& fileName, uint64_t lost) {
    const auto index = static_cast<size_t>(trouble);
    const Words& words = kWords[index];
    bool& active = active_[index];
    if (active == (error != 0)) {
        return;
    }
    active = error != 0;
    if (active) {
        report("the log file %s cannot be %s: %s; %s", fileName.c_str(), words.action, std::strerror(error),
               words.consequence);
        return;
    }
    if (trouble == LogTrouble::kRotating) {
        report("the log file %s can be %s again", fileName.c_str(), words.action);
    } else {
        report("the log file %s can be %s again; %" PRIu64 " records were lost", fileName.c_str(), words.action, lost);
    }
}

} // namespace tarn::host

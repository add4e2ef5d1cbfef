// The name of this process. Fixed storage: the name is asked for on paths that must not allocate.
#include "base/process_name.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <string_view>

#include "base/fork_handlers.h"
#include "tarn_host/host_process.h"

namespace {

constexpr size_t kNameBytes = 16;

constinit std::mutex nameMutex;
std::array<char, kNameBytes> processName;

// Every report asks for the name, also in a child.
const tarn::host::HeldOverForks<nameMutex> nameOverForks;

bool nameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
           c == '.';
}

void store(std::string_view name) {
    std::copy(name.begin(), name.end(), processName.begin());
    processName[name.size()] = '\0';
}

// The program's file name, cut and cleaned to what a process name may hold.
void storeProgramName() {
    std::array<char, kNameBytes> clean = {};
    const std::string_view program(program_invocation_short_name);
    size_t length = 0;
    for (const char c : program.substr(0, kNameBytes - 1)) {
        clean[length++] = nameCharacter(c) ? c : '_';
    }
    if (length == 0 || clean[0] == '.') {
        store("process");
        return;
    }
    store({clean.data(), length});
}

} // namespace

bool tarn::host::validProcessName(std::string_view name) {
    return !name.empty() && name.size() < kNameBytes && name.front() != '.' &&
           std::all_of(name.begin(), name.end(), nameCharacter);
}

uint32_t TarnHostSetProcessName(const char* name) {
    const std::string_view wanted(name == nullptr ? "" : name);
    if (!tarn::host::validProcessName(wanted)) {
        return EINVAL;
    }
    const std::lock_guard lock(nameMutex);
    store(wanted);
    return 0;
}

const char* TarnHostProcessName(void) {
    const std::lock_guard lock(nameMutex);
    if (processName[0] == '\0') {
        storeProgramName();
    }
    return processName.data();
}

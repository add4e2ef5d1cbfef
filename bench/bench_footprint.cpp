// How large the library is on disk, stripped, and in memory after a process has started its log, timers and receiver.
#include <dlfcn.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_msg.h"
#include "tarn_conference/conf_timer.h"
#include "tarn_host/host_message.h"

namespace {

std::string libraryPath() {
    Dl_info info = {};
    if (dladdr(reinterpret_cast<void*>(ConfLogInit), &info) == 0) {
        return {};
    }
    return std::filesystem::canonical(info.dli_fname);
}

uintmax_t strippedBytes(const std::string& library, const std::string& directory) {
    const std::string copy = directory + "/stripped.so";
    const std::string command = "strip -o '" + copy + "' '" + library + "'";
    return std::system(command.c_str()) == 0 ? std::filesystem::file_size(copy) : 0;
}

// Resident KiB of the mappings whose file name holds `part`; of all mappings for an empty one.
long residentKib(const std::string& part) {
    std::ifstream maps("/proc/self/smaps");
    long total = 0;
    bool counts = part.empty();
    for (std::string line; std::getline(maps, line);) {
        if (line.find('-') < line.find(' ')) {
            counts = part.empty() || line.find(part) != std::string::npos;
        } else if (counts && line.starts_with("Rss:")) {
            total += std::strtol(line.c_str() + std::strlen("Rss:"), nullptr, 10);
        }
    }
    return total;
}

void onRecord(OsMsgRecord* record) {
    ConfCommMsgProcess(record);
}

bool startProcess() {
    static std::array<ConfCommTimerEntry, 1> table = {};
    return ConfLogInit() == 0 && ConfCommTimerFuncInit(table.data(), 1) == 0 &&
           OsMsgReceiverStart("footprint", onRecord) == 0;
}

} // namespace

int main() {
    std::string directory = (std::filesystem::temp_directory_path() / "tarn-bench-XXXXXX").string();
    if (mkdtemp(directory.data()) == nullptr || setenv("TARN_HOST_DIR", directory.c_str(), 1) != 0) {
        std::perror("bench_footprint: cannot make a host directory");
        return 1;
    }
    const std::string library = libraryPath();
    const uintmax_t stripped = strippedBytes(library, directory);
    const bool started = startProcess();
    std::printf("%s: %ju bytes stripped\n", std::filesystem::path(library).filename().c_str(), stripped);
    std::printf("resident after start: %ld KiB of the library, %ld KiB of the whole process\n",
                residentKib("libtarn_conference_common"), residentKib(""));
    OsMsgReceiverStop("footprint");
    ConfCommTimerFuncDeInit();
    ConfLogUnInit();
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
    return stripped > 0 && started ? 0 : 1;
}

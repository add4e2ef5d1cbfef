#include "log/dead_directories.h"

#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <string_view>
#include <vector>

#include "log/log_directory.h"

namespace tarn::host {
namespace {

namespace fs = std::filesystem;

constexpr size_t kKept = 8;

// The process of a directory "NAME.PID"; 0 for any other name.
pid_t processOf(std::string_view directory, std::string_view processName) {
    if (!directory.starts_with(processName) || directory.size() < processName.size() + 2 ||
        directory[processName.size()] != '.') {
        return 0;
    }
    directory.remove_prefix(processName.size() + 1);
    pid_t pid = 0;
    const auto [end, error] = std::from_chars(directory.data(), directory.data() + directory.size(), pid);
    return error == std::errc() && end == directory.data() + directory.size() ? pid : 0;
}

// The number keeps this process's own directory out, whose lock must not be looked at; the lock alone decides where a
// container that shares the directory counts its own processes.
bool isDead(pid_t pid, const std::string& directory) {
    return pid > 0 && kill(pid, 0) != 0 && errno == ESRCH && isAbandoned(directory);
}

} // namespace

void removeDeadDirectories(const std::string& logs, const std::string& processName) noexcept {
    try {
        std::vector<std::pair<fs::file_time_type, fs::path>> dead;
        for (const fs::directory_entry& entry : fs::directory_iterator(logs)) {
            if (isDead(processOf(entry.path().filename().native(), processName), entry.path())) {
                dead.emplace_back(entry.last_write_time(), entry.path());
            }
        }
        std::sort(dead.begin(), dead.end());
        for (size_t i = 0; i + kKept < dead.size(); ++i) {
            std::error_code ignored;
            fs::remove_all(dead[i].second, ignored);
        }
    } catch (const std::exception&) {
        // A directory that vanished meanwhile, or no memory: the next process does it.
        return;
    }
}

} // namespace tarn::host

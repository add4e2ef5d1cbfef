// The directory in which this process keeps its log files, and the lock that tells other processes so.
#pragma once

#include <string>

namespace tarn::host {

// Whether the file at `path` is the one that is open.
bool isOpenFile(const std::string& path, int file);

// Whether a directory was made as `log/NAME.PID` and no live process has it. Not for the directory of this process: its
// lock would go.
bool isAbandoned(const std::string& directory);

// `log/NAME` below the host directory, or `log/NAME.PID` when another live process has the former. The lock is a POSIX
// record lock: it goes with the process, however that ends, and a forked child does not share it.
class LogDirectory {
 public:
    LogDirectory() = default;
    ~LogDirectory() { release(); }
    LogDirectory(const LogDirectory&) = delete;
    LogDirectory(LogDirectory&&) = delete;
    LogDirectory& operator=(const LogDirectory&) = delete;
    LogDirectory& operator=(LogDirectory&&) = delete;

    // Makes and locks the directory unless this process has it already. 0 or an `errno` value.
    int claim(const std::string& processName);

    void release();

    // Empty before `claim`.
    const std::string& path() const { return path_; }

 private:
    int claimNamed(const std::string& name);

    std::string path_;
    int lock_ = -1;
};

} // namespace tarn::host

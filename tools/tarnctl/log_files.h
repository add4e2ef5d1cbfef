// The log files of a process, record by record.
#pragma once

#include <sys/types.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace tarnctl {

// Names in the directory without those that begin with '.', sorted; false, with `errno`, when it cannot be read.
bool readNames(const std::string& path, std::vector<std::string>& names);

// Gets one record: a line, and the indented lines behind it that belong to it.
using TakeRecord = std::function<void(const std::string& record)>;

// One log file, read on from where it was left.
class LogReader {
 public:
    // What was written since; from the beginning of a file that is new under the name.
    void readOn(const std::string& path, const TakeRecord& take);

 private:
    ino_t inode_ = 0;
    off_t offset_ = 0;
};

// The newest file of each log in a directory.
class LogView {
 public:
    explicit LogView(std::string directory) : directory_(std::move(directory)) {}

    // Reads on in all files; false, with `errno`, when the directory cannot be read.
    bool readOn(const TakeRecord& take);

 private:
    std::string directory_;
    std::map<std::string, LogReader> readers_;
};

} // namespace tarnctl

// The log files of a process, record by record.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "file_content.h"

namespace tarnctl {

// Names in the directory without those that begin with '.', sorted; false, with `errno`, when it cannot be read.
bool readNames(const std::string& path, std::vector<std::string>& names);

// Gets one record: a line, and the indented lines behind it that belong to it.
using TakeRecord = std::function<void(const std::string& record)>;

// One log, read on from where it was left. Its file stays open, so that what was written to it before it got another
// name is read too.
class LogReader {
 public:
    // What was written since, also to files that came and were renamed meanwhile. At first all of the newest file.
    void readOn(const std::string& path, const TakeRecord& take);

 private:
    void readOpenFile(const TakeRecord& take);

    OpenFile file_;
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

#include "log_files.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <memory>

namespace tarnctl {
namespace {

constexpr const char* kContinuation = "    ";

struct CloseDirectory {
    void operator()(DIR* directory) const { closedir(directory); }
};

// Whether a name is that of an older file, "FILE.1" and so on.
bool isPredecessor(const std::string& name) {
    const size_t dot = name.rfind('.');
    return dot != std::string::npos && dot + 1 < name.size() &&
           name.find_first_not_of("0123456789", dot + 1) == std::string::npos;
}

} // namespace

bool readNames(const std::string& path, std::vector<std::string>& names) {
    const std::unique_ptr<DIR, CloseDirectory> directory(opendir(path.c_str()));
    if (directory == nullptr) {
        return false;
    }
    while (const dirent* entry = readdir(directory.get())) {
        if (entry->d_name[0] != '.') {
            names.emplace_back(entry->d_name);
        }
    }
    std::sort(names.begin(), names.end());
    return true;
}

// A record is written at once, so the lines of one are all there when its first is.
void LogReader::readOn(const std::string& path, const TakeRecord& take) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        return;
    }
    if (status.st_ino != inode_ || status.st_size < offset_) {
        inode_ = status.st_ino;
        offset_ = 0;
    }
    std::ifstream file(path, std::ios::binary);
    file.seekg(offset_);
    std::string record;
    bool hasRecord = false;
    for (std::string line; std::getline(file, line) && !file.eof();) {
        offset_ += static_cast<off_t>(line.size() + 1);
        if (hasRecord && line.starts_with(kContinuation)) {
            record.append("\n").append(line);
            continue;
        }
        if (hasRecord) {
            take(record);
        }
        record = line;
        hasRecord = true;
    }
    if (hasRecord) {
        take(record);
    }
}

bool LogView::readOn(const TakeRecord& take) {
    std::vector<std::string> names;
    if (!readNames(directory_, names)) {
        return false;
    }
    for (const std::string& name : names) {
        if (!isPredecessor(name)) {
            readers_[name].readOn(directory_ + "/" + name, take);
        }
    }
    return true;
}

} // namespace tarnctl

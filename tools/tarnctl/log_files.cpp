#include "log_files.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <tuple>

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

OpenFile open(const std::string& path) {
    return OpenFile(std::fopen(path.c_str(), "re"));
}

struct stat statusOf(std::FILE& file) {
    struct stat status = {};
    fstat(fileno(&file), &status);
    return status;
}

bool isSame(std::FILE& left, std::FILE& right) {
    return statusOf(left).st_ino == statusOf(right).st_ino;
}

bool isOlder(std::FILE& left, std::FILE& right) {
    const timespec one = statusOf(left).st_mtim;
    const timespec other = statusOf(right).st_mtim;
    return std::tie(one.tv_sec, one.tv_nsec) < std::tie(other.tv_sec, other.tv_nsec);
}

// A whole line without its end; false when there is none any more.
bool readLine(std::FILE& file, std::string& line) {
    line.clear();
    for (int c = getc_unlocked(&file); c != EOF; c = getc_unlocked(&file)) {
        if (c == '\n') {
            return true;
        }
        line += static_cast<char>(c);
    }
    return false;
}

// The log's files that are younger than `last`, which was the newest, and older than `newest`: the youngest first.
// While a process renames them, which it does from the oldest on, one may be met twice and one name may be free.
std::vector<OpenFile> between(const std::string& path, std::FILE& newest, std::FILE& last) {
    std::vector<OpenFile> found;
    bool wasFree = false;
    for (unsigned number = 1;; ++number) {
        OpenFile file = open(path + "." + std::to_string(number));
        if (file == nullptr) {
            if (wasFree) {
                return found;
            }
            wasFree = true;
            continue;
        }
        wasFree = false;
        if (isSame(*file, last) || isOlder(*file, last)) {
            return found;
        }
        if (!isSame(*file, found.empty() ? newest : *found.back())) {
            found.push_back(std::move(file));
        }
    }
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
void LogReader::readOpenFile(const TakeRecord& take) {
    if (statusOf(*file_).st_size < offset_) {
        offset_ = 0;
    }
    std::clearerr(file_.get());
    fseeko(file_.get(), offset_, SEEK_SET);
    std::string record;
    bool hasRecord = false;
    for (std::string line; readLine(*file_, line);) {
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

void LogReader::readOn(const std::string& path, const TakeRecord& take) {
    // Opened first: should it get another name now, it is the first of the others and known.
    OpenFile newest = open(path);
    if (file_ != nullptr) {
        readOpenFile(take);
    }
    if (newest == nullptr || (file_ != nullptr && isSame(*newest, *file_))) {
        return;
    }
    std::vector<OpenFile> newer;
    if (file_ != nullptr) {
        newer = between(path, *newest, *file_);
    }
    newer.insert(newer.begin(), std::move(newest));
    for (; !newer.empty(); newer.pop_back()) {
        file_ = std::move(newer.back());
        offset_ = 0;
        readOpenFile(take);
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

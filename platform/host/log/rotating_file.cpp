// The file is looked at before each line: whoever removes or empties it while the process runs gets what he expects.
#include "log/rotating_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <new>
#include <utility>

#include "base/same_file.h"

namespace tarn::host {
namespace {

ssize_t writeOnce(int file, std::string_view line) {
    ssize_t written = 0;
    do {
        written = write(file, line.data(), line.size());
    } while (written < 0 && errno == EINTR);
    return written;
}

// 0 or an `errno` value; a source that is not there is fine.
int moveIfThere(const std::string& from, const std::string& to) {
    return std::rename(from.c_str(), to.c_str()) == 0 || errno == ENOENT ? 0 : errno;
}

// Beside the file, and no log for those who look through the directory.
std::string hiddenName(const std::string& path) {
    const size_t slash = path.rfind('/') + 1;
    return path.substr(0, slash).append(".").append(path, slash).append(".new");
}

// The file becomes "FILE.1", that becomes "FILE.2", and so on up to the first number that is free, or the last.
int shift(const std::string& path, uint32_t kept) {
    const auto numbered = [&](uint32_t number) { return path + "." + std::to_string(number); };
    uint32_t last = 1;
    while (last < kept && access(numbered(last).c_str(), F_OK) == 0) {
        ++last;
    }
    for (; last > 1; --last) {
        const int error = moveIfThere(numbered(last - 1), numbered(last));
        if (error != 0) {
            return error;
        }
    }
    return moveIfThere(path, numbered(1));
}

} // namespace

bool RotatingFile::current(bool thorough) {
    struct stat status = {};
    if (!file_ || fstat(file_.get(), &status) != 0 || status.st_nlink == 0) {
        return false;
    }
    size_ = static_cast<uint64_t>(status.st_size);
    return !thorough || isOpenFile(path_.c_str(), file_.get());
}

int RotatingFile::open(const std::string& path) {
    close();
    // Not blocking: a pipe of that name must not hold up the process.
    OwnedDescriptor file(
        ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
    struct stat status = {};
    if (!file || fstat(file.get(), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return EINVAL;
    }
    path_ = path;
    file_ = std::move(file);
    size_ = static_cast<uint64_t>(status.st_size);
    return 0;
}

int RotatingFile::makeRoom(size_t lineBytes, const RotationLimits& limits) {
    if (size_ == 0 || size_ + lineBytes <= limits.maxBytes) {
        return 0;
    }
    try {
        return rotate(limits.kept);
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
}

int RotatingFile::rotate(uint32_t kept) {
    if (kept == 0) {
        if (ftruncate(file_.get(), 0) != 0) {
            return errno;
        }
        size_ = 0;
        return 0;
    }
    // The new file first: without it nothing may move, or each line that tries again would cost a predecessor.
    const std::string fresh = hiddenName(path_);
    OwnedDescriptor file(
        ::open(fresh.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
    if (!file) {
        return errno;
    }
    int error = shift(path_, kept);
    if (error == 0) {
        error = moveIfThere(fresh, path_);
    }
    if (error != 0) {
        unlink(fresh.c_str());
        return error;
    }
    file_ = std::move(file);
    size_ = 0;
    return 0;
}

int RotatingFile::append(std::string_view line) {
    const ssize_t written = writeOnce(file_.get(), line);
    if (written < 0) {
        return errno;
    }
    if (static_cast<size_t>(written) == line.size()) {
        size_ += line.size();
        return 0;
    }
    struct stat status = {};
    if (fstat(file_.get(), &status) == 0) {
        // Should this fail too, the next line still starts behind the torn one; there is nothing better to do.
        [[maybe_unused]] const int cut = ftruncate(file_.get(), status.st_size - written);
    }
    return ENOSPC;
}

} // namespace tarn::host

// The file is looked at before each line: whoever removes or empties it while the process runs gets what he expects.
#include "log/rotating_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "log/log_directory.h"

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

} // namespace

bool RotatingFile::current(bool thorough) {
    struct stat status = {};
    if (file_ < 0 || fstat(file_, &status) != 0 || status.st_nlink == 0) {
        return false;
    }
    size_ = static_cast<uint64_t>(status.st_size);
    return !thorough || isOpenFile(path_, file_);
}

int RotatingFile::open(const std::string& path) {
    close();
    // Not blocking: a pipe of that name must not hold up the process.
    const int file = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
    if (file < 0) {
        return errno;
    }
    struct stat status = {};
    if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) {
        ::close(file);
        return EINVAL;
    }
    path_ = path;
    file_ = file;
    size_ = static_cast<uint64_t>(status.st_size);
    return 0;
}

void RotatingFile::close() {
    if (file_ >= 0) {
        ::close(file_);
        file_ = -1;
    }
}

int RotatingFile::makeRoom(size_t lineBytes, const RotationLimits& limits) {
    return size_ == 0 || size_ + lineBytes <= limits.maxBytes ? 0 : rotate(limits.kept);
}

int RotatingFile::rotate(uint32_t kept) {
    if (kept == 0) {
        if (ftruncate(file_, 0) != 0) {
            return errno;
        }
        size_ = 0;
        return 0;
    }
    for (uint32_t number = kept; number > 1; --number) {
        const int error = moveIfThere(path_ + "." + std::to_string(number - 1), path_ + "." + std::to_string(number));
        if (error != 0) {
            return error;
        }
    }
    const std::string newest = path_ + ".1";
    const int error = moveIfThere(path_, newest);
    if (error != 0) {
        return error;
    }
    const int file = ::open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_EXCL, 0600);
    if (file < 0) {
        const int openError = errno;
        // The old file goes on under its own name, so that the next line finds it there.
        return moveIfThere(newest, path_) == 0 ? openError : EIO;
    }
    ::close(file_);
    file_ = file;
    size_ = 0;
    return 0;
}

int RotatingFile::append(std::string_view line) {
    const ssize_t written = writeOnce(file_, line);
    if (written < 0) {
        return errno;
    }
    if (static_cast<size_t>(written) == line.size()) {
        size_ += line.size();
        return 0;
    }
    struct stat status = {};
    if (fstat(file_, &status) == 0) {
        // Should this fail too, the next line still starts behind the torn one; there is nothing better to do.
        [[maybe_unused]] const int cut = ftruncate(file_, status.st_size - written);
    }
    return ENOSPC;
}

} // namespace tarn::host

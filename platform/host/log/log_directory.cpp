#include "log/log_directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "base/above_standard.h"
#include "base/host_directory.h"
#include "base/whole_file.h"
#include "log/dead_directories.h"

namespace tarn::host {
namespace {

constexpr const char* kLockName = "/.lock";
// Size of the lock file in a directory "NAME.PID". By its name alone it could be that of a process called so.
constexpr off_t kSpareMark = 1;

bool takenByAnother(int error) {
    return error == EACCES || error == EAGAIN;
}

// 0 or an `errno` value.
int lockWhole(int file) {
    struct flock whole = wholeFile();
    return fcntl(file, F_SETLK, &whole) == 0 ? 0 : errno;
}

} // namespace

bool isOpenFile(const std::string& path, int file) {
    struct stat named = {};
    struct stat open = {};
    return lstat(path.c_str(), &named) == 0 && fstat(file, &open) == 0 && named.st_dev == open.st_dev &&
           named.st_ino == open.st_ino;
}

bool isAbandoned(const std::string& directory) {
    const int file = open((directory + kLockName).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (file < 0) {
        return false;
    }
    struct stat status = {};
    struct flock whole = wholeFile();
    const bool isFree = fstat(file, &status) == 0 && status.st_size == kSpareMark &&
                        fcntl(file, F_GETLK, &whole) == 0 && whole.l_type == F_UNLCK;
    close(file);
    return isFree;
}

int LogDirectory::claimNamed(const std::string& name) {
    std::string path;
    const int made = makeHostSubdirectory("log/" + name, path);
    if (made != 0) {
        // Not to be taken for a lock that another process holds.
        return made == EACCES ? EPERM : made;
    }
    const std::string lockPath = path + kLockName;
    const int file =
        aboveStandard(open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
    if (file < 0) {
        return errno == EACCES ? EPERM : errno;
    }
    int error = lockWhole(file);
    if (error == 0 && !isOpenFile(lockPath, file)) {
        error = ESTALE; // Somebody removed the directory just now.
    }
    if (error != 0) {
        close(file);
        return error;
    }
    path_ = std::move(path);
    lock_ = file;
    return 0;
}

int LogDirectory::claim(const std::string& processName) {
    if (lock_ >= 0 && isOpenFile(path_ + kLockName, lock_)) {
        return 0;
    }
    release();
    int error = claimNamed(processName);
    if (takenByAnother(error)) {
        error = claimNamed(processName + "." + std::to_string(getpid()));
        if (error == 0 && ftruncate(lock_, kSpareMark) == 0) {
            removeDeadDirectories(path_.substr(0, path_.rfind('/')), processName);
        }
    }
    return error;
}

void LogDirectory::release() {
    if (lock_ >= 0) {
        close(lock_);
        lock_ = -1;
    }
    path_.clear();
}

} // namespace tarn::host

#include "log/log_directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "base/host_directory.h"
#include "base/same_file.h"
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

bool isAbandoned(const std::string& directory) {
    const OwnedDescriptor file(open((directory + kLockName).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat status = {};
    struct flock whole = wholeFile();
    return file && fstat(file.get(), &status) == 0 && status.st_size == kSpareMark &&
           fcntl(file.get(), F_GETLK, &whole) == 0 && whole.l_type == F_UNLCK;
}

int LogDirectory::claimNamed(const std::string& name) {
    std::string path;
    const int made = makeHostSubdirectory("log/" + name, path);
    if (made != 0) {
        // Not to be taken for a lock that another process holds.
        return made == EACCES ? EPERM : made;
    }
    const std::string lockPath = path + kLockName;
    OwnedDescriptor file(open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
    if (!file) {
        return errno == EACCES ? EPERM : errno;
    }
    const int error = lockWhole(file.get());
    if (error != 0) {
        return error;
    }
    if (!isOpenFile(lockPath.c_str(), file.get())) {
        return ESTALE; // Somebody removed the directory just now.
    }
    path_ = std::move(path);
    lock_ = std::move(file);
    return 0;
}

int LogDirectory::claim(const std::string& processName) {
    if (lock_ && isOpenFile((path_ + kLockName).c_str(), lock_.get())) {
        return 0;
    }
    release();
    int error = claimNamed(processName);
    if (takenByAnother(error)) {
        error = claimNamed(processName + "." + std::to_string(getpid()));
        if (error == 0 && ftruncate(lock_.get(), kSpareMark) == 0) {
            removeDeadDirectories(path_.substr(0, path_.rfind('/')), processName);
        }
    }
    return error;
}

void LogDirectory::release() {
    lock_ = OwnedDescriptor();
    path_.clear();
}

} // namespace tarn::host

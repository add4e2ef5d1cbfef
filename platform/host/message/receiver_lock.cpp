#include "message/receiver_lock.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <ctime>

#include "base/same_file.h"
#include "base/whole_file.h"

namespace tarn::host {

// Opened without blocking: a pipe of that name must not hold up the process, and with it every fork.
int ReceiverLock::lockFile(const std::string& path, ForkAwareDescriptor& file) {
    file = ForkAwareDescriptor::make(
        [&] { return open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600); });
    struct flock range = wholeFile();
    if (!file) {
        return errno;
    }
    if (fcntl(file.get(), F_SETLK, &range) != 0) {
        return errno == EACCES || errno == EAGAIN ? EADDRINUSE : errno;
    }
    return 0;
}

int ReceiverLock::writeHolder(int file) {
    startTime_ = static_cast<uint64_t>(std::time(nullptr));
    const std::string text = std::to_string(startTime_) + "\n";
    if (ftruncate(file, 0) != 0) {
        return errno;
    }
    const ssize_t written = pwrite(file, text.data(), text.size(), 0);
    if (written < 0) {
        return errno;
    }
    return static_cast<size_t>(written) == text.size() ? 0 : ENOSPC;
}

int ReceiverLock::acquire(const std::string& path) {
    ForkAwareDescriptor file;
    // A file that its holder removed between our opening and locking it is nobody's: take the next one.
    do {
        const int error = lockFile(path, file);
        if (error != 0) {
            return error;
        }
    } while (!isOpenFile(path.c_str(), file.get()));
    path_ = path;
    file_ = std::move(file);
    const int error = writeHolder(file_.get());
    if (error != 0) {
        release();
    }
    return error;
}

void ReceiverLock::release() {
    if (file_) {
        unlink(path_.c_str());
        file_.reset();
    }
}

bool readLockHolder(const std::string& path, LockHolder& holder) {
    const ForkAwareDescriptor file =
        ForkAwareDescriptor::make([&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK); });
    struct flock range = wholeFile();
    // The kernel says who holds it; the text only adds the time.
    if (!file || fcntl(file.get(), F_GETLK, &range) != 0 || range.l_type == F_UNLCK) {
        return false;
    }
    std::array<char, 32> text = {};
    const ssize_t length = pread(file.get(), text.data(), text.size(), 0);
    holder.pid = range.l_pid;
    holder.startTime = 0;
    if (length > 0) {
        std::from_chars(text.data(), text.data() + length, holder.startTime);
    }
    return true;
}

} // namespace tarn::host

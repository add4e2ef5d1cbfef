// Who receives under a name: a lock file that its process holds locked. The kernel drops the lock with the process, so
// a file without a lock is what a killed process left behind.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "message/fork_aware_descriptor.h"

namespace tarn::host {

struct LockHolder {
    pid_t pid = 0;
    uint64_t startTime = 0; // Seconds since 1970.
};

// All calls need the receiver mutex of the service: closing any descriptor of a file drops this process's locks on it.
class ReceiverLock {
 public:
    // 0; EADDRINUSE while another process holds the name; or another errno.
    int acquire(const std::string& path);
    uint64_t startTime() const { return startTime_; }
    // Removes the file and drops the lock, in this order, so that nobody locks a file that is about to vanish
    // unnoticed.
    void release();

 private:
    int lockFile(const std::string& path, ForkAwareDescriptor& file);
    int writeHolder(int file);

    std::string path_;
    ForkAwareDescriptor file_;
    uint64_t startTime_ = 0;
};

// Who holds the lock file of another process; false when nobody does.
bool readLockHolder(const std::string& path, LockHolder& holder);

} // namespace tarn::host

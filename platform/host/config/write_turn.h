// Whose turn it is to write, among the processes. Writers find the database busy and try again; without turns one that
// writes all the time would never let another in. A turn orders, it protects nothing: losing it costs only fairness.
#pragma once

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "base/above_standard.h"

namespace tarn::host {

// One a process, guarded by its owner's lock.
class WriteTurn {
 public:
    // False while another thread or process has the turn.
    bool take(const std::string& path) {
        if (taken_) {
            return false;
        }
        if (file_ < 0) {
            file_ = aboveStandard(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
        }
        // Where there can be no such file, writing itself tells why.
        taken_ = file_ < 0 || flock(file_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
        return taken_;
    }

    void leave() {
        if (file_ >= 0) {
            flock(file_, LOCK_UN);
        }
        taken_ = false;
    }

    void close() {
        if (file_ >= 0) {
            ::close(file_);
        }
        file_ = -1;
        taken_ = false;
    }

 private:
    int file_ = -1;
    bool taken_ = false;
};

} // namespace tarn::host

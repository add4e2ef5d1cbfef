// Whose turn it is to write, among the processes. Writers find the database busy and try again; without turns one that
// writes all the time would never let another in. A turn orders, it protects nothing: losing it costs only fairness.
#pragma once

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <string>

#include "base/owned_descriptor.h"

namespace tarn::host {

// One a process, guarded by its owner's lock.
class WriteTurn {
 public:
    // False while another thread or process has the turn.
    bool take(const std::string& path) {
        if (taken_) {
            return false;
        }
        if (!file_) {
            file_ = OwnedDescriptor(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
        }
        // Where there can be no such file, writing itself tells why.
        taken_ = !file_ || flock(file_.get(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
        return taken_;
    }

    void leave() {
        if (file_) {
            flock(file_.get(), LOCK_UN);
        }
        taken_ = false;
    }

    void close() {
        file_ = OwnedDescriptor();
        taken_ = false;
    }

 private:
    OwnedDescriptor file_;
    bool taken_ = false;
};

} // namespace tarn::host

// Holds a platform mutex for a scope. A platform that refuses the lock does not stop the work: it then runs unguarded,
// and nothing is given back that was never taken.
#pragma once

#include "tarn_platform/os_mutex.h"

namespace tarn::detail {

class PlatformLock {
 public:
    explicit PlatformLock(OsMutex& mutex) : mutex_(mutex), held_(OsMutexLock(&mutex) == 0) {}
    ~PlatformLock() {
        if (held_) {
            OsMutexUnLock(&mutex_);
        }
    }
    PlatformLock(const PlatformLock&) = delete;
    PlatformLock& operator=(const PlatformLock&) = delete;

 private:
    OsMutex& mutex_;
    const bool held_;
};

} // namespace tarn::detail

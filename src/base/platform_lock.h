// Holds a platform mutex for a scope.
#pragma once

#include "tarn_platform/os_mutex.h"

namespace tarn::detail {

class PlatformLock {
 public:
    explicit PlatformLock(OsMutex& mutex) : mutex_(mutex) { OsMutexLock(&mutex_); }
    ~PlatformLock() { OsMutexUnLock(&mutex_); }
    PlatformLock(const PlatformLock&) = delete;
    PlatformLock& operator=(const PlatformLock&) = delete;

 private:
    OsMutex& mutex_;
};

} // namespace tarn::detail

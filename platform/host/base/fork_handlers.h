// What has to happen when the process forks: a child has only the thread that forked it, so it must find no lock held
// by another one, and nothing that another one served.
#pragma once

#include <pthread.h>

#include <new>

#include "base/report.h"

namespace tarn::host {

// Throws std::bad_alloc; the handlers fail for no other reason.
inline void registerForkHandlers(void (*before)(), void (*afterInParent)(), void (*afterInChild)()) {
    if (pthread_atfork(before, afterInParent, afterInChild) != 0) {
        throw std::bad_alloc();
    }
}

// Has a lock that lives as long as the process held over every fork. To be defined beside the lock, in a source file.
template <auto& lock>
class HeldOverForks {
 public:
    HeldOverForks() {
        const auto release = [] { lock.unlock(); };
        if (pthread_atfork([] { lock.lock(); }, release, release) != 0) {
            report("no memory to prepare for forks; a child process of this one may hang");
        }
    }
};

} // namespace tarn::host

// A child has only the thread that forked it. A lock that another thread held at that moment would stay held in the
// child for ever, and what that thread was about would never end.
#pragma once

#include <pthread.h>

#include <new>

namespace tarn::detail {

// Defined as an object beside what the handlers care for, they are known from the loading of the library on. Without
// memory for that the loading fails.
class ForkHandlers {
 public:
    ForkHandlers(void (*before)(), void (*afterInParent)(), void (*afterInChild)()) {
        if (pthread_atfork(before, afterInParent, afterInChild) != 0) {
            throw std::bad_alloc();
        }
    }
};

} // namespace tarn::detail

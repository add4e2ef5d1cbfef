// Signal sets and masks; errno codes are the platform's codes.
#include <cerrno>

#include "tarn_platform/os_signal.h"

static_assert(SIG_BLOCK == 0, "the operation codes are passed through");

uint32_t OsSigEmptySet(sigset_t* set) {
    if (set == nullptr) {
        return EINVAL;
    }
    return sigemptyset(set) == 0 ? 0 : static_cast<uint32_t>(errno);
}

uint32_t OsSigAddSet(sigset_t* set, int signal) {
    if (set == nullptr) {
        return EINVAL;
    }
    return sigaddset(set, signal) == 0 ? 0 : static_cast<uint32_t>(errno);
}

uint32_t OsPthreadSigmask(int how, const sigset_t* set, sigset_t* old) {
    if (set == nullptr) {
        return EINVAL;
    }
    return static_cast<uint32_t>(pthread_sigmask(how, set, old));
}

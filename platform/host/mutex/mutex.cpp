// Mutexes are the C library's; their errno codes are the platform's codes.
#include <cerrno>

#include "tarn_platform/os_mutex.h"

namespace {

template <typename Operation>
uint32_t onMutex(OsMutex* mutex, Operation operation) {
    return mutex == nullptr ? EINVAL : static_cast<uint32_t>(operation(mutex));
}

} // namespace

uint32_t OsMutexInit(OsMutex* mutex) {
    return onMutex(mutex, [](OsMutex* m) { return pthread_mutex_init(m, nullptr); });
}

uint32_t OsMutexDestroy(OsMutex* mutex) {
    return onMutex(mutex, pthread_mutex_destroy);
}

uint32_t OsMutexLock(OsMutex* mutex) {
    return onMutex(mutex, pthread_mutex_lock);
}

uint32_t OsMutexUnLock(OsMutex* mutex) {
    return onMutex(mutex, pthread_mutex_unlock);
}

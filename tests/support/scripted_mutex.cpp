#include "scripted_platform.h"
#include "tarn_platform/os_mutex.h"

using tarn::test::ScriptedPlatform;

uint32_t OsMutexInit(OsMutex* mutex) {
    if (ScriptedPlatform::get().enter("OsMutexInit")) {
        return 1;
    }
    return static_cast<uint32_t>(pthread_mutex_init(mutex, nullptr));
}

uint32_t OsMutexDestroy(OsMutex* mutex) {
    ScriptedPlatform::get().enterInfallible("OsMutexDestroy");
    return static_cast<uint32_t>(pthread_mutex_destroy(mutex));
}

uint32_t OsMutexLock(OsMutex* mutex) {
    // Outside sweeps: callers go on without the lock, and a sweep's check could not tell.
    if (ScriptedPlatform::get().enter("OsMutexLock")) {
        return 1;
    }
    const int result = pthread_mutex_lock(mutex);
    if (result == 0) {
        ScriptedPlatform::get().mutexTaken();
    }
    return static_cast<uint32_t>(result);
}

uint32_t OsMutexUnLock(OsMutex* mutex) {
    ScriptedPlatform::get().enterInfallible("OsMutexUnLock");
    ScriptedPlatform::get().mutexGiven();
    return static_cast<uint32_t>(pthread_mutex_unlock(mutex));
}

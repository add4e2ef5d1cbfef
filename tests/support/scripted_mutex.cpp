#include "scripted_platform.h"
#include "tarn_platform/os_mutex.h"

using namespace tarn::test;

uint32_t OsMutexInit(OsMutex* mutex) {
    return scriptedCall(__func__, 1U, [=] { return pthread_mutex_init(mutex, nullptr); });
}

uint32_t OsMutexDestroy(OsMutex* mutex) {
    ScriptedPlatform::get().enterInfallible(__func__);
    return static_cast<uint32_t>(pthread_mutex_destroy(mutex));
}

uint32_t OsMutexLock(OsMutex* mutex) {
    return scriptedCall(__func__, 1U, [=] {
        const int result = pthread_mutex_lock(mutex);
        if (result == 0) {
            ScriptedPlatform::get().mutexTaken();
        }
        return result;
    });
}

uint32_t OsMutexUnLock(OsMutex* mutex) {
    ScriptedPlatform::get().enterInfallible(__func__);
    ScriptedPlatform::get().mutexGiven();
    return static_cast<uint32_t>(pthread_mutex_unlock(mutex));
}

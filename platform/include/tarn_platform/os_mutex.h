/**
 * @file os_mutex.h
 * @brief Mutexes. An all-zero `OsMutex` is a valid unlocked one.
 */
#ifndef TARN_PLATFORM_OS_MUTEX_H
#define TARN_PLATFORM_OS_MUTEX_H

#include <pthread.h>

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** A mutex of the platform. */
typedef pthread_mutex_t OsMutex;

/**
 * @brief Makes a mutex, unlocked.
 * @param mutex  The mutex.
 * @return 0, or the platform's code.
 */
uint32_t OsMutexInit(OsMutex* mutex);

/**
 * @brief Ends an unlocked mutex.
 * @param mutex  The mutex.
 * @return 0, or the platform's code.
 */
uint32_t OsMutexDestroy(OsMutex* mutex);

/**
 * @brief Waits for a mutex and takes it; not recursive.
 * @param mutex  The mutex.
 * @return 0, or the platform's code.
 */
uint32_t OsMutexLock(OsMutex* mutex);

/**
 * @brief Gives a mutex back that the calling thread holds.
 * @param mutex  The mutex.
 * @return 0, or the platform's code.
 */
uint32_t OsMutexUnLock(OsMutex* mutex);

TARN_EXTERN_C_END

#endif

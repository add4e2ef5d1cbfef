/**
 * @file os_timer.h
 * @brief The platform's timer manager: one thread, one tick, expiry callbacks.
 */
#ifndef TARN_PLATFORM_OS_TIMER_H
#define TARN_PLATFORM_OS_TIMER_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** Expiry callback; gets the creation record or a copy of it, on the timer manager's thread. The result is ignored. */
typedef uint32_t (*OsTimerCallback)(void* param);

/** What `OsTmrCreate` is given. */
typedef struct OsTimerParam {
    uint32_t reserved0;       /**< The platform's; 0. */
    char name[16];            /**< NUL-terminated timer name. */
    uint8_t userData[8];      /**< Handed back in the expiry callback. */
    uint8_t reserved1[24];    /**< The platform's; zero bytes. */
    uint32_t userDataMarker;  /**< 1: a 32-bit id stands in `userData`; 8: an address does. */
    uint32_t periodTicks;     /**< Time to expiry in ticks of the manager; 0 counts as 1. */
    uint32_t repeat;          /**< 0: one-shot, 1: periodic. */
    OsTimerCallback callback; /**< Never null. */
} OsTimerParam;

static_assert(sizeof(OsTimerParam) == 72, "timer record size is part of the contract");
static_assert(offsetof(OsTimerParam, name) == 4, "timer record layout is part of the contract");
static_assert(offsetof(OsTimerParam, userData) == 20, "timer record layout is part of the contract");
static_assert(offsetof(OsTimerParam, userDataMarker) == 52, "timer record layout is part of the contract");
static_assert(offsetof(OsTimerParam, periodTicks) == 56, "timer record layout is part of the contract");
static_assert(offsetof(OsTimerParam, repeat) == 60, "timer record layout is part of the contract");
static_assert(offsetof(OsTimerParam, callback) == 64, "timer record layout is part of the contract");

/**
 * @brief Starts the timer manager.
 * @param first             0; kept for the platform.
 * @param tickMicroseconds  Length of a tick in microseconds.
 * @param third             0; kept for the platform.
 * @return 0, or the platform's code.
 */
uint32_t OsTmrManagerInit(uint32_t first, uint32_t tickMicroseconds, uint32_t third);

/**
 * @brief Creates a running timer.
 * @param param   Copied before this returns.
 * @param handle  Receives the timer's handle, never null on success.
 * @param ticks   Time to the first expiry in ticks, 0 for the next tick; a periodic timer repeats after
 *                `param->periodTicks`.
 * @return 0, or the platform's code.
 *
 * A one-shot timer frees itself when it has expired; deleting it afterwards is harmless.
 */
uint32_t OsTmrCreate(const OsTimerParam* param, void** handle, uint32_t ticks);

/**
 * @brief Deletes a timer. When this returns, its callback neither runs nor will run, except in the caller's own frame
 *        when the caller is that callback.
 * @param handle  From `OsTmrCreate`.
 * @return 0, or the platform's code for a handle that names no timer.
 */
uint32_t OsTmrDelete(void* handle);

TARN_EXTERN_C_END

#endif

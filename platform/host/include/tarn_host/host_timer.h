/**
 * @file host_timer.h
 * @brief What the host's timer manager does beyond `tarn_platform/os_timer.h`.
 *
 * One thread runs all timers of a process. `OsTmrManagerInit` starts it; it inherits the signal mask of the thread that
 * calls. It sleeps on the monotonic clock (POSIX CLOCK_MONOTONIC) to absolute times, so that nothing drifts and setting
 * the calendar time changes nothing, and it does not wake while no timer runs.
 *
 * Ticks: the ticks of a manager start with it and never shift. A timer of n ticks expires at the first tick that is at
 * least n ticks away: never early, and at most one tick late on an idle machine; one of 0 ticks at the next tick. A
 * periodic timer keeps to its ticks however late a callback comes; its period of 0 ticks counts as 1.
 *
 * Late wake-ups (a stopped process, an overloaded machine, a slow callback): every timer that became due meanwhile
 * expires once, in the order of the ticks; further periods that a periodic timer missed are skipped. Time in which the
 * machine itself is suspended does not count.
 *
 * Handles: a number of a slot and its generation, no address. One that names no timer, because its one-shot timer has
 * expired, because it was deleted before, or because it is garbage, is answered with ENOENT.
 *
 * Results: EINVAL for a null argument, a missing callback, and a tick of 0 or of more than a second; ENODEV for a timer
 * without a manager; ENOMEM or EAGAIN when memory or threads are out; EBUSY for a second `OsTmrManagerInit` with
 * another tick, which changes nothing, while one with the same tick is welcome, and for one while the manager is being
 * stopped.
 *
 * Callbacks may create and delete timers, their own too, and may fork: a child process starts without manager and
 * timers, handles of its parent name nothing there, and it is ended when it returns from the callback.
 */
#ifndef TARN_HOST_HOST_TIMER_H
#define TARN_HOST_HOST_TIMER_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** What the timer manager is doing. */
typedef struct TarnHostTimerInfo {
    uint32_t tickMicroseconds; /**< 0 without a manager. */
    uint32_t timers;           /**< Timers that will expire. */
    uint64_t expiries;         /**< Callbacks run since the process started; a forked child begins at 0. */
    uint64_t skippedPeriods;   /**< Periods that periodic timers missed, counted likewise. */
} TarnHostTimerInfo;

static_assert(sizeof(TarnHostTimerInfo) == 24, "the record is shared with the tools");

/**
 * @brief Fills the state of the timer manager.
 * @param info  Filled on success.
 * @return 0, or EINVAL for null.
 */
uint32_t TarnHostTimerGetInfo(TarnHostTimerInfo* info);

/**
 * @brief Stops the timer manager and deletes all timers; a running callback is waited for. For tests and for tools that
 *        end in order; a process may simply exit.
 * @return 0; ENODEV without a manager; EDEADLK in a callback, which changes nothing.
 */
uint32_t TarnHostTimerManagerStop(void);

TARN_EXTERN_C_END

#endif

/**
 * @file os_signal.h
 * @brief Signal sets and the calling thread's signal mask.
 */
#ifndef TARN_PLATFORM_OS_SIGNAL_H
#define TARN_PLATFORM_OS_SIGNAL_H

#include <signal.h>

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/**
 * @brief Empties a signal set.
 * @param set  The set.
 * @return 0, or the platform's code.
 */
uint32_t OsSigEmptySet(sigset_t* set);

/**
 * @brief Adds a signal, by its number, to a set.
 * @param set     The set.
 * @param signal  The signal.
 * @return 0, or the platform's code.
 */
uint32_t OsSigAddSet(sigset_t* set, int signal);

/**
 * @brief Changes the calling thread's signal mask.
 * @param how  0 blocks the set, as SIG_BLOCK does (POSIX pthread_sigmask).
 * @param set  The signals meant.
 * @param old  Receives the mask as it was; may be null.
 * @return 0, or the platform's code.
 */
uint32_t OsPthreadSigmask(int how, const sigset_t* set, sigset_t* old);

TARN_EXTERN_C_END

#endif

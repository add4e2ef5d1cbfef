/**
 * @file host_process.h
 * @brief Where the host platform keeps its files and under which name it knows this process.
 */
#ifndef TARN_HOST_HOST_PROCESS_H
#define TARN_HOST_HOST_PROCESS_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/**
 * @brief The directory below which everything of the host platform stands.
 *
 * The environment variable TARN_HOST_DIR; without it "$XDG_RUNTIME_DIR/tarn", else "/tmp/tarn-UID". It is read at the
 * first use and stays the same for the life of the process. The directory is created with mode 0700 when it is absent;
 * one that belongs to another user is refused.
 * @return the absolute path without a trailing slash, or null, with the reason on standard error, when it cannot be
 * used.
 */
const char* TarnHostDir(void);

/**
 * @brief Names this process for its logs, lists and messages on standard error.
 * @param name  1 to 15 characters of letters, digits, '_', '-' and '.', not starting with '.'.
 * @return 0, or EINVAL for another name, which changes nothing.
 *
 * Call it before the process uses a facility that keeps files. Without it the program's file name is used.
 */
uint32_t TarnHostSetProcessName(const char* name);

/**
 * @brief The name of this process.
 * @return it, NUL-terminated; never null.
 */
const char* TarnHostProcessName(void);

TARN_EXTERN_C_END

#endif

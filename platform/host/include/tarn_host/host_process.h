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
 * its parent must exist. Refused are a directory that belongs to another user, one that group or others may write to,
 * and a symbolic link.
 * @return the path without a trailing slash, absolute unless the working directory is gone; null when it cannot be
 *         used, with the reason on standard error at the first call, and when memory is out. The text is the
 *         platform's. Any thread may call it.
 */
const char* TarnHostDir(void);

/**
 * @brief Names this process for its logs, lists and messages on standard error.
 * @param name  1 to 15 characters of letters, digits, '_', '-' and '.', not starting with '.'; copied.
 * @return 0, or EINVAL for another name, which changes nothing.
 *
 * Call it before the process uses a facility that keeps files. Without it the program's file name is used.
 */
uint32_t TarnHostSetProcessName(const char* name);

/**
 * @brief The name of this process.
 * @return it, NUL-terminated; never null. The text is the platform's and lives as long as the process;
 *         `TarnHostSetProcessName` changes it, so no other thread may use it meanwhile.
 */
const char* TarnHostProcessName(void);

TARN_EXTERN_C_END

#endif

/**
 * @file os_file.h
 * @brief Directories and files.
 */
#ifndef TARN_PLATFORM_OS_FILE_H
#define TARN_PLATFORM_OS_FILE_H

#include <dirent.h>
#include <stdio.h>

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/**
 * @brief Opens a directory.
 * @param path  The directory.
 * @return its handle for `OsReadDir` and `OsCloseDir`, or null.
 */
void* OsOpenDir(const char* path);

/**
 * @brief The directory's next entry, valid until the next call on the same handle.
 * @param directory  From `OsOpenDir`.
 * @return it; null at the end.
 */
struct dirent* OsReadDir(void* directory);

/**
 * @brief Closes a directory.
 * @param directory  From `OsOpenDir`.
 * @return 0, or -1.
 */
int OsCloseDir(void* directory);

/**
 * @brief Copies a regular file; an existing target is replaced.
 * @param from  The file.
 * @param to    The copy.
 * @return 0, or a non-zero code with `errno` set; the target is then as it was.
 */
int OsCopyFile(const char* from, const char* to);

/**
 * @brief Removes a file or an empty directory.
 * @param path  What to remove.
 * @return 0, or non-zero with `errno` set.
 */
int OsRemove(const char* path);

/**
 * @brief Opens a stream as C's fopen does.
 * @param path  The file.
 * @param mode  As fopen takes it (C11 7.21.5.3).
 * @return the stream, closed with fclose, or null with `errno` set.
 */
FILE* OsFopen(const char* path, const char* mode);

TARN_EXTERN_C_END

#endif

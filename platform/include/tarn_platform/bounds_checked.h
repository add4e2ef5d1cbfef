/**
 * @file bounds_checked.h
 * @brief Bounds-checked memory and text functions (C11 Annex K).
 *
 * Results differ from Annex K in two places: `sprintf_s` and `vsnprintf_s` return the length, or -1 for a text that
 * would not fit (the buffer then holds an empty text). The copies return 0 or a non-zero code and never write past the
 * bound; after a failed copy a destination that may be written holds an empty text (memory: zero bytes). A broken
 * constraint is answered by its code alone: no handler is called.
 */
#ifndef TARN_PLATFORM_BOUNDS_CHECKED_H
#define TARN_PLATFORM_BOUNDS_CHECKED_H

#include <stdarg.h>

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/* A C library with Annex K of its own declares these two. */
#ifndef __STDC_LIB_EXT1__
/** A size or bound in bytes. */
typedef size_t rsize_t;
/** 0, or a code. */
typedef int errno_t;
#endif

/**
 * @brief Copies `count` bytes; the areas must not overlap (K.3.7.1.1).
 * @param destination  Where to write.
 * @param bound        Bytes at `destination`.
 * @param source       What to copy.
 * @param count        Bytes to copy.
 * @return 0, or a code.
 */
errno_t memcpy_s(void* destination, rsize_t bound, const void* source, rsize_t count);

/**
 * @brief Copies `count` bytes; the areas may overlap (K.3.7.1.2).
 * @param destination  Where to write.
 * @param bound        Bytes at `destination`.
 * @param source       What to copy.
 * @param count        Bytes to copy.
 * @return 0, or a code.
 */
errno_t memmove_s(void* destination, rsize_t bound, const void* source, rsize_t count);

/**
 * @brief Sets `count` bytes (K.3.7.4.1).
 * @param destination  Where to write.
 * @param bound        Bytes at `destination`.
 * @param value        Its low byte is stored.
 * @param count        Bytes to set.
 * @return 0, or a code.
 */
errno_t memset_s(void* destination, rsize_t bound, int value, rsize_t count);

/**
 * @brief Copies a text with its NUL (K.3.7.1.3).
 * @param destination  Where to write.
 * @param bound        Bytes at `destination`.
 * @param source       NUL-terminated text.
 * @return 0, or a code.
 */
errno_t strcpy_s(char* destination, rsize_t bound, const char* source);

/**
 * @brief Copies at most `count` characters and ends them with a NUL (K.3.7.1.4).
 * @param destination  Where to write.
 * @param bound        Bytes at `destination`.
 * @param source       The text.
 * @param count        Most characters to copy.
 * @return 0, or a code.
 */
errno_t strncpy_s(char* destination, rsize_t bound, const char* source, rsize_t count);

/**
 * @brief Appends a text with its NUL (K.3.7.2.1).
 * @param destination  Where to write.
 * @param bound        Bytes at `destination`.
 * @param source       NUL-terminated text.
 * @return 0, or a code.
 */
errno_t strcat_s(char* destination, rsize_t bound, const char* source);

/**
 * @brief Formats (K.3.5.3.6).
 * @param destination  Where to write.
 * @param bound        Bytes at `destination`.
 * @param format       printf format (C11 7.21.6.1).
 * @return the length, or -1 for a text that does not fit, a null argument of `%s`, or `%n`.
 */
int sprintf_s(char* destination, rsize_t bound, const char* format, ...) TARN_PRINTF_LIKE(3, 4);

/**
 * @brief Formats (K.3.5.3.12, with the results told above).
 * @param destination  Where to write.
 * @param bound        Bytes at `destination`.
 * @param format       printf format (C11 7.21.6.1).
 * @param arguments    Its arguments.
 * @return the length, or -1 for a text that does not fit, a null argument of `%s`, or `%n`.
 */
int vsnprintf_s(char* destination, rsize_t bound, const char* format, va_list arguments) TARN_PRINTF_LIKE(3, 0);

/**
 * @brief Scans a text (K.3.5.3.7). `%s`, `%c` and `%[` take a size of type `rsize_t` behind their address.
 * @param text    NUL-terminated text.
 * @param format  scanf format (C11 7.21.6.2).
 * @return the number of values stored, or -1 when the input ends before the first of them.
 */
int sscanf_s(const char* text, const char* format, ...);

/**
 * @brief Takes a text apart at delimiters (K.3.7.3.1). Not called by this version of the library.
 * @param text        The text at the first call, then null.
 * @param length      In: characters left; updated with every token.
 * @param delimiters  Characters between tokens.
 * @param context     Kept by the caller between calls.
 * @return the next token inside the text, or null.
 */
char* strtok_s(char* text, rsize_t* length, const char* delimiters, char** context);

TARN_EXTERN_C_END

#endif

/**
 * @file platform_base.h
 * @brief Shorthands that every header of the platform contract uses.
 *
 * The contract is plain C. Its headers compile as C11 and as C++17 and later. Whoever provides a platform defines the
 * declared functions with C linkage; `libtarn_conference_common` only refers to them. Every call may come from any
 * thread, several at once, unless its header says otherwise; none may throw or end the process. Every call may fail.
 * Texts and buffers stay the caller's unless told.
 */
#ifndef TARN_PLATFORM_PLATFORM_BASE_H
#define TARN_PLATFORM_PLATFORM_BASE_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

/** Declarations from here to `TARN_EXPORT_END` are visible outside the shared object that defines them. */
#define TARN_EXPORT_BEGIN _Pragma("GCC visibility push(default)")
/** Ends what `TARN_EXPORT_BEGIN` began. */
#define TARN_EXPORT_END _Pragma("GCC visibility pop")

#ifdef __cplusplus
/** Declarations from here to `TARN_EXTERN_C_END` have C linkage and are visible outside. */
#define TARN_EXTERN_C_BEGIN TARN_EXPORT_BEGIN extern "C" {
/** Ends what `TARN_EXTERN_C_BEGIN` began. */
#define TARN_EXTERN_C_END \
    }                     \
    TARN_EXPORT_END
#else
#define TARN_EXTERN_C_BEGIN TARN_EXPORT_BEGIN
#define TARN_EXTERN_C_END TARN_EXPORT_END
#endif

/** Marks a function that formats like printf: the format's and the first variable argument's positions, from 1. */
#define TARN_PRINTF_LIKE(formatIndex, firstArgument) __attribute__((format(printf, formatIndex, firstArgument)))

#endif

/**
 * @file os_time.h
 * @brief Calendar time and seconds of the device.
 */
#ifndef TARN_PLATFORM_OS_TIME_H
#define TARN_PLATFORM_OS_TIME_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** Local calendar time, as `struct tm` counts it, with milliseconds in front. */
typedef struct OsTimeEx {
    uint32_t milliseconds; /**< 0 to 999. */
    uint32_t second;       /**< 0 to 60. */
    uint32_t minute;       /**< 0 to 59. */
    uint32_t hour;         /**< 0 to 23. */
    uint32_t day;          /**< From 1. */
    uint32_t month;        /**< From 0. */
    uint32_t year;         /**< Years since 1900. */
    uint32_t weekDay;      /**< From Sunday, 0. */
    uint32_t yearDay;      /**< From 0. */
} OsTimeEx;

static_assert(sizeof(OsTimeEx) == 36, "nine 32-bit values are part of the contract");
static_assert(offsetof(OsTimeEx, milliseconds) == 0, "time layout is part of the contract");
static_assert(offsetof(OsTimeEx, year) == 24, "time layout is part of the contract");

/**
 * @brief Fills the local time of now.
 * @param out  Receives the time.
 * @return 0, or the platform's code.
 */
uint32_t OsGetTimeEx(OsTimeEx* out);

/**
 * @brief The system time in whole seconds.
 * @return the seconds.
 */
uint32_t OsGetSysTimeSec(void);

TARN_EXTERN_C_END

#endif

/**
 * @file conf_system.h
 * @brief Memory statistics, event-report hooks, the conference type and the network helper.
 *
 * Any thread may call any function.
 */
#ifndef TARN_CONFERENCE_CONF_SYSTEM_H
#define TARN_CONFERENCE_CONF_SYSTEM_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** The conference type, 0 at start; use `GetOmsConfType` and `SetOmsConfType`. */
extern uint32_t g_bConfCalltype;

/** @brief Event report; this build reports nothing. @return 0. */
uint32_t ConfReportToBeacon(void);

/** @brief Event report on the address book; this build reports nothing. @return 0. */
uint32_t ConfReportAddrBookToBeacon(void);

/** @brief Event report on a registration. @return the result of `ConfReportToBeacon`. */
uint32_t ConfReportRegisterToBeacon(void);

/** @brief Event report on a failed call; this build reports nothing. @return 0. */
uint32_t ConfReportCallErrToBeacon(void);

/**
 * @brief The conference type.
 * @return what `SetOmsConfType` set last; 0 at start.
 */
uint32_t GetOmsConfType(void);

/** @brief Sets the conference type. @param type  A value agreed between the calling processes; any is taken. */
void SetOmsConfType(uint32_t type);

/**
 * @brief Fills the platform's memory record.
 * @param filter  The platform's filter record; null for all blocks.
 * @param out     The platform's result record.
 * @return 1 for a null `out`, else the result of `OsMemGetMemRec`.
 */
uint32_t ConfMemGetMemRec(const void* filter, void* out);

/**
 * @brief Fills the platform's memory totals.
 * @param out     The platform's result record.
 * @param second  Passed on; the platform's own.
 * @param third   Passed on; the platform's own.
 * @return 1 for a null `out`, else the result of `OsMemGetMemStatus`.
 */
uint32_t ConfMemGetMemStatus(void* out, uintptr_t second, uintptr_t third);

/**
 * @brief Checks the live blocks.
 * @param out     The platform's result record.
 * @param second  Passed on; the platform's own.
 * @param third   Passed on; the platform's own.
 * @return 1 for a null `out`, else the result of `OsMemGetMemScan`.
 */
uint32_t ConfMemGetMemScan(void* out, uintptr_t second, uintptr_t third);

/**
 * @brief Fills the platform's use-over-time record.
 * @param out     The platform's result record.
 * @param second  Passed on; the platform's own.
 * @param third   Passed on; the platform's own.
 * @return 1 for a null `out`, else the result of `OsMemGetMemoryUseMonitor`.
 */
uint32_t ConfMemGetMemoryUseMonitor(void* out, uintptr_t second, uintptr_t third);

/**
 * @brief The best local address towards a destination: not supported, which is logged as an error.
 * @param destIp  Ignored, as is whatever follows it.
 * @return 1.
 */
uint32_t GetBestLocalIpByDestIp(const char* destIp, ...);

TARN_EXTERN_C_END

#endif

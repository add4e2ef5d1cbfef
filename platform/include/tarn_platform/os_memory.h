/**
 * @file os_memory.h
 * @brief Accounted memory: every block is charged to the source file and line that asked for it.
 */
#ifndef TARN_PLATFORM_OS_MEMORY_H
#define TARN_PLATFORM_OS_MEMORY_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/**
 * @brief Allocates a block, aligned for any type.
 * @param size      Bytes.
 * @param first     0; kept for the platform.
 * @param second    0; kept for the platform.
 * @param third     0; kept for the platform.
 * @param line      Source line to charge.
 * @param fileName  Source file to charge; must stay valid for the life of the process.
 * @return the block, released with `OSMemTypeFreeMon`, or null. Its bytes are not set.
 */
void* OsMemMallocSetCharMon(uint32_t size, uint32_t first, uint32_t second, uint32_t third, uint32_t line,
                            const char* fileName);

/**
 * @brief Releases a block of `OsMemMallocSetCharMon`.
 * @param block     The block; null does nothing.
 * @param first     0; kept for the platform.
 * @param second    0; kept for the platform.
 * @param line      Source line that frees.
 * @param fileName  Source file that frees.
 */
void OSMemTypeFreeMon(void* block, uint32_t first, uint32_t second, uint32_t line, const char* fileName);

/**
 * @brief Fills the memory record, of all blocks or of those that a filter names.
 * @param hasFilter  1 when `filter` counts, else 0.
 * @param second     0; kept for the platform.
 * @param filter     The platform's filter record, or null.
 * @param out        The platform's result record.
 * @return 0, or the platform's code.
 */
uint32_t OsMemGetMemRec(uint32_t hasFilter, uint32_t second, const void* filter, void* out);

/**
 * @brief Fills the platform's totals.
 * @param out     The platform's record.
 * @param second  The platform's own.
 * @param third   The platform's own.
 * @return 0, or the platform's code.
 */
uint32_t OsMemGetMemStatus(void* out, uintptr_t second, uintptr_t third);

/**
 * @brief Checks the live blocks.
 * @param out     The platform's record.
 * @param second  The platform's own.
 * @param third   The platform's own.
 * @return 0, or the platform's code.
 */
uint32_t OsMemGetMemScan(void* out, uintptr_t second, uintptr_t third);

/**
 * @brief Fills the platform's use-over-time record.
 * @param out     The platform's record.
 * @param second  The platform's own.
 * @param third   The platform's own.
 * @return 0, or the platform's code.
 */
uint32_t OsMemGetMemoryUseMonitor(void* out, uintptr_t second, uintptr_t third);

TARN_EXTERN_C_END

#endif

/**
 * @file host_memory.h
 * @brief The records that the host platform's memory statistics fill, and a leak report.
 *
 * Every accounted block is charged to a site: the source file name and line that were passed when it was allocated. A
 * site is there from its first block to the end of the process. The statistics may be read from any thread at any time;
 * values read while other threads allocate belong to slightly different moments.
 *
 * A block that is freed twice, was never allocated as an accounted one, or was written outside its bounds ends the
 * process with `abort` when it is freed, after a line on standard error that names the freeing file and line.
 * Statistics cover the calling process only, but for `TarnHostMemoryOf`; a forked child starts with its parent's blocks
 * and sites.
 */
#ifndef TARN_HOST_HOST_MEMORY_H
#define TARN_HOST_HOST_MEMORY_H

#include <stdio.h>

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** What is charged to one source file and line. */
typedef struct TarnHostMemorySite {
    const char* fileName; /**< NUL-terminated; valid for the life of the process. "(unknown)" where null was passed. */
    uint32_t line;        /**< Source line. */
    uint32_t reserved;    /**< 0. */
    uint64_t liveBlocks;  /**< Blocks not freed yet. */
    uint64_t liveBytes;   /**< Bytes of these as they were asked for, without the allocator's own. */
    uint64_t peakBytes;   /**< Largest value that `liveBytes` ever had. */
    uint64_t totalBlocks; /**< Blocks ever allocated. */
    uint64_t totalBytes;  /**< Bytes ever allocated. */
} TarnHostMemorySite;

/** What `OsMemGetMemRec` takes as its filter. */
typedef struct TarnHostMemoryFilter {
    const char* fileName; /**< Only sites of this file name, compared whole and case-sensitively; not null. */
} TarnHostMemoryFilter;

/**
 * What `OsMemGetMemRec(hasFilter, second, filter, out)` fills.
 *
 * The caller sets `sites` and `capacity` before the call. Sites stand in the order of their live bytes, largest first,
 * then by file name and line. `second` is ignored.
 *
 * Results: 0, also when `total` is larger than `capacity`; EINVAL for a null record, for `sites` null with a capacity
 * above 0, and with `hasFilter` other than 0 for a null filter or a null file name in it; ENOMEM. Failures leave the
 * record as it was.
 */
typedef struct TarnHostMemoryRecord {
    TarnHostMemorySite* sites; /**< In: the caller's array; may be null when `capacity` is 0. */
    uint32_t capacity;         /**< In: elements of `sites`. */
    uint32_t count;            /**< Out: elements filled, at most `capacity`. */
    uint32_t total;            /**< Out: sites there are, after the filter. */
} TarnHostMemoryRecord;

/**
 * What `OsMemGetMemStatus(out, second, third)` fills: the sums over all sites. `second` and `third` are ignored.
 * Results: 0, or EINVAL for a null record.
 */
typedef struct TarnHostMemoryStatus {
    uint64_t sites;       /**< Sites that ever allocated. */
    uint64_t liveBlocks;  /**< Blocks not freed yet. */
    uint64_t liveBytes;   /**< Their bytes. */
    uint64_t peakBytes;   /**< Largest value that `liveBytes` ever had. */
    uint64_t totalBlocks; /**< Blocks ever allocated. */
    uint64_t totalBytes;  /**< Bytes ever allocated. */
} TarnHostMemoryStatus;

/** Where a block was written to outside its bounds; the bits add up. */
enum { TARN_HOST_MEMORY_DAMAGED_BEFORE = 1, TARN_HOST_MEMORY_DAMAGED_BEHIND = 2 };

/**
 * What `OsMemGetMemScan(out, second, third)` fills: every live block's guards, 16 bytes before and 8 bytes behind it,
 * are read. The blocks are only looked at, so that a damaged one can be found before its owner frees it. Allocations of
 * other threads wait for a part of the scan. `second` and `third` are ignored. Results: 0, also when damage was found,
 * or EINVAL for a null record.
 */
typedef struct TarnHostMemoryScan {
    uint64_t checkedBlocks; /**< Live blocks looked at. */
    uint64_t damagedBlocks; /**< Of these, how many were written to outside their bounds. */
    const void* block;      /**< One damaged block, as its owner knows it; null when there is none. */
    const char* fileName;   /**< The file that allocated `block`; null when there is none. */
    uint32_t line;          /**< The line that allocated it. */
    uint32_t size;          /**< Its bytes. */
    uint32_t damage;        /**< Sum of TARN_HOST_MEMORY_DAMAGED_ bits. */
    uint32_t reserved;      /**< 0. */
} TarnHostMemoryScan;

/**
 * What `OsMemGetMemoryUseMonitor(out, second, third)` fills: the use now, and over the window since the previous call
 * (since the first allocation at the first call). A tool that calls it once in an interval gets the use over time
 * without missing a peak. The window is one for the process. `second` and `third` are ignored. Results: 0, or EINVAL
 * for a null record.
 */
typedef struct TarnHostMemoryUse {
    uint64_t liveBlocks;      /**< Blocks not freed yet. */
    uint64_t liveBytes;       /**< Their bytes. */
    uint64_t peakBytes;       /**< Largest value that `liveBytes` ever had. */
    uint64_t windowPeakBytes; /**< Largest value of the window. */
    uint64_t windowBlocks;    /**< Blocks allocated in the window. */
    uint64_t windowBytes;     /**< Bytes allocated in the window. */
    uint64_t windowMs;        /**< Length of the window in milliseconds; 0 at the first call. */
} TarnHostMemoryUse;

/**
 * @brief Prints the live blocks by site, largest first, and the totals.
 * @param stream  Where to; not null, stays open.
 * @return the number of live blocks; 0 means that nothing leaked. When memory for the list is out, only the totals are
 *         printed.
 */
uint64_t TarnHostMemoryReport(FILE* stream);

/**
 * @brief Gets one site of another process.
 * @param site      Valid during the call, with the text it points to.
 * @param argument  As given to `TarnHostMemoryOf`.
 */
typedef void (*TarnHostMemoryVisitFunc)(const TarnHostMemorySite* site, void* argument);

/**
 * @brief Reads the account of a process that receives messages. The caller may be any program of the same user.
 * @param receiver   Name under which it receives, as `TarnHostReceiverList` tells it.
 * @param timeoutMs  Longest wait in milliseconds. It answers on its message thread, between two records.
 * @param status     Receives the sums; untouched on failure.
 * @param visit      Called for each site, in the order of `TarnHostMemoryRecord`; may be null.
 * @param argument   Handed to `visit`.
 * @return 0; EINVAL for a null or bad name and for a null `status`; ECONNREFUSED when nobody receives under this name;
 *         ETIMEDOUT when it is busy for longer; ECONNRESET when it ended meanwhile or is too old to know the question;
 *         EPROTO for an answer that is no account; EDEADLK in a callback of this receiver; ENOMEM; or another code of
 *         `tarn_host/host_message.h`.
 */
uint32_t TarnHostMemoryOf(const char* receiver, uint32_t timeoutMs, TarnHostMemoryStatus* status,
                          TarnHostMemoryVisitFunc visit, void* argument);

TARN_EXTERN_C_END

#endif

/**
 * @file om_log.h
 * @brief The log client: one file set a process, written record by record.
 */
#ifndef TARN_PLATFORM_OM_LOG_H
#define TARN_PLATFORM_OM_LOG_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** A log module: the id that its log file got and that file's name. */
typedef struct ConfLogInfo {
    uint16_t fileId;      /**< Filled in by `TarnOmLogCreateLog`; passed with every record. */
    const char* fileName; /**< Constant text. */
} ConfLogInfo;

static_assert(sizeof(ConfLogInfo) == 2 * sizeof(void*), "log module layout is part of the contract");
static_assert(offsetof(ConfLogInfo, fileId) == 0, "log module layout is part of the contract");
static_assert(offsetof(ConfLogInfo, fileName) == sizeof(void*), "log module layout is part of the contract");

/** What `TarnOmLogCreateLog` is given: the limits and the name of a log file. */
typedef struct OmLogCreationRecord {
    uint32_t recordBytes;  /**< Longest record text in bytes. */
    uint32_t fileCount;    /**< Rotated files kept beside the current one. */
    uint32_t maxFileBytes; /**< Size at which the file is rotated. */
    char name[32];         /**< File name, NUL-terminated. */
} OmLogCreationRecord;

static_assert(sizeof(OmLogCreationRecord) == 44, "creation record size is part of the contract");
static_assert(offsetof(OmLogCreationRecord, fileCount) == 4, "creation record layout is part of the contract");
static_assert(offsetof(OmLogCreationRecord, maxFileBytes) == 8, "creation record layout is part of the contract");
static_assert(offsetof(OmLogCreationRecord, name) == 12, "creation record layout is part of the contract");

/**
 * @brief Connects the process to the log service.
 * @param name  Name of the client.
 * @param flag  Kept for the platform.
 * @return 0, or the platform's code.
 */
uint32_t TarnOmLogClientInit(const char* name, uint32_t flag);

/** @brief Disconnects the process from the log service. @return 0, or the platform's code. */
uint32_t TarnOmLogClientUnInit(void);

/**
 * @brief Creates or re-opens a log file.
 * @param creationRecord  An `OmLogCreationRecord`, copied before this returns.
 * @param info            Its `fileId` receives the file's id.
 * @return 0, or the platform's code.
 */
uint32_t TarnOmLogCreateLog(const void* creationRecord, ConfLogInfo* info);

/**
 * @brief Writes one record.
 * @param level           0 always, 1 error, 2 warning, 3 information, 4 debug.
 * @param fileId          From `TarnOmLogCreateLog`; 0 when there is none yet.
 * @param fileName        Source file of the record; need not be terminated behind `fileNameLength`.
 * @param fileNameLength  Bytes of `fileName` that count.
 * @param line            Source line of the record.
 * @param format          printf format of the text.
 *
 * Any thread may call it, several at once.
 */
void TarnOmLogModuleLogRecord(uint8_t level, uint16_t fileId, const char* fileName, uint8_t fileNameLength,
                              uint32_t line, const char* format, ...) TARN_PRINTF_LIKE(6, 7);

TARN_EXTERN_C_END

#endif

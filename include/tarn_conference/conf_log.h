/**
 * @file conf_log.h
 * @brief Log records of the conference processes, written to "Conference.log" through the platform's log client.
 *
 * `ConfLogInit` comes first; records written before it carry file id 0 and what becomes of them is the platform's
 * affair. Every function here may be called from any thread at any time.
 */
#ifndef TARN_CONFERENCE_CONF_LOG_H
#define TARN_CONFERENCE_CONF_LOG_H

#include "tarn_platform/om_log.h"
#include "tarn_platform/platform_base.h"

#ifdef __cplusplus
#include <string>
#endif

TARN_EXTERN_C_BEGIN

/** Levels of a record. One is written when the current level is at least its own. */
enum {
    CONF_LOG_ALWAYS = 0,
    CONF_LOG_ERROR = 1,
    CONF_LOG_WARNING = 2,
    CONF_LOG_INFO = 3, /**< The level at start. */
    CONF_LOG_DEBUG = 4
};

/** The library's log module: the file id that the log client gave, and "Conference.log". */
extern ConfLogInfo g_LogInfo;

/**
 * @brief Connects to the log client and creates the log file.
 * @return 0; the log client's code when it refuses; 0xFFFFFFFF for a missing file name; a bounds-checked copy's code
 * for a file name of 32 bytes or more.
 */
uint32_t ConfLogInit(void);

/** @brief Disconnects from the log client. @return 0 always. */
uint32_t ConfLogUnInit(void);

/**
 * @brief The file id that is passed with every record.
 * @return it; 0 before `ConfLogInit`.
 */
uint16_t GetConfLogFileId(void);

/**
 * @brief The current level.
 * @return the level, 0 to 4.
 */
uint8_t GetLogLevel(void);

/**
 * @brief Sets the current level, at once and for all threads.
 * @param level  0 to 4.
 * @return 0, or 0xFFFFFFFF for a level above 4, which changes nothing.
 */
uint32_t SetLogLevel(uint8_t level);

/**
 * @brief Writes one record "[function]message".
 * @param level     Level of the record; its low 8 bits count.
 * @param funcName  Function that writes; null drops the record.
 * @param fileName  Source file that writes; null drops the record.
 * @param line      Source line that writes.
 * @param format    printf format (C11 7.21.6.1), formatted as C11 K.3.5.3.12 does it: a null argument of `%s`, and
 *                  `%n`, drop the record, and so does a null format.
 *
 * A record above the current level costs a byte comparison. A message, or a message with its function name, of more
 * than 511 bytes is dropped whole, never cut; use `ConfLogPrintfStr` for those.
 */
void ConfLogPrintf(int level, const char* funcName, const char* fileName, uint32_t line, const char* format, ...)
    TARN_PRINTF_LIKE(5, 6);

/**
 * @brief Writes a text of any length in pieces of at most 352 bytes, cut behind a newline where there is one.
 * @param level     Level of the records.
 * @param funcName  Function that writes; stands in the first record only.
 * @param fileName  Source file that writes; null writes nothing.
 * @param line      Source line that writes.
 * @param text      NUL-terminated; null or empty writes nothing.
 *
 * Only the first piece is subject to the current level; the others are always written.
 */
void ConfLogPrintfStr(int level, const char* funcName, const char* fileName, uint32_t line, const char* text);

/**
 * @brief Writes a buffer as text, in segments of 256 bytes when it has 400 bytes or more.
 * @param fileName  Source file that writes; only the part behind its last '/' is shown.
 * @param line      Source line that writes.
 * @param level     Level of the records.
 * @param data      The buffer; each record shows it up to its first NUL.
 * @param length    Bytes at `data`; no more are read.
 *
 * A null argument or a length of 0 is logged as an error.
 */
void ConfLogSegmentPrint(const char* fileName, uint32_t line, uint32_t level, const void* data, uint32_t length);

TARN_EXTERN_C_END

#ifdef __cplusplus
TARN_EXPORT_BEGIN
/**
 * @brief The part of a path behind its last '/' or '\\'.
 * @param path  The path.
 * @return it; the whole path without a separator; empty for a path that ends in one, and when memory is out.
 */
std::string GetFileName(const std::string& path);
TARN_EXPORT_END
#endif

#endif

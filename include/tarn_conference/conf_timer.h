/**
 * @file conf_timer.h
 * @brief Timers whose expiry is a message to a process, and the system time.
 *
 * Nothing runs on the timer thread but the sending: when a timer expires, an asynchronous call (`conf_msg.h`) with the
 * timer's handler, message id and data goes to the timer's receiver, on whose message thread the handler then runs.
 *
 * There are two families. Table timers (`ConfCommTimer...`) are rows of one table that the process hands over once;
 * they are addressed by their id. Free-standing timers (`ConfTimer...`) are records of the caller's. Both run on the
 * platform's timer manager with a tick of 10 ms, and both need `ConfCommTimerFuncInit` or `ConfCommTimerInit` first.
 *
 * A timer is idle or running. Starting a running timer does not restart it: the duration stays as it is, message id and
 * data are replaced. Stop it first for another duration.
 *
 * The two families differ in one thing that callers count on: an expired one-shot `ConfTimer` is idle again by itself,
 * an expired one-shot table timer only after `ConfCommTimerStop`.
 *
 * Threads: after the init any thread may start, stop and ask, several at once and the same timer, also in the handler
 * of that timer's message. Init and de-init run alone. A stop does not take back a message already sent.
 */
#ifndef TARN_CONFERENCE_CONF_TIMER_H
#define TARN_CONFERENCE_CONF_TIMER_H

#include <stdbool.h>

#include "tarn_conference/conf_msg.h"
#include "tarn_platform/os_timer.h"
#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** The mode of a timer that expires once; any other mode is periodic. */
#define CONF_TIMER_ONE_SHOT 1U

/** Length of a tick in milliseconds. Durations are rounded down to ticks; one below a tick means the next tick. */
#define CONF_TIMER_TICK_MS 10U

/** One row of the table of timers. The caller fills the fields down to `handler` and zeroes the others. */
typedef struct ConfCommTimerEntry {
    uint32_t timerId;           /**< By which the timer is addressed; the first row with an id wins. */
    uint32_t mode;              /**< `CONF_TIMER_ONE_SHOT`, or periodic. */
    uint32_t defaultDurationMs; /**< For starts with a duration of 0. */
    const char* recvProcName;   /**< Receiving process, at most 15 characters; stays the caller's. */
    ConfCommMsgHandler handler; /**< Carried by the expiry message. */
    void* platformTimer;        /**< Null while the timer is idle. */
    uint32_t msgId;             /**< Of the last start. */
    void* data;                 /**< Copy of the last start's data, or null. */
    uint32_t dataLen;           /**< Of the last start. */
} ConfCommTimerEntry;

/** A free-standing timer. Hand it zeroed to `ConfTimerInit`; it must stay in place until it is stopped. */
typedef struct ConfTimer {
    uint32_t id;                /**< The caller's own. */
    uint32_t mode;              /**< `CONF_TIMER_ONE_SHOT`, or periodic. */
    const char* recvProcName;   /**< Receiving process, at most 15 characters; stays the caller's. */
    ConfCommMsgHandler handler; /**< Carried by the expiry message. */
    void* platformTimer;        /**< Null while the timer is idle. */
    uint32_t msgId;             /**< Of the last start. */
    uint32_t dataLen;           /**< Of the last start. */
    void* data;                 /**< Copy of the last start's data, or null. */
} ConfTimer;

/** The record with which the platform's timers are created. */
typedef OsTimerParam ConfOsTimerParam;

/** Local calendar time. */
typedef struct ConfSysTime {
    uint16_t year;         /**< Full year. */
    uint8_t month;         /**< 1 to 12. */
    uint8_t day;           /**< 1 to 31. */
    uint8_t hour;          /**< 0 to 23. */
    uint8_t minute;        /**< 0 to 59. */
    uint8_t second;        /**< 0 to 60. */
    uint16_t milliseconds; /**< 0 to 999. */
} ConfSysTime;

static_assert(sizeof(ConfCommTimerEntry) == 64, "the table is filled by the processes");
static_assert(offsetof(ConfCommTimerEntry, timerId) == 0, "the table is filled by the processes");
static_assert(offsetof(ConfCommTimerEntry, mode) == 4, "the table is filled by the processes");
static_assert(offsetof(ConfCommTimerEntry, defaultDurationMs) == 8, "the table is filled by the processes");
static_assert(offsetof(ConfCommTimerEntry, recvProcName) == 16, "the table is filled by the processes");
static_assert(offsetof(ConfCommTimerEntry, handler) == 24, "the table is filled by the processes");
static_assert(offsetof(ConfCommTimerEntry, platformTimer) == 32, "the table is filled by the processes");
static_assert(offsetof(ConfCommTimerEntry, msgId) == 40, "the table is filled by the processes");
static_assert(offsetof(ConfCommTimerEntry, data) == 48, "the table is filled by the processes");
static_assert(offsetof(ConfCommTimerEntry, dataLen) == 56, "the table is filled by the processes");

static_assert(sizeof(ConfTimer) == 48, "the record belongs to the processes");
static_assert(offsetof(ConfTimer, id) == 0, "the record belongs to the processes");
static_assert(offsetof(ConfTimer, mode) == 4, "the record belongs to the processes");
static_assert(offsetof(ConfTimer, recvProcName) == 8, "the record belongs to the processes");
static_assert(offsetof(ConfTimer, handler) == 16, "the record belongs to the processes");
static_assert(offsetof(ConfTimer, platformTimer) == 24, "the record belongs to the processes");
static_assert(offsetof(ConfTimer, msgId) == 32, "the record belongs to the processes");
static_assert(offsetof(ConfTimer, dataLen) == 36, "the record belongs to the processes");
static_assert(offsetof(ConfTimer, data) == 40, "the record belongs to the processes");

static_assert(sizeof(ConfSysTime) == 10, "the record belongs to the processes");
static_assert(offsetof(ConfSysTime, month) == 2, "the record belongs to the processes");
static_assert(offsetof(ConfSysTime, second) == 6, "the record belongs to the processes");
static_assert(offsetof(ConfSysTime, milliseconds) == 8, "the record belongs to the processes");

/**
 * @brief `ConfCommTimerInit`, but a null table changes nothing.
 * @param table  As for `ConfCommTimerInit`.
 * @param count  As for `ConfCommTimerInit`.
 * @return as `ConfCommTimerInit`.
 */
uint32_t ConfCommTimerFuncInit(ConfCommTimerEntry* table, int32_t count);

/**
 * @brief Starts the timers: makes their mutex, blocks SIGCHLD and SIGUSR1 in the calling thread (the timer thread
 *        inherits that and never takes them), starts the platform's timer manager and takes over the table.
 * @param table  Stays the caller's and in place until the de-init.
 * @param count  Rows of the table; with 0 or less it has none.
 * @return 0, or 1 when the mutex, a signal call or the timer manager failed, or for a null table. The table is taken
 *         over even when the signals or the manager failed.
 */
uint32_t ConfCommTimerInit(ConfCommTimerEntry* table, int32_t count);

/**
 * @brief `ConfCommTimerDeInit`.
 * @return 0; it carries no meaning.
 */
uint32_t ConfCommTimerFuncDeInit(void);

/**
 * @brief Ends the mutex, stops every timer of the table and lets go of the table. Free-standing timers are to be
 *        stopped before. May be called without an init, and twice.
 * @return 0; it carries no meaning.
 */
uint32_t ConfCommTimerDeInit(void);

/**
 * @brief Starts a table timer.
 * @param timerId     Id of the row.
 * @param durationMs  Time to expiry and, for a periodic timer, between expiries, in milliseconds, rounded down to
 *                    10; 0 takes the row's default.
 * @param msgId       Message id of the expiry message.
 * @param data        Data of the expiry message, copied; may be null.
 * @param dataLen     Bytes at `data`.
 * @return 0, or 1 for an unknown id, a platform timer that could not be created, and a copy that could not be made. In
 *         the last case the timer runs on, and its expiries fail with a log record rather than come without their data.
 *
 * A running timer keeps its duration. That includes a one-shot timer that has expired and was not stopped.
 */
uint32_t ConfCommTimerStartEx(uint32_t timerId, uint32_t durationMs, uint32_t msgId, const void* data,
                              uint32_t dataLen);

/**
 * @brief `ConfCommTimerStartEx` with the row's default duration.
 * @param timerId  Id of the row.
 * @param msgId    Message id of the expiry message.
 * @param data     Data of the expiry message, copied; may be null.
 * @param dataLen  Bytes at `data`.
 * @return as `ConfCommTimerStartEx`.
 */
uint32_t ConfCommTimerStart(uint32_t timerId, uint32_t msgId, const void* data, uint32_t dataLen);

/**
 * @brief Stops a table timer, running or not, and drops its data.
 * @param timerId  Id of the row.
 * @return 0, or 1 for an unknown id.
 */
uint32_t ConfCommTimerStop(uint32_t timerId);

/**
 * @brief `ConfCommTimerStop`.
 * @param timerId  Id of the row.
 * @return as `ConfCommTimerStop`.
 */
uint32_t ConfCommTimerFree(uint32_t timerId);

/**
 * @brief Fills a zeroed timer record; the fields of a running timer's last start stay as they are.
 * @param timer         The caller's record.
 * @param id            Kept in the record for the caller.
 * @param mode          `CONF_TIMER_ONE_SHOT`, or periodic.
 * @param recvProcName  Receiving process; must stay valid as long as the timer is used.
 * @param handler       Carried by the expiry message.
 * @return 0, or 1 for a null timer, name or handler.
 */
uint32_t ConfTimerInit(ConfTimer* timer, uint32_t id, uint32_t mode, const char* recvProcName,
                       ConfCommMsgHandler handler);

/**
 * @brief Starts a free-standing timer.
 * @param timer       The caller's record.
 * @param durationMs  As for `ConfCommTimerStartEx`; 0 means the next tick.
 * @param msgId       Message id of the expiry message.
 * @param data        Data of the expiry message, copied; may be null.
 * @param dataLen     Bytes at `data`.
 * @return as `ConfCommTimerStartEx`; 1 for a null timer.
 */
uint32_t ConfTimerStart(ConfTimer* timer, uint32_t durationMs, uint32_t msgId, const void* data, uint32_t dataLen);

/**
 * @brief Stops a free-standing timer, running or not, and drops its data.
 * @param timer  The caller's record.
 * @return 0, or 1 for a null timer.
 */
uint32_t ConfTimerStop(ConfTimer* timer);

/**
 * @brief `ConfTimerStop`.
 * @param timer  The caller's record.
 * @return as `ConfTimerStop`.
 */
uint32_t ConfTimerFree(ConfTimer* timer);

/**
 * @brief Whether a free-standing timer is running.
 * @param timer  The caller's record.
 * @return true while it runs; false for null.
 */
bool ConfTimerIsVaild(const ConfTimer* timer);

/**
 * @brief Fills the local time of now.
 * @param out  Receives the time.
 * @return 0, or 1 for null and for a platform without a time; `out` is then untouched.
 */
uint32_t ConfBasicGetSysTime(ConfSysTime* out);

/**
 * @brief The system time in whole seconds.
 * @return the platform's count of seconds.
 */
uint32_t ConfGetSysTimeSec(void);

TARN_EXTERN_C_END

#endif

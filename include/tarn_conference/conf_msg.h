/**
 * @file conf_msg.h
 * @brief Calls between the conference processes.
 *
 * A call carries, beside its data, the address of the function that the receiving process runs with them. All processes
 * of an endpoint therefore hold the same code at the same addresses; nothing is translated here. The receiving process
 * hands each incoming record to `ConfCommMsgProcess`, which runs the handler on its caller's thread: the platform's
 * message thread.
 *
 * Any thread may call any function here, several at once.
 */
#ifndef TARN_CONFERENCE_CONF_MSG_H
#define TARN_CONFERENCE_CONF_MSG_H

#include <stdbool.h>

#include "tarn_platform/os_message.h"
#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** Results of the message calls beside 0 for success and 1 for an unusable record. */
#define CONF_MSG_ERR_PAYLOAD 10001003U    /**< Incoming payload missing or malformed. */
#define CONF_MSG_ERR_SEND 10001004U       /**< Sending failed: argument, memory, copy, transport, no or empty answer. */
#define CONF_MSG_ERR_PERMISSION 10001006U /**< Incoming call refused. */

/** Kind of a call, in `OsMsgRecord::kind`: one whose answer is its data. */
#define CONF_MSG_KIND_PLAIN 1U
/** Kind of a call whose handler attaches a block to the answer. */
#define CONF_MSG_KIND_ANSWER_BLOCK 2U

/** Bytes that a payload has beyond its data. */
#define CONF_MSG_PAYLOAD_OVERHEAD 24U

/** Timeout of `ConfCommMsgSynSend` in milliseconds. */
#define CONF_MSG_DEFAULT_TIMEOUT_MS 3000U

/**
 * The function that a call carries, run on the receiving process's message thread.
 * @param msgId    Chosen by the sender.
 * @param data     The call's data, valid during the call; null when there are none. What a handler of a synchronous
 * call changes in them travels back to the sender.
 * @param dataLen  Bytes at `data`.
 * @return the result of the sender's synchronous call.
 */
typedef uint32_t (*ConfCommMsgHandler)(uint32_t msgId, void* data, uint32_t dataLen);

/** A payload: this header, the data from offset 20 on, and four zero bytes behind them. */
typedef struct ConfCommMsgPayload {
    ConfCommMsgHandler handler; /**< What to run. */
    uint32_t result;            /**< The handler's result, in the answer. */
    uint32_t msgId;             /**< Passed to the handler. */
    uint32_t dataLength;        /**< Bytes of data. */
    uint8_t data[4];            /**< The first of `dataLength` + 4 bytes. */
} ConfCommMsgPayload;

static_assert(sizeof(ConfCommMsgPayload) == CONF_MSG_PAYLOAD_OVERHEAD, "payload size is the processes' interface");
static_assert(offsetof(ConfCommMsgPayload, handler) == 0, "payload layout is the processes' interface");
static_assert(offsetof(ConfCommMsgPayload, result) == 8, "payload layout is the processes' interface");
static_assert(offsetof(ConfCommMsgPayload, msgId) == 12, "payload layout is the processes' interface");
static_assert(offsetof(ConfCommMsgPayload, dataLength) == 16, "payload layout is the processes' interface");
static_assert(offsetof(ConfCommMsgPayload, data) == 20, "payload layout is the processes' interface");

/** A message as the platform carries it. */
typedef OsMsgRecord ConfCommMsgRecord;

/**
 * @brief Calls a handler in another process and waits for its result, `CONF_MSG_DEFAULT_TIMEOUT_MS` at most.
 * @param recvProcName  Name of the receiving process, at most 15 characters.
 * @param handler       Function to run there.
 * @param msgId         Passed to the handler.
 * @param data          The call's data and the answer's.
 * @param dataLen       Bytes at `data`.
 * @return as `ConfCommMsgSynSendImpl`, which tells more.
 */
uint32_t ConfCommMsgSynSend(const char* recvProcName, ConfCommMsgHandler handler, uint32_t msgId, void* data,
                            uint32_t dataLen);

/**
 * @brief Calls a handler in another process and waits for its result.
 * @param recvProcName  Name of the receiving process, at most 15 characters.
 * @param handler       Function to run there.
 * @param msgId         Passed to the handler.
 * @param data          In: the call's data; out: the data as the handler left them, when they are no longer than
 *                      `dataLen` (a longer answer is not copied, and the call still succeeds). Null with a `dataLen`
 *                      sends that many zero bytes. Not changed by a failing call.
 * @param dataLen       Bytes at `data`.
 * @param timeout       Longest wait in milliseconds.
 * @return the handler's result, or `CONF_MSG_ERR_SEND`.
 */
uint32_t ConfCommMsgSynSendImpl(const char* recvProcName, ConfCommMsgHandler handler, uint32_t msgId, void* data,
                                uint32_t dataLen, uint32_t timeout);

/**
 * @brief Like `ConfCommMsgSynSendImpl`, for handlers that attach a result block to a meeting-server block
 *        (`conf_notify.h`), which is then the data. An answer longer than `dataLen` fails the call, and the refused
 *        copy leaves zero bytes at `data`.
 * @param recvProcName  Name of the receiving process, at most 15 characters.
 * @param handler       Function to run there.
 * @param msgId         Passed to the handler.
 * @param data          In: the block; out: the block as the handler left it.
 * @param dataLen       Bytes at `data`.
 * @param timeout       Longest wait in milliseconds.
 * @return the handler's result, or `CONF_MSG_ERR_SEND`.
 *
 * The block attached to the answer belongs to the caller, who releases it with `OSMemTypeFreeMon`. Without `data` to
 * find it by, and when the answer is longer than `dataLen`, it is lost.
 */
uint32_t ConfCommMsgSynSendImplHaveResp(const char* recvProcName, ConfCommMsgHandler handler, uint32_t msgId,
                                        void* data, uint32_t dataLen, uint32_t timeout);

/**
 * @brief Calls a handler in another process without waiting for it.
 * @param recvProcName  Name of the receiving process, at most 15 characters.
 * @param handler       Function to run there.
 * @param msgId         Passed to the handler.
 * @param data          Copied; may be null when `dataLen` is 0.
 * @param dataLen       Bytes at `data`.
 * @return 0 when the message is on its way, or `CONF_MSG_ERR_SEND`, also for a `dataLen` with null data.
 */
uint32_t ConfCommMsgAsynSend(const char* recvProcName, ConfCommMsgHandler handler, uint32_t msgId, const void* data,
                             uint32_t dataLen);

/**
 * @brief Runs a received call and, when its sender waits, sends the result back.
 * @param record  As received; it and its payload stay the platform's.
 * @return 0 when the handler ran; 1 for a missing record, an unknown kind or a missing handler;
 *         `CONF_MSG_ERR_PAYLOAD` or `CONF_MSG_ERR_PERMISSION`. A result that could not be sent back is only logged.
 */
uint32_t ConfCommMsgProcess(ConfCommMsgRecord* record);

/**
 * @brief Whether incoming calls are allowed: always. A process that needs a rule defines this function itself.
 * @return true.
 */
bool ConfCommMsgCheckPermission(void);

TARN_EXTERN_C_END

#endif

/**
 * @file os_message.h
 * @brief Messages between the processes of one endpoint.
 *
 * A process sends a record to another process by name. The receiving process registers its name and its record callback
 * with the platform itself (on the host platform with `OsMsgReceiverStart`, see `tarn_host/host_message.h`).
 */
#ifndef TARN_PLATFORM_OS_MESSAGE_H
#define TARN_PLATFORM_OS_MESSAGE_H

#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** Bytes of a process name in a record, its NUL included. */
#define OS_MSG_NAME_LEN 16

/** One message as the platform carries it. Fields called `platform...` belong to the platform; senders leave them zero.
 */
typedef struct OsMsgRecord {
    uint32_t responseWanted;  /**< 1 while the sender waits for an answer; set by the platform. */
    uint32_t senderUid;       /**< User id of the sending process; set by the platform. */
    uint8_t platformHead[40]; /**< The platform's. */
    uint32_t
        kind; /**< 1: plain call; 2: synchronous call whose handler allocates an answer block. Set by the sender. */
    uint8_t platformMiddle[4];          /**< The platform's. */
    char senderName[OS_MSG_NAME_LEN];   /**< NUL-terminated; set by the sender. */
    char receiverName[OS_MSG_NAME_LEN]; /**< NUL-terminated; set by the sender. */
    uint8_t platformTail[68];           /**< The platform's. */
    uint32_t payloadLength;             /**< Bytes at `payload`; set by the sender. */
    void* payload;                      /**< Owned by whoever made the record. */
} OsMsgRecord;

static_assert(sizeof(OsMsgRecord) == 168, "record size is part of the contract");
static_assert(offsetof(OsMsgRecord, responseWanted) == 0, "record layout is part of the contract");
static_assert(offsetof(OsMsgRecord, senderUid) == 4, "record layout is part of the contract");
static_assert(offsetof(OsMsgRecord, kind) == 48, "record layout is part of the contract");
static_assert(offsetof(OsMsgRecord, senderName) == 56, "record layout is part of the contract");
static_assert(offsetof(OsMsgRecord, receiverName) == 72, "record layout is part of the contract");
static_assert(offsetof(OsMsgRecord, payloadLength) == 156, "record layout is part of the contract");
static_assert(offsetof(OsMsgRecord, payload) == 160, "record layout is part of the contract");

/**
 * @brief Sends a record and waits for its answer.
 * @param record     What to send; it and its payload stay the caller's. The platform may write its own fields.
 * @param answer     Receives the answer, a record of the platform's that `OsMsgSynRespFree` releases; null on failure.
 * @param timeoutMs  Longest wait in milliseconds.
 * @return 0, or the platform's code when the record could not be delivered or no answer came in time.
 *
 * Any thread may call it, several at once.
 */
uint32_t OsMsgSynSend(OsMsgRecord* record, OsMsgRecord** answer, uint32_t timeoutMs);

/**
 * @brief Sends a record without waiting. The platform has copied what it needs when this returns.
 * @param record  What to send; it and its payload stay the caller's.
 * @return 0, or the platform's code.
 */
uint32_t OsMsgAsynSend(const OsMsgRecord* record);

/**
 * @brief Answers a received record whose sender waits. Called inside the record callback.
 * @param record         The record as received.
 * @param payload        Answer bytes, copied before this returns.
 * @param payloadLength  Bytes at `payload`.
 * @return 0, or the platform's code when the answer could not be handed over.
 *
 * For a record of kind 2 the result block that the handler attached to the payload passes to the platform on success;
 * after a failure it is still the caller's.
 */
uint32_t OsMsgSynSendResp(const OsMsgRecord* record, const void* payload, uint32_t payloadLength);

/**
 * @brief Releases an answer of `OsMsgSynSend`.
 * @param answer  The answer; null is allowed.
 */
void OsMsgSynRespFree(OsMsgRecord* answer);

TARN_EXTERN_C_END

#endif

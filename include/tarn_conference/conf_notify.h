/**
 * @file conf_notify.h
 * @brief Notifications to the application, large ones in packets, and the meeting-server message block.
 *
 * Any thread may call any function here, several at once. The application's callback runs on the sender's thread, so it
 * may run on several at once; only the packets of two notifications never mix. A block belongs to one thread at a time.
 */
#ifndef TARN_CONFERENCE_CONF_NOTIFY_H
#define TARN_CONFERENCE_CONF_NOTIFY_H

#include "tarn_platform/os_mutex.h"
#include "tarn_platform/platform_base.h"

TARN_EXTERN_C_BEGIN

/** First field of `ConfMultiPacketHeader`. */
#define CONF_NOTIFY_PACKET_MARKER 0x12345U
/** Bytes of a full packet: 4 MiB less the size of a message record. */
#define CONF_NOTIFY_PACKET_BYTES 4194136U
/** Largest notification in bytes. */
#define CONF_NOTIFY_MAX_BYTES 33554432U

/**
 * The application's callback.
 * @param id      Notification id.
 * @param data    Valid during the call; may be null.
 * @param len     Bytes at `data`.
 * @param result  The sender's result; 0 where it has none.
 * @return handed back by the single deliveries; not looked at for a header and its packets.
 */
typedef uint32_t (*ConfNotifyFunc)(uint32_t id, void* data, uint32_t len, uint32_t result);

/** Announces a notification in packets, as a notification of its own. */
typedef struct ConfMultiPacketHeader {
    uint32_t marker;      /**< `CONF_NOTIFY_PACKET_MARKER`. */
    uint32_t packetCount; /**< Data packets that follow. */
    uint32_t totalLength; /**< Their bytes together. */
} ConfMultiPacketHeader;

static_assert(sizeof(ConfMultiPacketHeader) == 12, "packet header size is the application's interface");
static_assert(offsetof(ConfMultiPacketHeader, packetCount) == 4, "packet header layout is the application's interface");
static_assert(offsetof(ConfMultiPacketHeader, totalLength) == 8, "packet header layout is the application's interface");

/**
 * The data of a call to the meeting server: this header, the data from offset 88 on, spare bytes behind them. A handler
 * gets it where it stands in a payload, behind 20 bytes, so it is aligned for 32-bit values only.
 */
typedef struct __attribute__((packed, aligned(4))) ConfMeetingServerMsgBlock {
    uint32_t sender0;      /**< The sender's own use. */
    uint32_t listLen;      /**< Items that the sender means. */
    uint8_t sender1[64];   /**< The sender's own use. */
    void* result;          /**< Accounted block that the receiving handler attaches, or null. */
    uint32_t resultLength; /**< Bytes at `result`. */
    uint32_t dataLength;   /**< Bytes of data. */
    uint8_t data[8];       /**< The first of them. */
} ConfMeetingServerMsgBlock;

static_assert(sizeof(ConfMeetingServerMsgBlock) == 96, "block size is the processes' interface");
static_assert(offsetof(ConfMeetingServerMsgBlock, listLen) == 4, "block layout is the processes' interface");
static_assert(offsetof(ConfMeetingServerMsgBlock, result) == 72, "block layout is the processes' interface");
static_assert(offsetof(ConfMeetingServerMsgBlock, resultLength) == 80, "block layout is the processes' interface");
static_assert(offsetof(ConfMeetingServerMsgBlock, dataLength) == 84, "block layout is the processes' interface");
static_assert(offsetof(ConfMeetingServerMsgBlock, data) == 88, "block layout is the processes' interface");

/**
 * Keeps the packets of one notification together. Zero-filled and never initialised by the library: a platform whose
 * all-zero mutex is not a valid unlocked one has the process initialise it first.
 */
extern OsMutex g_multiPktNotifyMutex;

/**
 * @brief Sets the application's callback; null is ignored, so it cannot be taken away again. Any thread.
 * @param func  The callback.
 */
void ConfRegisterNotifyFunc(ConfNotifyFunc func);

/**
 * @brief Delivers a notification on the calling thread.
 * @param id    Notification id.
 * @param data  Handed on as it is; may be null.
 * @param len   Bytes at `data`.
 * @return the callback's result; 1 without a callback.
 */
uint32_t ConfCommSendNotifyToApp(uint32_t id, void* data, uint32_t len);

/**
 * @brief Like `ConfCommSendNotifyToApp`, with a result for the callback's fourth argument.
 * @param id      Notification id.
 * @param data    Handed on as it is; may be null.
 * @param len     Bytes at `data`.
 * @param result  The callback's fourth argument.
 * @return as `ConfCommSendNotifyToApp`.
 */
uint32_t ConfCommSendNotifyAndResultToApp(uint32_t id, void* data, uint32_t len, uint32_t result);

/**
 * @brief Delivers a notification as a header and packets of `CONF_NOTIFY_PACKET_BYTES`, nothing in between from another
 *        call of this function.
 * @param id    Id of the header's and each packet's notification.
 * @param data  The bytes, not copied. Null delivers a plain notification first, and then packets with null data.
 * @param len   1 to `CONF_NOTIFY_MAX_BYTES`.
 * @return 0, whatever the callback answered; 1 for another length.
 *
 * Any thread may call it; a second caller waits for the first. The callback must not call it.
 */
uint32_t ConfCommSendMultiPackNotifyToApp(uint32_t id, void* data, uint32_t len);

/**
 * @brief Makes a meeting-server block with a copy of the data.
 * @param data  Bytes to copy; null leaves the data area zero.
 * @param len   Bytes of data.
 * @return an accounted block of `GetMeetingServerMsgBlockSize` bytes, released with `OSMemTypeFreeMon`; null when
 * memory is out.
 */
ConfMeetingServerMsgBlock* GenerateMeetingServerMsgBlock(const void* data, uint32_t len);

/**
 * @brief A block's size in bytes.
 * @param block  The block.
 * @return its data length + 95, or 96 without data; 0 for null; 0xFFFFFFFF for a data length too large for any block.
 */
uint32_t GetMeetingServerMsgBlockSize(const ConfMeetingServerMsgBlock* block);

TARN_EXTERN_C_END

#endif

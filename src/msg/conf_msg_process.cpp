// Running received calls. The record and its payload stay the platform's; only a result block that could not be sent
// back is released here, because nobody else knows of it then.
#include <cstring>

#include "base/accounted.h"
#include "base/log.h"
#include "msg/msg_payload.h"
#include "tarn_conference/conf_msg.h"
#include "tarn_conference/conf_notify.h"

namespace {

using tarn::detail::kNullPointerText;
using tarn::detail::payloadData;
using tarn::detail::payloadHoldsItsData;

constexpr const char* kLogName = "conf_msg_api";
constexpr size_t kResultPointerOffset = offsetof(ConfMeetingServerMsgBlock, result);

// Releases the result block that a handler attached to the meeting-server block in `data`. The block stands unaligned.
void freeAttachedResult(uint8_t* data, uint32_t dataLength) {
    void* block = nullptr;
    if (dataLength < kResultPointerOffset + sizeof block) {
        return;
    }
    std::memcpy(&block, data + kResultPointerOffset, sizeof block);
    TARN_FREE(block);
    block = nullptr;
    std::memcpy(data + kResultPointerOffset, &block, sizeof block);
}

} // namespace

uint32_t ConfCommMsgProcess(ConfCommMsgRecord* record) {
    if (record == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullPointerText);
        return 1;
    }
    if (record->kind != CONF_MSG_KIND_PLAIN && record->kind != CONF_MSG_KIND_ANSWER_BLOCK) {
        return 1;
    }
    if (!ConfCommMsgCheckPermission()) {
        TARN_LOG(CONF_LOG_INFO, "Permission deny! MeetingProcessKeymMsg no permission: uid = %d, msgid = %d.",
                 static_cast<int>(record->senderUid), static_cast<int>(record->kind));
        return CONF_MSG_ERR_PERMISSION;
    }
    auto* const payload = static_cast<ConfCommMsgPayload*>(record->payload);
    if (payload == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullPointerText);
        return CONF_MSG_ERR_PAYLOAD;
    }
    if (record->payloadLength < CONF_MSG_PAYLOAD_OVERHEAD) {
        TARN_LOG(CONF_LOG_ERROR, "Check param fail! dataLen:%u invalid.", record->payloadLength);
        return CONF_MSG_ERR_PAYLOAD;
    }
    if (payload->handler == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullPointerText);
        return 1;
    }
    if (!payloadHoldsItsData(*payload, record->payloadLength)) {
        TARN_LOG(CONF_LOG_ERROR, "Check param fail! dataLen:%u invalid.", payload->dataLength);
        return CONF_MSG_ERR_PAYLOAD;
    }
    uint8_t* const data = payload->dataLength == 0 ? nullptr : payloadData(payload);
    payload->result = payload->handler(payload->msgId, data, payload->dataLength);
    if (record->responseWanted != 1) {
        return 0;
    }
    const uint32_t sent = OsMsgSynSendResp(record, payload, record->payloadLength);
    if (sent != 0) {
        TARN_LOG(CONF_LOG_ERROR, "ConfCommMsgProcess Resp fail! msgId:%u, ret:%#x", record->kind, sent);
        if (record->kind == CONF_MSG_KIND_ANSWER_BLOCK && data != nullptr) {
            freeAttachedResult(data, payload->dataLength);
        }
    }
    return 0;
}

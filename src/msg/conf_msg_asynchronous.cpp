// The asynchronous send. It logs a send that the platform refuses, but not why a message could not be prepared.
#include <utility>

#include "base/log.h"
#include "msg/asynchronous_message.h"
#include "msg/msg_payload.h"
#include "tarn_platform/bounds_checked.h"

namespace tarn::detail {

namespace {

constexpr const char* kLogName = "conf_msg_api";

} // namespace

void AsynchronousMessage::prepare(const char* recvProcName, ConfCommMsgHandler handler, uint32_t msgId,
                                  const void* data, uint32_t dataLen) {
    if (recvProcName == nullptr || handler == nullptr) {
        return;
    }
    auto payload = makePayload(handler, msgId, dataLen);
    if (payload == nullptr) {
        return;
    }
    if (strcpy_s(record_.receiverName, sizeof record_.receiverName, recvProcName) != 0) {
        return;
    }
    // Unlike the synchronous sends, a length without data fails here.
    if (dataLen != 0 && (data == nullptr || memcpy_s(payloadData(payload.get()), dataLen, data, dataLen) != 0)) {
        return;
    }
    if (strcpy_s(record_.senderName, sizeof record_.senderName, kSenderName) != 0) {
        return;
    }
    attachPayload(record_, CONF_MSG_KIND_PLAIN, *payload);
    payload_ = std::move(payload);
}

uint32_t AsynchronousMessage::send() const {
    if (payload_ == nullptr) {
        return CONF_MSG_ERR_SEND;
    }
    const uint32_t sent = OsMsgAsynSend(&record_);
    if (sent != 0) {
        TARN_LOG_AS("ConfCommMsgAsynSend", CONF_LOG_ERROR,
                    "ConfCommMsgAsynSend OsMsgAsynSend fail 0x%x recvProcName %s", sent, record_.receiverName);
        return CONF_MSG_ERR_SEND;
    }
    return 0;
}

} // namespace tarn::detail

uint32_t ConfCommMsgAsynSend(const char* recvProcName, ConfCommMsgHandler handler, uint32_t msgId, const void* data,
                             uint32_t dataLen) {
    tarn::detail::AsynchronousMessage message;
    message.prepare(recvProcName, handler, msgId, data, dataLen);
    return message.send();
}

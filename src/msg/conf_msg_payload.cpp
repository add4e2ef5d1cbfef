#include "msg/msg_payload.h"

#include <cstring>
#include <limits>

namespace tarn::detail {

namespace {

constexpr const char* kLogName = "conf_msg_api";

} // namespace

Accounted<ConfCommMsgPayload> makePayload(ConfCommMsgHandler handler, uint32_t msgId, uint32_t dataLength) {
    if (dataLength > std::numeric_limits<uint32_t>::max() - CONF_MSG_PAYLOAD_OVERHEAD) {
        return {};
    }
    auto payload = TARN_ALLOCATE(ConfCommMsgPayload, dataLength + CONF_MSG_PAYLOAD_OVERHEAD);
    if (payload != nullptr) {
        payload->handler = handler;
        payload->result = 0;
        payload->msgId = msgId;
        payload->dataLength = dataLength;
        std::memset(payloadData(payload.get()) + dataLength, 0, sizeof payload->data);
    }
    return payload;
}

void attachPayload(OsMsgRecord& record, uint32_t kind, ConfCommMsgPayload& payload) {
    record.kind = kind;
    record.payloadLength = payload.dataLength + CONF_MSG_PAYLOAD_OVERHEAD;
    record.payload = &payload;
}

} // namespace tarn::detail

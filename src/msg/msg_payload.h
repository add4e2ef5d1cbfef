// Payloads: at least CONF_MSG_PAYLOAD_OVERHEAD bytes, whose data run on behind the declared structure.
#pragma once

#include "base/accounted.h"
#include "tarn_conference/conf_msg.h"

namespace tarn::detail {

// The sender of every message.
inline constexpr char kSenderName[] = "TarnUIConf";

inline uint8_t* payloadData(void* payload) {
    return static_cast<uint8_t*>(payload) + offsetof(ConfCommMsgPayload, data);
}

// Whether the data that the header of a payload claims are there. A payload without the spare bytes behind its data is
// still whole.
inline bool payloadHoldsItsData(const ConfCommMsgPayload& payload, uint32_t payloadLength) {
    return payload.dataLength <= payloadLength - offsetof(ConfCommMsgPayload, data);
}

// A payload with its header filled and the spare bytes behind its data zero; null when memory is out.
Accounted<ConfCommMsgPayload> makePayload(ConfCommMsgHandler handler, uint32_t msgId, uint32_t dataLength);

void attachPayload(OsMsgRecord& record, uint32_t kind, ConfCommMsgPayload& payload);

} // namespace tarn::detail

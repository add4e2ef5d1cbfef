// Access to the parts of a payload, whose data run on behind the declared structure.
#pragma once

#include "tarn_conference/conf_msg.h"

namespace tarn::detail {

inline uint8_t* payloadData(void* payload) {
    return static_cast<uint8_t*>(payload) + offsetof(ConfCommMsgPayload, data);
}

// Whether the data that the payload's header claims lie within the payload's length.
inline bool payloadHoldsItsData(const ConfCommMsgPayload& payload, uint32_t payloadLength) {
    return payloadLength >= CONF_MSG_PAYLOAD_OVERHEAD &&
           payload.dataLength <= payloadLength - CONF_MSG_PAYLOAD_OVERHEAD;
}

} // namespace tarn::detail

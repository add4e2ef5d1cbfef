// Access to the parts of a payload of at least CONF_MSG_PAYLOAD_OVERHEAD bytes, whose data run on behind the declared
// structure.
#pragma once

#include "tarn_conference/conf_msg.h"

namespace tarn::detail {

inline uint8_t* payloadData(void* payload) {
    return static_cast<uint8_t*>(payload) + offsetof(ConfCommMsgPayload, data);
}

// Whether the data that the header of a payload claims are there. A payload without the spare bytes behind its data is
// still whole.
inline bool payloadHoldsItsData(const ConfCommMsgPayload& payload, uint32_t payloadLength) {
    return payload.dataLength <= payloadLength - offsetof(ConfCommMsgPayload, data);
}

} // namespace tarn::detail

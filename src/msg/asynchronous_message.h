// An asynchronous message in two steps: a caller copies what a lock guards, and sends without holding the lock.
#pragma once

#include "base/accounted.h"
#include "tarn_conference/conf_msg.h"

namespace tarn::detail {

class AsynchronousMessage {
 public:
    // Copies name and data. Whether that worked, `send` tells.
    void prepare(const char* recvProcName, ConfCommMsgHandler handler, uint32_t msgId, const void* data,
                 uint32_t dataLen);

    // 0, or CONF_MSG_ERR_SEND, also for a message that could not be prepared. Logs as `ConfCommMsgAsynSend`.
    uint32_t send() const;

 private:
    OsMsgRecord record_ = {};
    Accounted<ConfCommMsgPayload> payload_;
};

} // namespace tarn::detail

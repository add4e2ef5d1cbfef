// Synchronous sends. A call is one accounted payload and one record; both live only as long as the send.
#include <cstddef>
#include <cstring>

#include "base/log.h"
#include "msg/msg_payload.h"
#include "tarn_conference/conf_msg.h"
#include "tarn_platform/bounds_checked.h"

namespace {

using tarn::detail::kNullPointerText;
using tarn::detail::kSenderName;
using tarn::detail::payloadData;
using tarn::detail::payloadHoldsItsData;

constexpr const char* kLogName = "conf_msg_api";

struct Call {
    const char* receiver;
    ConfCommMsgHandler handler;
    uint32_t msgId;
    uint32_t dataLength;
};

// The answer of a synchronous send, given back to the platform in every case.
class Answer {
 public:
    Answer() = default;
    ~Answer() { OsMsgSynRespFree(record_); }
    Answer(const Answer&) = delete;
    Answer& operator=(const Answer&) = delete;

    OsMsgRecord** receive() { return &record_; }

    // The answered payload; null when none came, and for one that claims up to `longest` bytes of data without having
    // them. More than `longest` are never read, so that claim stands.
    const ConfCommMsgPayload* payload(uint32_t longest) const {
        if (record_ == nullptr || record_->payload == nullptr ||
            record_->payloadLength < offsetof(ConfCommMsgPayload, data)) {
            return nullptr;
        }
        const auto* payload = static_cast<const ConfCommMsgPayload*>(record_->payload);
        const bool readable = payload->dataLength > longest || payloadHoldsItsData(*payload, record_->payloadLength);
        return readable ? payload : nullptr;
    }

    const uint8_t* data() const { return payloadData(record_->payload); }

 private:
    OsMsgRecord* record_ = nullptr;
};

// In what the two synchronous sends differ.
struct SynchronousKind {
    const char* function;
    uint32_t kind;
    const char* receiverWord; // how the log names the receiver
    bool copiesLongAnswers;   // and then fails on them, instead of leaving the caller's data alone
};

constexpr SynchronousKind kPlain = {"ConfCommMsgSynSendImpl", CONF_MSG_KIND_PLAIN, "recvProcName", false};
constexpr SynchronousKind kAnswerBlock = {"ConfCommMsgSynSendImplHaveResp", CONF_MSG_KIND_ANSWER_BLOCK, "recvTaskName",
                                          true};

bool answerIsCopied(const SynchronousKind& kind, const ConfCommMsgPayload& answer, const void* data, uint32_t dataLen) {
    if (data == nullptr) {
        return false;
    }
    return kind.copiesLongAnswers || (dataLen != 0 && answer.dataLength <= dataLen);
}

// Receiver name and data into record and payload; logs what failed.
bool fillCall(const SynchronousKind& kind, const Call& call, const void* data, OsMsgRecord& record,
              ConfCommMsgPayload& payload) {
    if (strcpy_s(record.receiverName, sizeof record.receiverName, call.receiver) != 0) {
        TARN_LOG_AS(kind.function, CONF_LOG_ERROR, "ConfCommMsgSynSend strcpy_s fail");
        return false;
    }
    if (call.dataLength == 0) {
        return true;
    }
    uint8_t* const area = payloadData(&payload);
    if (data == nullptr) {
        // The receiver gets an area of the length asked for; zero, so that nothing of this process's heap travels.
        std::memset(area, 0, call.dataLength);
    } else if (memcpy_s(area, call.dataLength, data, call.dataLength) != 0) {
        TARN_LOG_AS(kind.function, CONF_LOG_ERROR, "ConfCommMsgSynSend memcpy_s fail!");
        return false;
    }
    return true;
}

uint32_t sendAndWait(const SynchronousKind& kind, const Call& call, void* data, uint32_t timeout) {
    if (call.receiver == nullptr || call.handler == nullptr) {
        TARN_LOG_AS(kind.function, CONF_LOG_ERROR, "%s", kNullPointerText);
        return CONF_MSG_ERR_SEND;
    }
    OsMsgRecord record = {};
    const auto payload = tarn::detail::makePayload(call.handler, call.msgId, call.dataLength);
    if (payload == nullptr) {
        TARN_LOG_AS(kind.function, CONF_LOG_ERROR, "%s", kNullPointerText);
        return CONF_MSG_ERR_SEND;
    }
    Answer answer;
    if (!fillCall(kind, call, data, record, *payload)) {
        return CONF_MSG_ERR_SEND;
    }
    std::memcpy(record.senderName, kSenderName, sizeof kSenderName);
    tarn::detail::attachPayload(record, kind.kind, *payload);

    const uint32_t sent = OsMsgSynSend(&record, answer.receive(), timeout);
    const ConfCommMsgPayload* const answered =
        sent == 0 ? answer.payload(data == nullptr ? 0 : call.dataLength) : nullptr;
    if (answered == nullptr) {
        TARN_LOG_AS(kind.function, CONF_LOG_ERROR, "ConfCommMsgSynSend OsMsgSynSend fail 0x%x %s %s.", sent,
                    kind.receiverWord, call.receiver);
        return CONF_MSG_ERR_SEND;
    }
    if (answerIsCopied(kind, *answered, data, call.dataLength)) {
        const errno_t copied = memcpy_s(data, call.dataLength, answer.data(), answered->dataLength);
        if (copied != 0) {
            TARN_LOG_AS(kind.function, CONF_LOG_ERROR, "ConfCommMsgSynSend memcpy_s fail, ret:%d [%u, %u]", copied,
                        call.dataLength, answered->dataLength);
            return CONF_MSG_ERR_SEND;
        }
    }
    return answered->result;
}

} // namespace

uint32_t ConfCommMsgSynSend(const char* recvProcName, ConfCommMsgHandler handler, uint32_t msgId, void* data,
                            uint32_t dataLen) {
    return ConfCommMsgSynSendImpl(recvProcName, handler, msgId, data, dataLen, CONF_MSG_DEFAULT_TIMEOUT_MS);
}

uint32_t ConfCommMsgSynSendImpl(const char* recvProcName, ConfCommMsgHandler handler, uint32_t msgId, void* data,
                                uint32_t dataLen, uint32_t timeout) {
    return sendAndWait(kPlain, {recvProcName, handler, msgId, dataLen}, data, timeout);
}

uint32_t ConfCommMsgSynSendImplHaveResp(const char* recvProcName, ConfCommMsgHandler handler, uint32_t msgId,
                                        void* data, uint32_t dataLen, uint32_t timeout) {
    return sendAndWait(kAnswerBlock, {recvProcName, handler, msgId, dataLen}, data, timeout);
}

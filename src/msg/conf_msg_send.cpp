// Sending calls. A call is one accounted payload and one record; both live only as long as the send.
#include <cstddef>
#include <cstring>
#include <limits>
#include <utility>

#include "base/accounted.h"
#include "base/log.h"
#include "msg/asynchronous_message.h"
#include "msg/msg_payload.h"
#include "tarn_conference/conf_msg.h"
#include "tarn_platform/bounds_checked.h"

namespace {

using tarn::detail::Accounted;
using tarn::detail::kNullPointerText;
using tarn::detail::payloadData;
using tarn::detail::payloadHoldsItsData;

constexpr const char* kLogName = "conf_msg_api";
constexpr char kSenderName[] = "TarnUIConf";

struct Call {
    const char* receiver;
    ConfCommMsgHandler handler;
    uint32_t msgId;
    uint32_t dataLength;
};

// A payload with its header filled and the spare bytes behind its data zero; null when memory is out.
Accounted<ConfCommMsgPayload> makePayload(const Call& call) {
    if (call.dataLength > std::numeric_limits<uint32_t>::max() - CONF_MSG_PAYLOAD_OVERHEAD) {
        return {};
    }
    auto payload = TARN_ALLOCATE(ConfCommMsgPayload, call.dataLength + CONF_MSG_PAYLOAD_OVERHEAD);
    if (payload != nullptr) {
        payload->handler = call.handler;
        payload->result = 0;
        payload->msgId = call.msgId;
        payload->dataLength = call.dataLength;
        std::memset(payloadData(payload.get()) + call.dataLength, 0, sizeof payload->data);
    }
    return payload;
}

void attachPayload(OsMsgRecord& record, uint32_t kind, ConfCommMsgPayload& payload) {
    record.kind = kind;
    record.payloadLength = payload.dataLength + CONF_MSG_PAYLOAD_OVERHEAD;
    record.payload = &payload;
}

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
    const auto payload = makePayload(call);
    if (payload == nullptr) {
        TARN_LOG_AS(kind.function, CONF_LOG_ERROR, "%s", kNullPointerText);
        return CONF_MSG_ERR_SEND;
    }
    Answer answer;
    if (!fillCall(kind, call, data, record, *payload)) {
        return CONF_MSG_ERR_SEND;
    }
    std::memcpy(record.senderName, kSenderName, sizeof kSenderName);
    attachPayload(record, kind.kind, *payload);

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

void tarn::detail::AsynchronousMessage::prepare(const char* recvProcName, ConfCommMsgHandler handler, uint32_t msgId,
                                                const void* data, uint32_t dataLen) {
    if (recvProcName == nullptr || handler == nullptr) {
        return;
    }
    auto payload = makePayload({recvProcName, handler, msgId, dataLen});
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

uint32_t tarn::detail::AsynchronousMessage::send() const {
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

uint32_t ConfCommMsgAsynSend(const char* recvProcName, ConfCommMsgHandler handler, uint32_t msgId, const void* data,
                             uint32_t dataLen) {
    tarn::detail::AsynchronousMessage message;
    message.prepare(recvProcName, handler, msgId, data, dataLen);
    return message.send();
}

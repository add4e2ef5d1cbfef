// Sending: each message goes over the calling thread's own connection to its receiver.
#include <cstring>

#include "base/guarded.h"
#include "message/address.h"
#include "message/answer_block.h"
#include "message/message_memory.h"
#include "message/receiver.h"
#include "message/thread_connections.h"

namespace tarn::host {
namespace {

uint32_t checkRecord(const OsMsgRecord* record) {
    if (record == nullptr || strnlen(record->senderName, OS_MSG_NAME_LEN) == OS_MSG_NAME_LEN ||
        !validReceiverName({record->receiverName, strnlen(record->receiverName, OS_MSG_NAME_LEN)}) ||
        (record->payload == nullptr && record->payloadLength != 0)) {
        return EINVAL;
    }
    return record->payloadLength > kMaxPayload ? EMSGSIZE : 0;
}

FrameHeader requestHeader(const OsMsgRecord& record, FrameType type) {
    FrameHeader header;
    header.type = type;
    header.payloadLength = record.payloadLength;
    header.kind = record.kind;
    std::memcpy(header.senderName, record.senderName, sizeof header.senderName);
    std::memcpy(header.receiverName, record.receiverName, sizeof header.receiverName);
    return header;
}

// Runs `send` on the thread's connection; once more on a new one when the receiver was gone before a byte went out.
template <typename Send>
uint32_t sendOver(const char* receiver, const Deadline* deadline, Send send) {
    ThreadConnections& connections = ThreadConnections::own();
    for (int attempt = 0; attempt < 2; attempt++) {
        std::shared_ptr<OutgoingConnection> connection;
        int error = connections.get(receiver, deadline, connection);
        if (error != 0) {
            return static_cast<uint32_t>(error);
        }
        error = send(*connection);
        if (error == 0) {
            return 0;
        }
        connections.dropIfBroken(connection);
        if (error != kNothingSent) {
            return static_cast<uint32_t>(error);
        }
    }
    return ECONNRESET;
}

OsMsgRecord* makeAnswer(Answer& answer) {
    if (holdsAttachedBlock(answer.header.kind, answer.payload)) {
        setAttachedBlock(answer.payload, {answer.block.release(), answer.header.blockLength});
    } else {
        clearAttachedPointer(answer.header.kind, answer.payload);
    }
    OsMsgRecord* record = answer.message.release();
    record->senderUid = answer.uid;
    record->kind = answer.header.kind;
    std::memcpy(record->senderName, answer.header.senderName, sizeof record->senderName);
    std::memcpy(record->receiverName, answer.header.receiverName, sizeof record->receiverName);
    record->payloadLength = answer.header.payloadLength;
    record->payload = answer.payload.empty() ? nullptr : answer.payload.data();
    return record;
}

bool callsItself(const OsMsgRecord& record) {
    return Receiver::current() != nullptr && Receiver::current()->name() == record.receiverName;
}

} // namespace
} // namespace tarn::host

uint32_t OsMsgSynSend(OsMsgRecord* record, OsMsgRecord** answer, uint32_t timeoutMs) {
    using namespace tarn::host;
    const Deadline deadline(timeoutMs);
    if (answer == nullptr) {
        return EINVAL;
    }
    *answer = nullptr;
    const uint32_t invalid = checkRecord(record);
    if (invalid != 0) {
        return invalid;
    }
    if (callsItself(*record)) {
        return EDEADLK;
    }
    return guarded([&] {
        Answer received;
        const FrameHeader header = requestHeader(*record, FrameType::kCall);
        const uint32_t error = sendOver(record->receiverName, &deadline, [&](OutgoingConnection& connection) {
            return connection.call(header, record->payload, deadline, received);
        });
        if (error == 0) {
            *answer = makeAnswer(received);
        }
        return error;
    });
}

uint32_t OsMsgAsynSend(const OsMsgRecord* record) {
    using namespace tarn::host;
    const uint32_t invalid = checkRecord(record);
    if (invalid != 0) {
        return invalid;
    }
    return guarded([&] {
        const FrameHeader header = requestHeader(*record, FrameType::kPost);
        return sendOver(record->receiverName, nullptr,
                        [&](OutgoingConnection& connection) { return connection.post(header, record->payload); });
    });
}

void OsMsgSynRespFree(OsMsgRecord* answer) {
    tarn::host::giveMessageMemory(answer);
}

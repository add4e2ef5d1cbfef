// Answering the record that a message thread has handed to its callback.
#include <cerrno>
#include <cstring>

#include "message/answer_block.h"
#include "message/receiver.h"

uint32_t OsMsgSynSendResp(const OsMsgRecord* record, const void* payload, uint32_t payloadLength) {
    using namespace tarn::host;
    Delivery* delivery = Receiver::currentDelivery();
    if (record == nullptr || delivery == nullptr || (payload == nullptr && payloadLength != 0)) {
        return EINVAL;
    }
    uint64_t serial = 0;
    std::memcpy(&serial, record->platformHead, sizeof serial);
    if (serial != delivery->serial || delivery->header.type != FrameType::kCall || delivery->answered) {
        return EINVAL;
    }
    const std::span bytes(static_cast<const std::byte*>(payload), payloadLength);
    AttachedBlock block;
    if (holdsAttachedBlock(delivery->header.kind, bytes)) {
        block = attachedBlock(bytes);
    }
    const uint32_t blockLength = block.data == nullptr ? 0 : block.length;
    if (payloadLength > kMaxPayload || blockLength > kMaxPayload) {
        return EMSGSIZE;
    }
    FrameHeader header = delivery->header;
    header.type = FrameType::kAnswer;
    header.payloadLength = payloadLength;
    header.blockLength = blockLength;
    std::memcpy(header.senderName, delivery->header.receiverName, sizeof header.senderName);
    std::memcpy(header.receiverName, delivery->header.senderName, sizeof header.receiverName);
    Gather pieces;
    pieces.add(&header, sizeof header);
    pieces.add(payload, payloadLength);
    pieces.add(block.data, blockLength);
    // After a failure the connection is closed, so the sender is told by that.
    delivery->answered = true;
    const int error = delivery->connection->send(pieces);
    if (error != 0) {
        return static_cast<uint32_t>(error);
    }
    AccountedBlock(block.data).reset(); // it has become this call's with the success
    return 0;
}

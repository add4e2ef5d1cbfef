#include "frame.h"

#include <cstring>

namespace tarn::fuzz {

namespace {

constexpr uint32_t kMostBytes = 64U * 1024 * 1024 + 4096;

enum Oddity : uint8_t {
    kOtherMagic = 1,
    kOtherVersion = 2,
    kEndlessNames = 4,
    kPayloadClaim = 8,
    kBlockClaim = 16,
    kBlock = 32,
    kCode = 64,
};

void append(Bytes& bytes, const void* source, size_t count) {
    const auto* const start = static_cast<const uint8_t*>(source);
    bytes.insert(bytes.end(), start, start + count);
}

Bytes toBytes(std::span<const uint8_t> bytes) {
    return {bytes.begin(), bytes.end()};
}

} // namespace

Bytes makeFrame(Input& input) {
    Frame frame;
    frame.header.type = input.byte();
    frame.header.kind = input.byte();
    const uint8_t oddities = input.byte();
    std::memcpy(frame.header.senderName, "fuzz", 5);
    if ((oddities & kOtherMagic) != 0) {
        frame.header.magic = input.number<uint32_t>();
    }
    if ((oddities & kOtherVersion) != 0) {
        frame.header.version = input.number<uint16_t>();
    }
    if ((oddities & kEndlessNames) != 0) {
        std::memset(input.byte() % 2 == 0 ? frame.header.senderName : frame.header.receiverName, 'n', 16);
    }
    if ((oddities & kCode) != 0) {
        frame.header.code = input.number<uint32_t>();
    }
    frame.payload = toBytes(input.take(input.byte()));
    frame.header.payloadLength = static_cast<uint32_t>(frame.payload.size());
    if ((oddities & kBlock) != 0) {
        frame.block = toBytes(input.take(input.byte()));
        frame.header.blockLength = static_cast<uint32_t>(frame.block.size());
    }
    if ((oddities & kPayloadClaim) != 0) {
        frame.header.payloadLength = input.number<uint32_t>();
    }
    if ((oddities & kBlockClaim) != 0) {
        frame.header.blockLength = input.number<uint32_t>();
    }
    return encode(frame);
}

Bytes encode(const Frame& frame) {
    Bytes bytes;
    append(bytes, &frame.header, sizeof frame.header);
    append(bytes, frame.payload.data(), frame.payload.size());
    append(bytes, frame.block.data(), frame.block.size());
    return bytes;
}

Reading takeFrame(std::span<const uint8_t>& bytes, Frame& frame) {
    const WireHeader right;
    WireHeader& header = frame.header;
    if (bytes.size() < sizeof header) {
        return Reading::kPartial;
    }
    std::memcpy(&header, bytes.data(), sizeof header);
    if (header.magic != right.magic || header.version != right.version || header.payloadLength > kMostBytes ||
        header.blockLength > kMostBytes || header.senderName[15] != '\0' || header.receiverName[15] != '\0') {
        return Reading::kMalformed;
    }
    const std::span<const uint8_t> body = bytes.subspan(sizeof header);
    if (body.size() < uint64_t{header.payloadLength} + header.blockLength) {
        return Reading::kPartial;
    }
    frame.payload = toBytes(body.first(header.payloadLength));
    frame.block = toBytes(body.subspan(header.payloadLength, header.blockLength));
    bytes = body.subspan(size_t{header.payloadLength} + header.blockLength);
    return Reading::kWhole;
}

} // namespace tarn::fuzz

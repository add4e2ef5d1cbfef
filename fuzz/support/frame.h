// Frames as they go over a connection of the host platform: made from an input, so that most of them are nearly right,
// and read with plain code that shares nothing with what is fuzzed.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "input.h"

namespace tarn::fuzz {

using Bytes = std::vector<uint8_t>;

enum FrameType : uint16_t { kHello = 1, kCall = 2, kPost = 3, kAnswer = 4, kFailure = 5, kAccount = 6 };

struct WireHeader {
    uint32_t magic = 0x4D4E5254;
    uint16_t version = 1;
    uint16_t type = kPost;
    uint32_t payloadLength = 0;
    uint32_t blockLength = 0;
    uint32_t kind = 0;
    uint32_t code = 0;
    char senderName[16] = {};
    char receiverName[16] = {};
};
static_assert(sizeof(WireHeader) == 56, "the layout on the wire");

struct Frame {
    WireHeader header;
    Bytes payload;
    Bytes block;
};

// The bytes of a frame that the front of the input describes: type, kind, a byte of oddities, payload.
Bytes makeFrame(Input& input);
Bytes encode(const Frame& frame);

enum class Reading { kWhole, kPartial, kMalformed };

// Takes the next frame off the front of the bytes, as far as any receiver can tell. A malformed one has its header
// only.
Reading takeFrame(std::span<const uint8_t>& bytes, Frame& frame);

} // namespace tarn::fuzz

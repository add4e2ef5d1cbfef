#include "message/answer_block.h"

#include <cstring>

namespace tarn::host {
namespace {

constexpr size_t kDataLengthOffset = 16;
constexpr size_t kDataOffset = 20;
constexpr uint32_t kBlockHeader = 88;
constexpr size_t kPointerOffset = kDataOffset + 72;
constexpr size_t kLengthOffset = kDataOffset + 80;
constexpr uint32_t kPointerEnd = 72 + sizeof(std::byte*);

// Whether a block call's payload has so many bytes of data, by its own word and in fact.
bool hasData(uint32_t kind, std::span<const std::byte> payload, uint32_t wanted) {
    if (kind != kBlockCall || payload.size() < kDataOffset + wanted) {
        return false;
    }
    uint32_t dataLength = 0;
    std::memcpy(&dataLength, payload.data() + kDataLengthOffset, sizeof dataLength);
    return dataLength >= wanted;
}

} // namespace

bool holdsAttachedBlock(uint32_t kind, std::span<const std::byte> payload) {
    return hasData(kind, payload, kBlockHeader);
}

AttachedBlock attachedBlock(std::span<const std::byte> payload) {
    AttachedBlock block;
    std::memcpy(&block.data, payload.data() + kPointerOffset, sizeof block.data);
    std::memcpy(&block.length, payload.data() + kLengthOffset, sizeof block.length);
    return block;
}

void setAttachedBlock(std::span<std::byte> payload, AttachedBlock block) {
    std::memcpy(payload.data() + kPointerOffset, &block.data, sizeof block.data);
    std::memcpy(payload.data() + kLengthOffset, &block.length, sizeof block.length);
}

void clearAttachedPointer(uint32_t kind, std::span<std::byte> payload) {
    if (!hasData(kind, payload, kPointerEnd)) {
        return;
    }
    const std::byte* none = nullptr;
    std::memcpy(payload.data() + kPointerOffset, &none, sizeof none);
}

} // namespace tarn::host

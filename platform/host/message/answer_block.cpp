#include "message/answer_block.h"

#include <cstring>

namespace tarn::host {
namespace {

constexpr size_t kDataLengthOffset = 16;
constexpr size_t kDataOffset = 20;
constexpr uint32_t kBlockHeader = 88;
constexpr size_t kPointerOffset = kDataOffset + 72;
constexpr size_t kLengthOffset = kDataOffset + 80;

} // namespace

bool holdsAttachedBlock(uint32_t kind, std::span<const std::byte> payload) {
    if (kind != kBlockCall || payload.size() < kDataOffset + kBlockHeader) {
        return false;
    }
    uint32_t dataLength = 0;
    std::memcpy(&dataLength, payload.data() + kDataLengthOffset, sizeof dataLength);
    return dataLength >= kBlockHeader;
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

void clearAttachedPointer(std::span<std::byte> payload) {
    const std::byte* none = nullptr;
    std::memcpy(payload.data() + kPointerOffset, &none, sizeof none);
}

} // namespace tarn::host

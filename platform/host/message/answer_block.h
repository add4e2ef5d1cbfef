// The result block of a kind-2 call. The payload of such a call holds a meeting-server block, whose handler attaches
// memory by pointer; the transport carries that memory along. The fields stand unaligned, so they are copied.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace tarn::host {

constexpr uint32_t kBlockCall = 2; // The kind of record.

struct AttachedBlock {
    std::byte* data = nullptr;
    uint32_t length = 0;
};

// Whether the payload is long enough for the fields below.
bool holdsAttachedBlock(uint32_t kind, std::span<const std::byte> payload);
AttachedBlock attachedBlock(std::span<const std::byte> payload);
void setAttachedBlock(std::span<std::byte> payload, AttachedBlock block);
// A pointer of another process means nothing here. Handlers and callers look for one as soon as it stands in the data,
// whether or not the other fields do.
void clearAttachedPointer(uint32_t kind, std::span<std::byte> payload);

} // namespace tarn::host

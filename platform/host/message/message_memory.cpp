#include "message/message_memory.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <new>

namespace tarn::host {
namespace {

constexpr size_t kSmallestKept = size_t{128} * 1024;
constexpr size_t kLargestKept = size_t{5} * 1024 * 1024; // the largest packet of a notification fits
constexpr size_t kCapacityStep = size_t{64} * 1024;      // so that payloads of nearly one size share blocks

struct alignas(max_align_t) BlockHeader {
    size_t capacity;
};

// An answer on its way in and a request that is being handled are what a process has at once as a rule.
constinit std::array<std::atomic<BlockHeader*>, 2> keptBlocks{};

bool worthKeeping(size_t capacity) {
    return capacity >= kSmallestKept && capacity <= kLargestKept;
}

void keepOrFree(BlockHeader* block) {
    if (worthKeeping(block->capacity)) {
        for (auto& slot : keptBlocks) {
            BlockHeader* empty = nullptr;
            if (slot.compare_exchange_strong(empty, block, std::memory_order_acq_rel, std::memory_order_relaxed)) {
                return;
            }
        }
    }
    std::free(block);
}

// A kept block that is large enough; a smaller one found on the way makes room for what will be given back.
BlockHeader* takeKept(size_t capacity) {
    for (auto& slot : keptBlocks) {
        BlockHeader* const block = slot.exchange(nullptr, std::memory_order_acq_rel);
        if (block != nullptr && block->capacity >= capacity) {
            return block;
        }
        std::free(block);
    }
    return nullptr;
}

} // namespace

void* takeMessageMemory(size_t bytes) {
    const size_t rounded = (bytes + kCapacityStep - 1) / kCapacityStep * kCapacityStep;
    const size_t capacity = worthKeeping(rounded) ? rounded : bytes;
    BlockHeader* block = worthKeeping(capacity) ? takeKept(capacity) : nullptr;
    if (block == nullptr) {
        void* const memory = std::malloc(sizeof(BlockHeader) + capacity);
        if (memory == nullptr) {
            return nullptr;
        }
        block = new (memory) BlockHeader{capacity};
    }
    return block + 1;
}

void giveMessageMemory(void* memory) {
    if (memory != nullptr) {
        keepOrFree(static_cast<BlockHeader*>(memory) - 1);
    }
}

} // namespace tarn::host

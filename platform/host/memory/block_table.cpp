// Sixteen hash tables, each with its own lock, so that threads seldom meet.
#include "memory/block_table.h"

#include <array>
#include <cstdlib>
#include <mutex>

#include "base/fork_handlers.h"

namespace tarn::host {
namespace {

constexpr size_t kShardBits = 4;
constexpr size_t kFirstSlots = 64;

// A leak checker that finds a block's address in the table would take the block for reachable.
uintptr_t hide(const void* address) {
    return ~reinterpret_cast<uintptr_t>(address);
}

uint64_t hashOf(uintptr_t hidden) {
    return (hidden >> 4U) * 0x9E3779B97F4A7C15U;
}

// Open addressing with linear probing. Never destroyed: blocks are still freed while the process exits.
class alignas(64) Shard {
 public:
    void lock() { mutex_.lock(); }
    void unlock() { mutex_.unlock(); }

    bool add(const LiveBlock& block) {
        if ((used_ + 1) * 4 > slots_ * 3 && !grow()) {
            return false;
        }
        place(block);
        ++used_;
        return true;
    }

    bool take(uintptr_t hidden, LiveBlock& taken) {
        if (slots_ == 0) {
            return false;
        }
        size_t slot = home(hidden);
        while (table_[slot].hiddenAddress != hidden) {
            if (table_[slot].hiddenAddress == 0) {
                return false;
            }
            slot = after(slot);
        }
        taken = table_[slot];
        close(slot);
        --used_;
        return true;
    }

    void visit(const std::function<void(const LiveBlock&)>& visitor) const {
        for (size_t slot = 0; slot < slots_; ++slot) {
            if (table_[slot].hiddenAddress != 0) {
                visitor(table_[slot]);
            }
        }
    }

 private:
    size_t home(uintptr_t hidden) const { return static_cast<size_t>(hashOf(hidden) >> 20U) & (slots_ - 1); }
    size_t after(size_t slot) const { return (slot + 1) & (slots_ - 1); }

    void place(const LiveBlock& block) {
        size_t slot = home(block.hiddenAddress);
        while (table_[slot].hiddenAddress != 0) {
            slot = after(slot);
        }
        table_[slot] = block;
    }

    // Moves later blocks of the same run up, so that no search stops at the gap.
    void close(size_t gap) {
        for (size_t slot = after(gap); table_[slot].hiddenAddress != 0; slot = after(slot)) {
            const size_t distance = (slot - home(table_[slot].hiddenAddress)) & (slots_ - 1);
            if (distance >= ((slot - gap) & (slots_ - 1))) {
                table_[gap] = table_[slot];
                gap = slot;
            }
        }
        table_[gap] = {};
    }

    bool grow() {
        const size_t oldSlots = slots_;
        LiveBlock* const old = table_;
        const size_t wanted = oldSlots == 0 ? kFirstSlots : oldSlots * 2;
        auto* larger = static_cast<LiveBlock*>(std::calloc(wanted, sizeof(LiveBlock)));
        if (larger == nullptr) {
            return false;
        }
        table_ = larger;
        slots_ = wanted;
        for (size_t slot = 0; slot < oldSlots; ++slot) {
            if (old[slot].hiddenAddress != 0) {
                place(old[slot]);
            }
        }
        std::free(old);
        return true;
    }

    std::mutex mutex_;
    LiveBlock* table_ = nullptr;
    size_t slots_ = 0;
    size_t used_ = 0;
};

constinit std::array<Shard, size_t{1} << kShardBits> shards{};

Shard& shardOf(uintptr_t hidden) {
    return shards[static_cast<size_t>(hashOf(hidden) >> (64U - kShardBits))];
}

struct EveryLock {
    static void lock() {
        lockMemorySites();
        for (Shard& shard : shards) {
            shard.lock();
        }
    }
    static void unlock() {
        for (Shard& shard : shards) {
            shard.unlock();
        }
        unlockMemorySites();
    }
};

constinit EveryLock everyLock;
const HeldOverForks<everyLock> locksOverForks;

} // namespace

bool addLiveBlock(void* address, MemorySite& site, uint32_t size) {
    const LiveBlock block = {hide(address), &site, size};
    Shard& shard = shardOf(block.hiddenAddress);
    const std::lock_guard lock(shard);
    return shard.add(block);
}

bool takeLiveBlock(const void* address, LiveBlock& taken) {
    const uintptr_t hidden = hide(address);
    Shard& shard = shardOf(hidden);
    const std::lock_guard lock(shard);
    return shard.take(hidden, taken);
}

void forEachLiveBlock(const std::function<void(const LiveBlock&)>& visit) {
    for (Shard& shard : shards) {
        const std::lock_guard lock(shard);
        shard.visit(visit);
    }
}

} // namespace tarn::host

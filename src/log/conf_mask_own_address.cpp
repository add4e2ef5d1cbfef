// Replaces the device's own address in a text by its masked form. The result is cut, not refused, when masking makes
// the text grow beyond its spare room.
#include <array>
#include <cstring>
#include <limits>
#include <mutex>

#include "base/accounted.h"
#include "base/fork_handlers.h"
#include "log/mask_rule.h"
#include "tarn_conference/conf_filter.h"
#include "tarn_platform/bounds_checked.h"
#include "tarn_platform/portability.h"

namespace {

constexpr const char* kLogName = "conf_mask_keyword";

constexpr size_t kRefusedAddressLength = 45;
constexpr size_t kSpareBytes = 100;
constexpr size_t kBytesLeft = 2; // at the end of a result that is cut

using AddressText = std::array<char, CONF_FILTER_MIN_BUFFER>;

// The device's own address: set when the network comes up, while other threads may already be writing logs.
class LocalAddress {
 public:
    void set(const AddressText& address) {
        const std::lock_guard lock(mutex_);
        address_ = address;
    }
    AddressText get() const {
        const std::lock_guard lock(mutex_);
        return address_;
    }

    void lock() { mutex_.lock(); }
    void unlock() { mutex_.unlock(); }

 private:
    mutable std::mutex mutex_;
    AddressText address_ = {};
};

constinit LocalAddress localAddress;

// Held over every fork: whoever holds this lock waits for nobody.
void lockAddress() {
    localAddress.lock();
}
void unlockAddress() {
    localAddress.unlock();
}
const tarn::detail::ForkHandlers forkHandlers(lockAddress, unlockAddress, unlockAddress);

// Text written piece by piece into a block of fixed size.
class BoundedText {
 public:
    BoundedText(char* block, size_t bytes) : block_(block), room_(bytes - kBytesLeft) { block_[0] = '\0'; }

    // False when the copy fails. A piece beyond the room is cut, and nothing fits any more.
    bool append(const char* piece, size_t length) {
        const size_t copied = length < room_ - length_ ? length : room_ - length_;
        if (copied == 0) {
            return true;
        }
        if (memcpy_s(block_ + length_, room_ - length_, piece, copied) != 0) {
            return false;
        }
        length_ += copied;
        block_[length_] = '\0';
        return true;
    }
    bool full() const { return length_ == room_; }
    uint32_t length() const { return static_cast<uint32_t>(length_); }

 private:
    char* block_;
    size_t room_;
    size_t length_ = 0;
};

// Writes `text` with every `address` in it replaced by `masked`.
bool replaceAll(BoundedText& result, const char* text, size_t textLength, const char* address, const char* masked) {
    const char* const end = text + textLength;
    const size_t addressLength = std::strlen(address);
    const size_t maskedLength = std::strlen(masked);
    for (const char* found = MOSS_StrStr(text, address); found != nullptr && !result.full();
         found = MOSS_StrStr(text, address)) {
        if (!result.append(text, static_cast<size_t>(found - text)) || !result.append(masked, maskedLength)) {
            return false;
        }
        text = found + addressLength;
    }
    return result.append(text, static_cast<size_t>(end - text));
}

} // namespace

uint32_t ConfFilterSetIPStr(const char* ip) {
    if (ip == nullptr || std::strlen(ip) >= kRefusedAddressLength) {
        return 1;
    }
    AddressText address = {};
    if (strcpy_s(address.data(), address.size(), ip) != 0) {
        return 1;
    }
    localAddress.set(address);
    return 0;
}

uint32_t ConfReplaceIPAddrStr(const char* text, char** outText, uint32_t* outLen) {
    if (text == nullptr || outText == nullptr || outLen == nullptr || *text == '\0') {
        return 1;
    }
    const AddressText address = localAddress.get();
    AddressText masked;
    if (std::strlen(address.data()) < tarn::detail::kShortestAddress ||
        ConfFilterIPAddrStr(address.data(), masked.data(), masked.size()) != 0) {
        return 1;
    }
    const size_t textLength = std::strlen(text);
    if (textLength > std::numeric_limits<uint32_t>::max() - kSpareBytes) {
        return 1;
    }
    const auto bytes = static_cast<uint32_t>(textLength + kSpareBytes);
    auto block = TARN_ALLOCATE(char, bytes);
    *outText = block.get();
    if (block == nullptr) {
        return 1;
    }
    BoundedText result(block.get(), bytes);
    if (!replaceAll(result, text, textLength, address.data(), masked.data())) {
        *outText = nullptr;
        return 1;
    }
    *outLen = result.length();
    (void)block.release();
    return 0;
}

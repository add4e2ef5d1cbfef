// An owned file descriptor that a forked child closes.
#pragma once

#include <cerrno>
#include <utility>

#include "base/above_standard.h"
#include "message/message_service.h"

namespace tarn::host {

class ForkAwareDescriptor {
 public:
    ForkAwareDescriptor() = default;
    ForkAwareDescriptor(ForkAwareDescriptor&& other) noexcept
        : owner_(std::exchange(other.owner_, nullptr)), descriptor_(std::exchange(other.descriptor_, -1)) {}
    ForkAwareDescriptor& operator=(ForkAwareDescriptor&& other) noexcept {
        if (this != &other) {
            reset();
            owner_ = std::exchange(other.owner_, nullptr);
            descriptor_ = std::exchange(other.descriptor_, -1);
        }
        return *this;
    }
    ForkAwareDescriptor(const ForkAwareDescriptor&) = delete;
    ForkAwareDescriptor& operator=(const ForkAwareDescriptor&) = delete;
    ~ForkAwareDescriptor() { reset(); }

    // `open` returns a new descriptor or -1 with `errno`; it must not wait, because no fork can happen meanwhile.
    template <typename Open>
    static ForkAwareDescriptor make(Open open) {
        MessageService& owner = messageService();
        const std::lock_guard lock(owner.forkMutex);
        return ForkAwareDescriptor(owner, aboveStandard(open()));
    }

    int get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }
    // Keeps `errno`.
    void reset();

 private:
    ForkAwareDescriptor(MessageService& owner, int descriptor);

    MessageService* owner_ = nullptr;
    int descriptor_ = -1;
};

} // namespace tarn::host

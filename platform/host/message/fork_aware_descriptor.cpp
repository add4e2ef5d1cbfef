#include "message/fork_aware_descriptor.h"

#include <unistd.h>

#include <new>

namespace tarn::host {

ForkAwareDescriptor::ForkAwareDescriptor(MessageService& owner, int descriptor)
    : owner_(&owner), descriptor_(descriptor) {
    if (descriptor < 0) {
        return;
    }
    const auto index = static_cast<size_t>(descriptor);
    if (owner.descriptors.size() <= index) {
        try {
            owner.descriptors.resize(index + 64);
        } catch (const std::bad_alloc&) {
            close(std::exchange(descriptor_, -1));
            errno = ENOMEM;
            return;
        }
    }
    owner.descriptors[index] = true;
}

void ForkAwareDescriptor::reset() {
    // In a forked child the number is closed already and may belong to someone else.
    if (descriptor_ >= 0 && owner_ == &messageService()) {
        const int savedErrno = errno;
        const std::lock_guard lock(owner_->forkMutex);
        owner_->descriptors[static_cast<size_t>(descriptor_)] = false;
        close(descriptor_);
        errno = savedErrno;
    }
    descriptor_ = -1;
}

} // namespace tarn::host

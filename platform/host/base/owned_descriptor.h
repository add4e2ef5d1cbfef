// An owned file descriptor, never a standard one.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

#include "base/above_standard.h"

namespace tarn::host {

class OwnedDescriptor {
 public:
    OwnedDescriptor() = default;
    // Takes a new descriptor, or -1 with `errno`.
    explicit OwnedDescriptor(int descriptor) : descriptor_(aboveStandard(descriptor)) {}
    OwnedDescriptor(OwnedDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    OwnedDescriptor(const OwnedDescriptor&) = delete;
    OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;
    // Keeps `errno`.
    ~OwnedDescriptor() {
        const int savedErrno = errno;
        closeNow();
        errno = savedErrno;
    }

    int get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }

    // Some file systems tell of a failed write only here. 0 or an errno.
    int closeNow() {
        const int descriptor = std::exchange(descriptor_, -1);
        return descriptor < 0 || close(descriptor) == 0 ? 0 : errno;
    }

 private:
    int descriptor_ = -1;
};

} // namespace tarn::host

#include "base/write_whole.h"

#include <unistd.h>

#include <cerrno>

namespace tarn::host {

int writeWhole(int file, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(file, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return errno;
        }
        bytes = bytes.subspan(written > 0 ? static_cast<size_t>(written) : 0);
    }
    return 0;
}

} // namespace tarn::host

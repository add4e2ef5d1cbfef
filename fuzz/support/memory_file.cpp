#include "memory_file.h"

#include <sys/mman.h>
#include <unistd.h>

#include "target.h"

namespace tarn::fuzz {

MemoryFile::MemoryFile(std::span<const uint8_t> bytes)
    : descriptor_(memfd_create("fuzz", MFD_CLOEXEC)), path_("/proc/self/fd/" + std::to_string(descriptor_)) {
    FUZZ_CHECK(descriptor_ >= 0);
    FUZZ_CHECK(write(descriptor_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
}

MemoryFile::~MemoryFile() {
    close(descriptor_);
}

} // namespace tarn::fuzz

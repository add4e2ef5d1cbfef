// Files of the certificate folders: opened without waiting, read whole, and wiped from memory when they were secret.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "base/owned_descriptor.h"

namespace tarn::host {

// Bytes that are wiped when they go.
class FileBytes {
 public:
    FileBytes() = default;
    explicit FileBytes(size_t capacity) : bytes_(capacity) {}
    FileBytes(FileBytes&& other) noexcept = default;
    FileBytes& operator=(FileBytes&& other) noexcept {
        bytes_.swap(other.bytes_);
        return *this;
    }
    FileBytes(const FileBytes&) = delete;
    FileBytes& operator=(const FileBytes&) = delete;
    ~FileBytes();

    std::span<uint8_t> all() { return bytes_; }
    std::span<const uint8_t> all() const { return bytes_; }
    size_t size() const { return bytes_.size(); }
    // Only down, so that no copy of a secret stays behind.
    void shrink(size_t size);

 private:
    std::vector<uint8_t> bytes_;
};

// Who else may be able to read a file.
enum class Readers {
    kAnybody,
    kOwnerOnly, // Mode 0600 or narrower, and this user's; EPERM otherwise.
};

// Opens a regular file below `folder` (or by a path of its own with AT_FDCWD) and tells its size. 0 or an errno:
// EISDIR or EINVAL for what is no regular file.
int openRegularFile(int folder, const char* name, Readers readers, OwnedDescriptor& file, uint64_t& size);

// Reads a file whole. EFBIG when it has more than `most` bytes; EAGAIN when it grew meanwhile: its writer is not done.
int readRegularFile(int folder, const char* name, Readers readers, size_t most, FileBytes& bytes);

// Writes a new file of mode 0600 and brings it to the disk. 0 or an errno.
int writeNewFile(int folder, const char* name, std::span<const uint8_t> bytes);

// Brings the names in a folder to the disk. 0 or an errno.
int syncFolder(int folder);

} // namespace tarn::host

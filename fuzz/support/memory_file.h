// A file without a disk: an input under a path that can be opened.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace tarn::fuzz {

class MemoryFile {
 public:
    explicit MemoryFile(std::span<const uint8_t> bytes);
    ~MemoryFile();
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    const char* path() const { return path_.c_str(); }

 private:
    int descriptor_;
    std::string path_;
};

} // namespace tarn::fuzz

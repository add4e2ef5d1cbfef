// A directory that is gone when the program ends.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>

namespace tarn::fuzz {

class ScratchDirectory {
 public:
    ScratchDirectory();
    ~ScratchDirectory();
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }
    // Writes a file below it, with the folders above it.
    void write(const std::filesystem::path& name, std::span<const uint8_t> bytes) const;

 private:
    std::filesystem::path path_;
};

} // namespace tarn::fuzz

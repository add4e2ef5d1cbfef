// A log file of limited size with a limited number of predecessors: "name", "name.1" (the newest), "name.2", ...
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "base/owned_descriptor.h"

namespace tarn::host {

struct RotationLimits {
    uint64_t maxBytes; // A line that would make the file longer starts a new one, unless the file is empty.
    uint32_t kept;     // Predecessors.
};

class RotatingFile {
 public:
    // Whether a file is open and was not removed; a `thorough` look, which costs as much as writing a line, also finds
    // that it does not stand at its path any more. False asks for `open`. Comes before `makeRoom`, which uses the size
    // found.
    bool current(bool thorough);

    // Opens or creates the file. 0 or an `errno` value.
    int open(const std::string& path);

    void close() { file_ = OwnedDescriptor(); }

    // Starts a new file when the line does not fit any more. 0 or an `errno` value; on failure the old file goes on.
    int makeRoom(size_t lineBytes, const RotationLimits& limits);

    // Appends the line with one write. 0 or an `errno` value; a line that fits only in part is taken back.
    int append(std::string_view line);

 private:
    int rotate(uint32_t kept);

    std::string path_;
    OwnedDescriptor file_;
    uint64_t size_ = 0; // When last looked at.
};

} // namespace tarn::host

// The loaded modules of a process: what a call's handler address means. Two processes may only exchange calls when each
// module that both have is the same build at the same address, and the main program is the same.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tarn::host {

struct Module {
    uint64_t address = 0; // Where it is loaded.
    uint64_t size = 0;    // Of its mapping; tells builds without an id apart.
    std::string buildId;  // Bytes; empty for a module that was linked without one.
    std::string path;     // Empty for the main program.
};

// Who opens a connection.
struct ProcessImage {
    uint32_t pid = 0;
    std::string name;
    std::vector<Module> modules;
};

// This process as it is now. Throws std::bad_alloc.
ProcessImage ownImage();

std::vector<std::byte> encodeImage(const ProcessImage& image);
// Nothing for bytes that are no image.
std::optional<ProcessImage> decodeImage(std::span<const std::byte> bytes);

// Empty when calls from `sender` to `receiver` are safe, else one line that says to a person what differs and what to
// do.
std::string imageDifference(const ProcessImage& sender, const ProcessImage& receiver);

} // namespace tarn::host

// Whole files, read and written at once.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace tarnctl {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using OpenFile = std::unique_ptr<std::FILE, CloseFile>;

// Appends what is left to read. 0 or an errno: EFBIG when `content` gets longer than `most`.
int readContent(std::FILE& file, std::string& content, size_t most = SIZE_MAX);
int readContent(const std::string& path, std::string& content, size_t most = SIZE_MAX);

// Whether only a new file may be written, or also one in place of what is there.
enum class Place { kNew, kAny };

// Writes all of it; what was begun is removed again. 0 or an errno.
int writeContent(const std::string& path, std::string_view content, Place place, mode_t mode);

} // namespace tarnctl

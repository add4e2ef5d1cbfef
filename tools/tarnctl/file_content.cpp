#include "file_content.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace tarnctl {
namespace {

int writeAll(int file, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = write(file, content.data(), content.size());
        if (written <= 0) {
            return written < 0 ? errno : ENOSPC;
        }
        content.remove_prefix(static_cast<size_t>(written));
    }
    return 0;
}

} // namespace

int readContent(std::FILE& file, std::string& content, size_t most) {
    std::array<char, 4096> part;
    while (const size_t length = std::fread(part.data(), 1, part.size(), &file)) {
        content.append(part.data(), length);
        if (content.size() > most) {
            return EFBIG;
        }
    }
    return std::ferror(&file) != 0 ? errno : 0;
}

int readContent(const std::string& path, std::string& content, size_t most) {
    const OpenFile file(std::fopen(path.c_str(), "re"));
    return file == nullptr ? errno : readContent(*file, content, most);
}

int writeContent(const std::string& path, std::string_view content, Place place, mode_t mode) {
    const int placing = place == Place::kNew ? O_EXCL : O_TRUNC;
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | placing, mode);
    if (file < 0) {
        return errno;
    }
    int error = writeAll(file, content);
    if (close(file) != 0 && error == 0) {
        error = errno;
    }
    if (error != 0) {
        unlink(path.c_str());
    }
    return error;
}

} // namespace tarnctl

// Directories and files of the C library; a null argument is an error like any other.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string>

#include "base/guarded.h"
#include "tarn_platform/os_file.h"

namespace {

// A program that the process starts does not inherit the file.
std::string closedOnExec(const char* mode) {
    std::string closed = mode;
    closed.insert(std::min(closed.find(','), closed.size()), 1, 'e'); // Behind the comma stands a character set.
    return closed;
}

FILE* openFile(const char* path, const std::string& mode) {
    FILE* const file = std::fopen(path, mode.c_str());
    if (file == nullptr || fileno(file) > STDERR_FILENO) {
        return file;
    }
    const int lifted = fcntl(fileno(file), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    std::fclose(file);
    if (lifted < 0) {
        return nullptr;
    }
    FILE* const aboveStandard = fdopen(lifted, mode.c_str());
    if (aboveStandard == nullptr) {
        close(lifted);
    }
    return aboveStandard;
}

} // namespace

void* OsOpenDir(const char* path) {
    if (path == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    return opendir(path);
}

struct dirent* OsReadDir(void* directory) {
    if (directory == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    return readdir(static_cast<DIR*>(directory));
}

int OsCloseDir(void* directory) {
    if (directory == nullptr) {
        errno = EINVAL;
        return -1;
    }
    return closedir(static_cast<DIR*>(directory));
}

int OsRemove(const char* path) {
    if (path == nullptr) {
        errno = EINVAL;
        return -1;
    }
    return std::remove(path);
}

FILE* OsFopen(const char* path, const char* mode) {
    if (path == nullptr || mode == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    try {
        return openFile(path, closedOnExec(mode));
    } catch (const std::exception& failure) {
        errno = tarn::host::errorOf(failure);
        return nullptr;
    }
}

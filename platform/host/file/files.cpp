// Directories and files of the C library; a null argument is an error like any other.
#include <cerrno>
#include <cstdio>

#include "tarn_platform/os_file.h"

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
    return std::fopen(path, mode);
}

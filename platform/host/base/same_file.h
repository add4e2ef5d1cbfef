// Whether a name still stands for the file that is open: it may have been removed, moved away or replaced.
#pragma once

#include <sys/stat.h>

namespace tarn::host {

// A symbolic link of that name is another file.
inline bool isOpenFile(const char* path, int file) {
    struct stat named = {};
    struct stat open = {};
    return lstat(path, &named) == 0 && fstat(file, &open) == 0 && named.st_dev == open.st_dev &&
           named.st_ino == open.st_ino;
}

} // namespace tarn::host

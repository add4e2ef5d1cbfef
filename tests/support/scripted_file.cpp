#include "scripted_file.h"

#include <cerrno>
#include <filesystem>

#include "tarn_platform/os_file.h"

using namespace tarn::test;

void* OsOpenDir(const char* path) {
    return isToFail(__func__) ? nullptr : opendir(path);
}

struct dirent* OsReadDir(void* directory) {
    return isToFail(__func__) ? nullptr : readdir(static_cast<DIR*>(directory));
}

int OsCloseDir(void* directory) {
    ScriptedPlatform::get().enterInfallible(__func__);
    return closedir(static_cast<DIR*>(directory));
}

int OsCopyFile(const char* from, const char* to) {
    scriptedFiles().copies.emplace_back(from, to);
    if (isToFail(__func__)) {
        errno = ENOSPC;
        return EIO;
    }
    std::error_code error;
    std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing, error);
    return error.value();
}

int OsRemove(const char* path) {
    return isToFail(__func__) ? -1 : std::remove(path);
}

FILE* OsFopen(const char* path, const char* mode) {
    FILE* const stream = isToFail(__func__) ? nullptr : std::fopen(path, mode);
    if (stream != nullptr && *mode == 'r') {
        scriptedFiles().openedForReading.push_back(stream);
    }
    return stream;
}

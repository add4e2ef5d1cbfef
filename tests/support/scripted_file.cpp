#include "scripted_file.h"

#include <cerrno>
#include <filesystem>

#include "scripted_platform.h"
#include "tarn_platform/os_file.h"

using tarn::test::scriptedFiles;
using tarn::test::ScriptedPlatform;

namespace tarn::test {

void ScriptedFiles::closeStreams() {
    for (FILE* const stream : openedForReading) {
        std::fclose(stream);
    }
    openedForReading.clear();
}

ScriptedFiles& scriptedFiles() {
    static ScriptedFiles files;
    return files;
}

} // namespace tarn::test

void* OsOpenDir(const char* path) {
    return ScriptedPlatform::get().enter("OsOpenDir") ? nullptr : opendir(path);
}

struct dirent* OsReadDir(void* directory) {
    return ScriptedPlatform::get().enter("OsReadDir") ? nullptr : readdir(static_cast<DIR*>(directory));
}

int OsCloseDir(void* directory) {
    ScriptedPlatform::get().enterInfallible("OsCloseDir");
    return closedir(static_cast<DIR*>(directory));
}

int OsCopyFile(const char* from, const char* to) {
    scriptedFiles().copies.emplace_back(from, to);
    if (ScriptedPlatform::get().enter("OsCopyFile")) {
        errno = ENOSPC;
        return EIO;
    }
    std::error_code error;
    std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing, error);
    return error.value();
}

int OsRemove(const char* path) {
    return ScriptedPlatform::get().enter("OsRemove") ? -1 : std::remove(path);
}

FILE* OsFopen(const char* path, const char* mode) {
    if (ScriptedPlatform::get().enter("OsFopen")) {
        return nullptr;
    }
    FILE* const stream = std::fopen(path, mode);
    if (stream != nullptr && *mode == 'r') {
        scriptedFiles().openedForReading.push_back(stream);
    }
    return stream;
}

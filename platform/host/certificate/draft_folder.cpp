#include "certificate/draft_folder.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <new>

#include "base/host_directory.h"

namespace tarn::host {
namespace {

constexpr const char* kPrefix = ".draft-";
constexpr time_t kAbandonedSeconds = 3600;

void removeTree(const std::string& path) noexcept {
    try {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    } catch (const std::bad_alloc&) { // It is removed as abandoned later.
    }
}

bool isAbandoned(const std::string& path) {
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0 && std::time(nullptr) - status.st_ctime > kAbandonedSeconds;
}

void removeAbandoned(const std::string& parent) {
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(parent, ignored)) {
        if (entry.path().filename().native().starts_with(kPrefix) && isAbandoned(entry.path())) {
            removeTree(entry.path());
        }
    }
}

int syncParentOf(const std::string& path) {
    const OwnedDescriptor parent(open(path.substr(0, path.rfind('/')).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return parent ? syncFolder(parent.get()) : errno;
}

} // namespace

int DraftFolder::make(DraftFolder& draft) {
    std::string path;
    const int error = makeHostSubdirectory("cert", path);
    if (error != 0) {
        return error;
    }
    removeAbandoned(path);
    path.append("/").append(kPrefix).append("XXXXXX");
    if (mkdtemp(path.data()) == nullptr) {
        return errno;
    }
    draft.path_ = std::move(path);
    draft.folder_ = OwnedDescriptor(open(draft.path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return draft.folder_ ? 0 : errno;
}

DraftFolder::~DraftFolder() {
    if (!path_.empty()) {
        removeTree(path_);
    }
}

int DraftFolder::moveFile(const std::string& name, const std::string& path) const {
    if (renameat(folder_.get(), name.c_str(), AT_FDCWD, path.c_str()) != 0) {
        return errno;
    }
    return syncParentOf(path);
}

int DraftFolder::takePlaceOf(const std::string& path) const {
    int error = syncFolder(folder_.get());
    if (error != 0) {
        return error;
    }
    // Another process may install or remove the same one just now.
    do {
        error = renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, path.c_str(), RENAME_EXCHANGE) == 0 ? 0 : errno;
        if (error == ENOENT) {
            error = renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0 ? 0 : errno;
        }
    } while (error == EEXIST);
    return error != 0 ? error : syncParentOf(path);
}

int DraftFolder::takeIn(const std::string& path) const {
    if (renameat(AT_FDCWD, path.c_str(), folder_.get(), "removed") != 0) {
        return errno;
    }
    return syncParentOf(path);
}

} // namespace tarn::host

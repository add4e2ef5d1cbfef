// The host directory and the process name. Both are settled once, so that every service of a process agrees on them.
#include "base/host_directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/report.h"
#include "tarn_host/host_process.h"

namespace tarn::host {
namespace {

std::string wantedDirectory() {
    if (const char* given = std::getenv("TARN_HOST_DIR"); given != nullptr && *given != '\0') {
        return given;
    }
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime != nullptr && *runtime != '\0') {
        return std::string(runtime) + "/tarn";
    }
    return "/tmp/tarn-" + std::to_string(getuid());
}

// Creates the directory if it is absent; 0 or an errno. One that another user prepared, or can put files into, is
// refused with EPERM.
int makeOwnDirectory(const std::string& path) {
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        return errno;
    }
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) {
        return errno;
    }
    if (!S_ISDIR(status.st_mode)) {
        return ENOTDIR;
    }
    return status.st_uid == geteuid() && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0 ? 0 : EPERM;
}

const char* reasonText(int error) {
    return error == EPERM ? "it must be your own, and writable for nobody else" : std::strerror(error);
}

std::string absolutePath(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    if (path.front() == '/') {
        return path;
    }
    char* current = getcwd(nullptr, 0);
    if (current == nullptr) {
        return path;
    }
    path = std::string(current) + "/" + path;
    std::free(current);
    return path;
}

struct HostDirectory {
    std::string path;
    int error = 0;
};

const HostDirectory& hostDirectory() {
    // Never destroyed: threads of the services still ask for it while the process ends.
    static const HostDirectory& directory = *new HostDirectory([] {
        HostDirectory wanted = {absolutePath(wantedDirectory())};
        wanted.error = makeOwnDirectory(wanted.path);
        if (wanted.error != 0) {
            report("cannot use the directory %s: %s; set TARN_HOST_DIR to a directory of your own", wanted.path.c_str(),
                   reasonText(wanted.error));
        }
        return wanted;
    }());
    return directory;
}

} // namespace

int makeHostSubdirectory(const std::string& name, std::string& path) {
    const HostDirectory& host = hostDirectory();
    path = host.path;
    // It was there at the start, but somebody may have removed it since.
    int error = host.error != 0 ? host.error : makeOwnDirectory(path);
    size_t start = 0;
    while (error == 0 && start < name.size()) {
        const size_t end = std::min(name.find('/', start), name.size());
        path.append("/").append(name, start, end - start);
        error = makeOwnDirectory(path);
        start = end + 1;
    }
    return error;
}

int HostSubdirectory::make(std::string& path) {
    const int error = makeHostSubdirectory(name_, path);
    if (hostDirectory().error == 0 && told_.isNews(error)) {
        report("cannot use the directory %s: %s", path.c_str(), reasonText(error));
    }
    return error;
}

} // namespace tarn::host

const char* TarnHostDir(void) {
    try {
        const auto& directory = tarn::host::hostDirectory();
        return directory.error == 0 ? directory.path.c_str() : nullptr;
    } catch (const std::bad_alloc&) {
        return nullptr; // The next call tries again.
    }
}

// Copies a file so that the target is at every moment either the old file or the whole copy: the copy is written beside
// it, brought to the disk, and then takes its name.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>

#include "base/guarded.h"
#include "base/owned_descriptor.h"
#include "base/write_whole.h"
#include "tarn_platform/os_file.h"

namespace {

using tarn::host::OwnedDescriptor;

constexpr size_t kChunkBytes = size_t{64} * 1024;
constexpr mode_t kPermissions = S_IRWXU | S_IRWXG | S_IRWXO;

// A file in the target's directory that vanishes unless it takes the target's name.
class Neighbour {
 public:
    explicit Neighbour(const char* target)
        : path_(directoryOf(target) + ".tarn-copy-XXXXXX"),
          file_(mkostemp(path_.data(), O_CLOEXEC)),
          leftBehind_(file_.get() >= 0) {}
    ~Neighbour() {
        if (leftBehind_) {
            unlink(path_.c_str());
        }
    }
    Neighbour(const Neighbour&) = delete;
    Neighbour& operator=(const Neighbour&) = delete;

    int descriptor() const { return file_.get(); }

    int becomeFile(const char* target, mode_t permissions) {
        if (fchmod(file_.get(), permissions) != 0 || fsync(file_.get()) != 0) {
            return errno;
        }
        const int closed = file_.closeNow();
        return closed != 0 ? closed : rename(target);
    }

 private:
    static std::string directoryOf(const std::string& path) { return path.substr(0, path.rfind('/') + 1); }

    int rename(const char* target) {
        if (std::rename(path_.c_str(), target) != 0) {
            return errno;
        }
        leftBehind_ = false;
        return 0;
    }

    std::string path_;
    OwnedDescriptor file_;
    bool leftBehind_;
};

int copyContent(int from, int to) {
    std::array<char, kChunkBytes> chunk;
    for (;;) {
        const ssize_t got = read(from, chunk.data(), chunk.size());
        if (got == 0) {
            return 0;
        }
        if (got < 0 && errno != EINTR) {
            return errno;
        }
        if (got > 0) {
            const int error =
                tarn::host::writeWhole(to, std::as_bytes(std::span(chunk).first(static_cast<size_t>(got))));
            if (error != 0) {
                return error;
            }
        }
    }
}

// 0 or an errno.
int copyFile(const char* from, const char* to) {
    // O_NONBLOCK: a pipe without a writer is refused below instead of waited for.
    const OwnedDescriptor source(open(from, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    struct stat status = {};
    if (source.get() < 0 || fstat(source.get(), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    }
    Neighbour copy(to);
    if (copy.descriptor() < 0) {
        return errno;
    }
    const int error = copyContent(source.get(), copy.descriptor());
    return error != 0 ? error : copy.becomeFile(to, status.st_mode & kPermissions);
}

} // namespace

int OsCopyFile(const char* from, const char* to) {
    int error = EINVAL;
    if (from != nullptr && to != nullptr) {
        error = static_cast<int>(tarn::host::guarded([&] { return copyFile(from, to); }));
    }
    if (error != 0) {
        errno = error;
    }
    return error;
}

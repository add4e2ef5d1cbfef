#include "certificate/open_file.h"

#include <fcntl.h>
#include <openssl/crypto.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "base/write_whole.h"

namespace tarn::host {

FileBytes::~FileBytes() {
    OPENSSL_cleanse(bytes_.data(), bytes_.size());
}

void FileBytes::shrink(size_t size) {
    OPENSSL_cleanse(bytes_.data() + size, bytes_.size() - size);
    bytes_.resize(size);
}

int openRegularFile(int folder, const char* name, Readers readers, OwnedDescriptor& file, uint64_t& size) {
    // O_NONBLOCK: a pipe without a writer is refused below instead of waited for.
    OwnedDescriptor opened(openat(folder, name, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    struct stat status = {};
    if (!opened || fstat(opened.get(), &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode)) {
        return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    }
    if (readers == Readers::kOwnerOnly && (status.st_uid != geteuid() || (status.st_mode & 077U) != 0)) {
        return EPERM;
    }
    file = std::move(opened);
    size = static_cast<uint64_t>(status.st_size);
    return 0;
}

int readRegularFile(int folder, const char* name, Readers readers, size_t most, FileBytes& bytes) {
    OwnedDescriptor file;
    uint64_t size = 0;
    const int error = openRegularFile(folder, name, readers, file, size);
    if (error != 0) {
        return error;
    }
    if (size > most) {
        return EFBIG;
    }
    FileBytes content(static_cast<size_t>(size) + 1);
    size_t used = 0;
    while (used < content.size()) {
        const ssize_t got = read(file.get(), content.all().data() + used, content.size() - used);
        if (got < 0 && errno != EINTR) {
            return errno;
        }
        if (got == 0) {
            content.shrink(used);
            bytes = std::move(content);
            return 0;
        }
        used += got > 0 ? static_cast<size_t>(got) : 0;
    }
    return EAGAIN;
}

int writeNewFile(int folder, const char* name, std::span<const uint8_t> bytes) {
    const OwnedDescriptor file(openat(folder, name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file) {
        return errno;
    }
    const int error = writeWhole(file.get(), std::as_bytes(bytes));
    if (error != 0) {
        return error;
    }
    return fsync(file.get()) == 0 ? 0 : errno;
}

int syncFolder(int folder) {
    return fsync(folder) == 0 ? 0 : errno;
}

} // namespace tarn::host

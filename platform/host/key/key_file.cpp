// The key file appears whole: it is filled under another name and then linked to its own. The first link wins, and all
// others use what it linked.
#include "key/key_file.h"

#include <fcntl.h>
#include <openssl/crypto.h>
#include <openssl/rand.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>

#include "base/host_directory.h"
#include "base/owned_descriptor.h"
#include "base/report.h"
#include "base/told_error.h"
#include "base/write_whole.h"

namespace tarn::host {
namespace {

// 0 for a file that holds a key and that nobody else can read.
int examine(int file) {
    struct stat status = {};
    if (fstat(file, &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode) || status.st_size != static_cast<off_t>(kValueKeyBytes)) {
        return EBADMSG;
    }
    return status.st_uid == geteuid() && (status.st_mode & 077U) == 0 ? 0 : EPERM;
}

int readKey(const std::string& path, ValueKey& key) {
    const OwnedDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!file) {
        return errno;
    }
    const int error = examine(file.get());
    if (error != 0) {
        return error;
    }
    const ssize_t length = read(file.get(), key.bytes.data(), key.bytes.size());
    if (length < 0) {
        return errno;
    }
    return static_cast<size_t>(length) == key.bytes.size() ? 0 : EBADMSG;
}

int fill(int file) {
    ValueKey key;
    if (RAND_priv_bytes(key.bytes.data(), static_cast<int>(key.bytes.size())) != 1) {
        return EIO;
    }
    const int error = writeWhole(file, std::as_bytes(std::span(key.bytes)));
    if (error != 0) {
        return error;
    }
    return fsync(file) == 0 ? 0 : errno;
}

// Puts a fresh key under `path` unless there is one by then.
int makeKey(const std::string& directory, const std::string& path) {
    std::string draft = directory;
    draft += "/.value.key-XXXXXX";
    const OwnedDescriptor file(mkostemp(draft.data(), O_CLOEXEC));
    if (!file) {
        return errno;
    }
    int error = fill(file.get());
    if (error == 0 && link(draft.c_str(), path.c_str()) != 0 && errno != EEXIST) {
        error = errno;
    }
    unlink(draft.c_str());
    if (error == 0) {
        // Values encrypted with the key may be on the disk soon; its name must not come later.
        const OwnedDescriptor opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        error = opened && fsync(opened.get()) == 0 ? 0 : errno;
    }
    return error;
}

const char* keyFileAdvice(int error) {
    switch (error) {
        case EBADMSG:
            return "it is no key of 32 bytes; bring the right one back, or remove it and set the passwords anew";
        case EPERM:
        case ELOOP:
            return "it must be a file of your own with mode 0600";
        default:
            return std::strerror(error);
    }
}

} // namespace

ValueKey::~ValueKey() {
    OPENSSL_cleanse(bytes.data(), bytes.size());
}

int loadValueKey(ValueKey& key) {
    static constinit HostSubdirectory keys("keys");
    static constinit ToldError told;
    std::string directory;
    int error = keys.make(directory);
    if (error != 0) {
        return error;
    }
    std::string path = directory;
    path += "/value.key";
    error = readKey(path, key);
    if (error == ENOENT) {
        error = makeKey(directory, path);
        error = error != 0 ? error : readKey(path, key);
    }
    if (told.isNews(error)) {
        report("cannot use the key file %s: %s", path.c_str(), keyFileAdvice(error));
    }
    return error;
}

} // namespace tarn::host

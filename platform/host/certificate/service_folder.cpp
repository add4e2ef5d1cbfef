#include "certificate/service_folder.h"

#include <fcntl.h>
#include <openssl/crypto.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/host_directory.h"
#include "base/report.h"

namespace tarn::host {
namespace {

int refuseReaders(int error, const std::string& folder, const char* name) {
    if (error == EPERM) {
        report("cannot use %s/%s: it must be a file of your own with mode 0600", folder.c_str(), name);
    }
    return error;
}

} // namespace

int serviceParent(std::string& path) {
    return makeHostSubdirectory("cert/service", path);
}

int ServiceFolder::open(const CertificateType& type, ServiceFolder& folder) {
    std::string path;
    const int error = serviceParent(path);
    if (error != 0) {
        return error;
    }
    path.append("/").append(type.folder);
    folder.folder_ = OwnedDescriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    folder.path_ = std::move(path);
    return folder.folder_ ? 0 : errno;
}

int ServiceFolder::certificateSize(uint64_t& size) const {
    OwnedDescriptor file;
    return openRegularFile(folder_.get(), kCertificateFile, Readers::kAnybody, file, size);
}

int ServiceFolder::keySize(uint64_t& size) const {
    OwnedDescriptor file;
    return refuseReaders(openRegularFile(folder_.get(), kKeyFile, Readers::kOwnerOnly, file, size), path_, kKeyFile);
}

int ServiceFolder::readCertificate(size_t most, FileBytes& bytes) const {
    return readRegularFile(folder_.get(), kCertificateFile, Readers::kAnybody, most, bytes);
}

int ServiceFolder::readKey(size_t most, FileBytes& bytes) const {
    return refuseReaders(readRegularFile(folder_.get(), kKeyFile, Readers::kOwnerOnly, most, bytes), path_, kKeyFile);
}

int ServiceFolder::readPassPhrase(std::string& passPhrase) const {
    constexpr size_t kLineEnd = 2;
    FileBytes bytes;
    const int error = refuseReaders(
        readRegularFile(folder_.get(), kPassPhraseFile, Readers::kOwnerOnly, kMostPassPhraseBytes + kLineEnd, bytes),
        path_, kPassPhraseFile);
    if (error != 0) {
        passPhrase.clear();
        return error == ENOENT ? 0 : error;
    }
    const auto text = bytes.all();
    const auto end = std::find_if(text.begin(), text.end(), [](uint8_t c) { return c == '\n' || c == '\r' || c == 0; });
    if (end - text.begin() > static_cast<ptrdiff_t>(kMostPassPhraseBytes)) {
        return EFBIG;
    }
    passPhrase.assign(text.begin(), end);
    return 0;
}

bool ServiceFolder::isKeyless() const {
    return faccessat(folder_.get(), kKeylessFile, F_OK, 0) == 0;
}

bool ServiceFolder::isCurrent() const {
    struct stat opened = {};
    struct stat named = {};
    return fstat(folder_.get(), &opened) == 0 && stat(path_.c_str(), &named) == 0 && opened.st_ino == named.st_ino &&
           opened.st_dev == named.st_dev;
}

int loadOwnKey(const ServiceFolder& folder, const X509& certificate, KeyPointer& key) {
    FileBytes bytes;
    std::string passPhrase;
    int error = folder.readKey(kMostKeyBytes, bytes);
    error = error != 0 ? error : folder.readPassPhrase(passPhrase);
    KeyPointer found;
    error = error != 0 ? error : readPemKey(bytes.all(), passPhrase, found);
    OPENSSL_cleanse(passPhrase.data(), passPhrase.size());
    if (error == 0 && !isKeyOf(certificate, *found)) {
        error = EKEYREJECTED;
    }
    if (error == 0) {
        key = std::move(found);
    }
    return error;
}

} // namespace tarn::host

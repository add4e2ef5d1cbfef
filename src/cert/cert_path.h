// What all work on certificate files shares: path buffers, names of files, walks through directories, PEM files.
#pragma once

#include <openssl/pem.h>

#include <array>
#include <cstring>

#include "base/openssl_owner.h"
#include "tarn_conference/conf_cert.h"
#include "tarn_conference/conf_settings.h"
#include "tarn_platform/bounds_checked.h"
#include "tarn_platform/os_file.h"
#include "tarn_platform/portability.h"

namespace tarn::detail {

using PathBuffer = std::array<char, CONF_CERT_PATH_LEN>;

// The length of the joined text; negative, and `out` empty, when it does not fit.
inline int joinPath(PathBuffer& out, const char* first, const char* second) {
    return sprintf_s(out.data(), out.size(), "%s%s", first, second);
}

// Whether the device has its certificates at fixed paths. Asked anew at every step that depends on it.
inline bool hasFixedPaths() {
    return CallServiceIsForbiddenKitCap() != 0;
}

// The trust store at its fixed path; TLS contexts read their revocation lists from it too.
inline constexpr const char* kFixedStore = "/data/tarn_conference/CA/";

// False, which is logged for `function`, when the path does not fit.
bool copyPath(const char* function, char* out, size_t bytes, const char* path);

// Whether a file name holds a part in either case.
inline bool nameHolds(const char* name, const char* lower, const char* upper) {
    return std::strstr(name, lower) != nullptr || std::strstr(name, upper) != nullptr;
}

// A directory that is read from beginning to end.
class DirectoryWalk {
 public:
    explicit DirectoryWalk(const char* path) : handle_(OsOpenDir(path)) {}
    ~DirectoryWalk() {
        if (handle_ != nullptr) {
            OsCloseDir(handle_);
        }
    }
    DirectoryWalk(const DirectoryWalk&) = delete;
    DirectoryWalk& operator=(const DirectoryWalk&) = delete;

    bool isOpen() const { return handle_ != nullptr; }

    // The next name but "." and "..", valid until the next call; null at the end.
    const char* next() {
        const dirent* entry = OsReadDir(handle_);
        while (entry != nullptr && (MOSS_StrCmp(entry->d_name, ".") == 0 || MOSS_StrCmp(entry->d_name, "..") == 0)) {
            entry = OsReadDir(handle_);
        }
        return entry == nullptr ? nullptr : entry->d_name;
    }

 private:
    void* const handle_;
};

inline OwnedBio openFile(const char* path) {
    return OwnedBio(BIO_new_file(path, "rb"));
}

// The readers are given an empty pass phrase: without one OpenSSL would ask for it at the terminal when it meets an
// encrypted block.
inline OwnedCertificate readCertificate(const OwnedBio& file) {
    char noPassPhrase[] = "";
    return OwnedCertificate(PEM_read_bio_X509(file.get(), nullptr, nullptr, noPassPhrase));
}

inline OwnedCrl readCrl(const OwnedBio& file) {
    char noPassPhrase[] = "";
    return OwnedCrl(PEM_read_bio_X509_CRL(file.get(), nullptr, nullptr, noPassPhrase));
}

} // namespace tarn::detail

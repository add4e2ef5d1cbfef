// The folder of a service certificate: `cert/service/0x107` and so on, with
//   cert.pem  the certificate, followed by its chain
//   key.pem   its private key; mode 0600
//   key.pass  the key's pass phrase, when it is encrypted; one line, mode 0600
//   keyless   there when the key is to be used through the engine only; its content does not matter
// A folder is opened once for what belongs together: an installation puts a whole new folder in its place.
#pragma once

#include <cerrno>
#include <string>

#include "certificate/certificate_types.h"
#include "certificate/open_file.h"
#include "certificate/x509_content.h"

namespace tarn::host {

inline constexpr const char* kCertificateFile = "cert.pem";
inline constexpr const char* kKeyFile = "key.pem";
inline constexpr const char* kPassPhraseFile = "key.pass";
inline constexpr const char* kKeylessFile = "keyless";

inline constexpr size_t kMostCertificateBytes = size_t{1024} * 1024; // More is not taken by the processes.
inline constexpr size_t kMostKeyBytes = size_t{64} * 1024;
inline constexpr size_t kMostPassPhraseBytes = 63;

class ServiceFolder {
 public:
    // 0 or an errno: ENOENT when nothing is installed.
    static int open(const CertificateType& type, ServiceFolder& folder);

    // 0, or ENOENT without the file, or why it cannot be used. A key that others can read is refused with a line on
    // standard error.
    int certificateSize(uint64_t& size) const;
    int keySize(uint64_t& size) const;
    int readCertificate(size_t most, FileBytes& bytes) const;
    int readKey(size_t most, FileBytes& bytes) const;
    // Empty without the file.
    int readPassPhrase(std::string& passPhrase) const;

    bool isKeyless() const;
    // False once another folder, or none, is in its place: what was read may then be half removed.
    bool isCurrent() const;
    const std::string& path() const { return path_; }

 private:
    std::string path_;
    OwnedDescriptor folder_;
};

// Opens the folder of a type and gives it to `use`, again when an installation came between; before each attempt
// `forget` drops what the last one found. 0 or an errno: that of `use`; ENOENT when nothing is installed; EAGAIN when
// installations never end.
template <typename Forget, typename Use>
int useServiceFolder(const CertificateType& type, Forget forget, Use use) {
    constexpr int kMostAttempts = 100;
    for (int attempt = 0; attempt < kMostAttempts; attempt++) {
        forget();
        ServiceFolder folder;
        int error = ServiceFolder::open(type, folder);
        if (error != 0) {
            return error;
        }
        error = use(folder);
        if (folder.isCurrent()) {
            return error;
        }
    }
    return EAGAIN;
}

// Where a failure's remains do no harm.
template <typename Use>
int useServiceFolder(const CertificateType& type, Use use) {
    return useServiceFolder(
        type, [] {}, use);
}

// The key of a folder if it belongs to the certificate; EKEYREJECTED otherwise.
int loadOwnKey(const ServiceFolder& folder, const X509& certificate, KeyPointer& key);

// `cert/service` below the host directory, made when it is absent. 0 or an errno.
int serviceParent(std::string& path);

} // namespace tarn::host

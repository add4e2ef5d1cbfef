// Hash names, as a hashed certificate directory expects them. The number behind the hash is always 0, so of two
// certificates with one subject only one is found. Revocation lists are read and their names built, but they keep the
// names that they came with: TLS contexts read them from their own directory.
#include <cerrno>
#include <cstdio>

#include <openssl/x509.h>

#include <unistd.h>

#include "base/log.h"
#include "cert/cert_path.h"
#include "cert/trust_store.h"

using tarn::detail::joinPath;
using tarn::detail::OwnedBio;
using tarn::detail::OwnedCertificate;
using tarn::detail::OwnedCrl;
using tarn::detail::PathBuffer;

namespace {

constexpr const char* kLogName = "conf_cert";
constexpr const char* kSoftLink = "ConfCertCreateCertSoftLink";
constexpr int kSuccess = 0;
constexpr int kFailure = 1;

// Negative when the name does not fit.
int hashName(PathBuffer& out, const char* storeDir, unsigned long hash, const char* suffix) {
    return sprintf_s(out.data(), out.size(), "%s%08lx%s", storeDir, hash, suffix);
}

int ConfCertCreateCrlSoftLink(const char* storeDir, const char* fileName) {
    if (storeDir[0] == '\0' || fileName[0] == '\0') {
        TARN_LOG(CONF_LOG_ERROR, "path is null!");
        return kFailure;
    }
    PathBuffer path = {};
    if (joinPath(path, storeDir, fileName) < 0) {
        TARN_LOG(CONF_LOG_ERROR, "sprintf fail!");
        return kFailure;
    }
    const OwnedBio file = tarn::detail::openFile(path.data());
    if (file == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "open file failed");
        return kFailure;
    }
    const OwnedCrl crl = tarn::detail::readCrl(file);
    if (crl == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "d2i_X509 failed");
        return kFailure;
    }
    PathBuffer name = {};
    const unsigned long hash = X509_NAME_hash_ex(X509_CRL_get_issuer(crl.get()), nullptr, nullptr, nullptr);
    if (hashName(name, storeDir, hash, ".r0") < 0) {
        TARN_LOG(CONF_LOG_ERROR, "sprintf fail!");
        return kFailure;
    }
    return kSuccess;
}

OwnedCertificate readStoredCertificate(const char* path) {
    OwnedBio file = tarn::detail::openFile(path);
    if (file == nullptr) {
        TARN_LOG_AS(kSoftLink, CONF_LOG_ERROR, "BIO_new_file err.");
        return nullptr;
    }
    OwnedCertificate certificate = tarn::detail::readCertificate(file);
    file.reset();
    if (certificate == nullptr) {
        TARN_LOG_AS(kSoftLink, CONF_LOG_ERROR, "PEM_read_bio_X509 err.");
    }
    return certificate;
}

// On a device with fixed paths the hash name is a link and a name that is taken already stays; elsewhere the file moves
// under its hash name and replaces another there.
void giveHashName(const char* storeDir, const char* fileName) {
    PathBuffer path = {};
    if (joinPath(path, storeDir, fileName) < 0) {
        return;
    }
    OwnedCertificate certificate = readStoredCertificate(path.data());
    if (certificate == nullptr) {
        return;
    }
    const unsigned long hash = X509_subject_name_hash(certificate.get());
    certificate.reset();
    PathBuffer name = {};
    if (hashName(name, storeDir, hash, ".0") < 0) {
        return;
    }
    const int result =
        tarn::detail::hasFixedPaths() ? symlink(path.data(), name.data()) : std::rename(path.data(), name.data());
    if (result != 0) {
        TARN_LOG_AS(kSoftLink, CONF_LOG_ERROR, "rename fail! ret:%d errno:%d", result, errno);
    }
}

} // namespace

int tarn::detail::ConfCertCreateCertSoftLink(const char* storeDir) {
    if (storeDir[0] == '\0') {
        return kFailure;
    }
    DirectoryWalk walk(storeDir);
    if (!walk.isOpen()) {
        return kFailure;
    }
    const OpensslErrors errors;
    while (const char* const name = walk.next()) {
        if (!nameHolds(name, ".pem", ".PEM")) {
            continue;
        }
        if (nameHolds(name, "crl", "CRL")) {
            ConfCertCreateCrlSoftLink(storeDir, name);
        } else {
            giveHashName(storeDir, name);
        }
    }
    return kSuccess;
}

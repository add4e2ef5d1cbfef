// Reads a CA file whole before the context gets anything of it: a file that is damaged adds nothing.
#include "tarn_platform/tls_extension.h"

#include <fcntl.h>

#include <new>
#include <vector>

#include "certificate/open_file.h"
#include "certificate/x509_content.h"

using namespace tarn::host;

namespace {

constexpr size_t kMostBytes = size_t{16} * 1024 * 1024;

bool loadFile(SSL_CTX* context, const char* path, uint32_t fileType) {
    FileBytes bytes;
    std::vector<CertificatePointer> certificates;
    if (readRegularFile(AT_FDCWD, path, Readers::kAnybody, kMostBytes, bytes) != 0) {
        return false;
    }
    if (fileType == SSL_FILETYPE_PEM) {
        readPemCertificates(bytes.all(), certificates);
    } else if (fileType == SSL_FILETYPE_ASN1) {
        readDerCertificate(bytes.all(), certificates.emplace_back());
    }
    if (certificates.empty() || certificates.front() == nullptr) {
        return false;
    }
    X509_STORE* const store = SSL_CTX_get_cert_store(context);
    for (const CertificatePointer& certificate : certificates) {
        if (X509_STORE_add_cert(store, certificate.get()) != 1) {
            return false;
        }
    }
    return true;
}

} // namespace

int SSL_CTX_load_cacertificate_file(SSL_CTX* context, const char* path, uint32_t fileType) {
    if (context == nullptr || path == nullptr) {
        return 0;
    }
    try {
        return loadFile(context, path, fileType) ? 1 : 0;
    } catch (const std::bad_alloc&) {
        return 0;
    }
}
